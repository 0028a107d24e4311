set(sources
  frame_checks.cpp
  frame_exports.cpp
  frames.cpp
)
set(kernels)
