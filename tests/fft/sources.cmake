set(sources fft_test.cpp large_fft_test.cpp table_cache_test.cpp)
