set(sources
  lane_math_test.cpp
  level_test.cpp
)
# Some vectors here are wider than this CPU level's; they are passed between inlined functions only.
set_source_files_properties(simd/lane_math_test.cpp PROPERTIES COMPILE_OPTIONS -Wno-psabi)
