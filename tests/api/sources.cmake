set(sources
  buffers_test.cpp
  elementwise_test.cpp
  exceptions_test.cpp
  export_frame_test.cpp
  int_math_test.cpp
)
