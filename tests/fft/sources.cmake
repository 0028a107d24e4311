set(sources fft_properties_test.cpp fft_test.cpp large_fft_test.cpp)
