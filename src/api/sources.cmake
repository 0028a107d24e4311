set(sources
  elementwise.cpp
  elementwise_checks.cpp
  elementwise_exports.cpp
  exceptions.cpp
  export_frame.cpp
  fp_environment.cpp
  module_entry.cpp
)
set(kernels elementwise_kernels.cpp)
