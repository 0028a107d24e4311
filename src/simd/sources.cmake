set(sources level.cpp)
