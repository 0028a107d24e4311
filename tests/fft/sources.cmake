set(sources fft_test.cpp)
