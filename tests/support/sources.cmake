set(sources signals.cpp)
