# Every *_kernels.cpp is compiled once per CPU level. The library chooses the level at run time, so a build never
# depends on the machine it is made on.
# The scalar level, the reference of the others, is not vectorised: GCC 12's SLP vectoriser makes code for filters with 18
# or 19 state values that rounds differently, and its loop vectoriser makes 28 KB of a convolution's innermost step,
# which takes 5 as it is written.
set(kelvo_flags_scalar -fno-tree-vectorize)
set(kelvo_bytes_scalar 4)
if(EMSCRIPTEN)  # which calls its processor x86
  # Every engine that runs the module has these vectors, so that the download need not hold scalar kernels as well.
  set(kelvo_levels simd128)
  set(kelvo_flags_simd128 -msimd128)
  set(kelvo_bytes_simd128 16)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64|x86|i[3-6]86)$" AND CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(kelvo_levels scalar sse2)
  set(kelvo_bytes_sse2 16)
  # Before the builder's own flags, so that flags for x87 are seen and rejected below. Callers may have aligned the stack
  # to 4 bytes only.
  set(CMAKE_CXX_FLAGS "-msse2 -mfpmath=sse -mstackrealign ${CMAKE_CXX_FLAGS}")
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
  set(kelvo_levels scalar sse2 avx2 avx512)
  set(kelvo_bytes_sse2 16)
  set(kelvo_flags_avx2 -mavx2 -mfma)
  set(kelvo_bytes_avx2 32)
  set(kelvo_flags_avx512 -mfma -mavx512f -mavx512dq -mavx512bw -mavx512vl -mprefer-vector-width=512)
  set(kelvo_bytes_avx512 64)
  if(WIN32)
    # Windows aligns the stack to 16 bytes, which some MinGW compilers ignore when they spill wider vectors.
    include(CheckCXXCompilerFlag)
    check_cxx_compiler_flag(-Wa,-muse-unaligned-vector-move kelvo_has_unaligned_moves)
    if(kelvo_has_unaligned_moves)
      list(APPEND kelvo_flags_avx2 -Wa,-muse-unaligned-vector-move)
      list(APPEND kelvo_flags_avx512 -Wa,-muse-unaligned-vector-move)
    endif()
  endif()
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64|ARM64)$")
  set(kelvo_levels scalar neon)
  set(kelvo_bytes_neon 16)
else()
  set(kelvo_levels scalar)
endif()

# Checked at every configuration, since the result depends on the flags.
include(CheckCXXSourceCompiles)
unset(kelvo_evaluates_in_type CACHE)
check_cxx_source_compiles("static_assert(__FLT_EVAL_METHOD__ == 0); int main() {}" kelvo_evaluates_in_type)
if(NOT kelvo_evaluates_in_type)
  message(FATAL_ERROR "With these flags the compiler computes in a wider precision than that of float and double "
                      "(FLT_EVAL_METHOD is not 0), so that results would have other bits than everywhere else. On "
                      "32-bit x86, kelvo_audio needs SSE2 in place of x87: leave out -mfpmath=387 and -mno-sse2.")
endif()

set(KELVO_AUDIO_MAX_LEVEL "" CACHE STRING "Highest kernel level to compile (one of: ${kelvo_levels}); empty for all")
mark_as_advanced(KELVO_AUDIO_MAX_LEVEL)
if(KELVO_AUDIO_MAX_LEVEL)
  list(FIND kelvo_levels "${KELVO_AUDIO_MAX_LEVEL}" last_level)
  if(last_level EQUAL -1)
    message(FATAL_ERROR "KELVO_AUDIO_MAX_LEVEL must be one of: ${kelvo_levels}")
  endif()
  math(EXPR level_n "${last_level} + 1")
  list(SUBLIST kelvo_levels 0 ${level_n} kelvo_levels)
endif()

# Inlined to the last call, kernels take minutes to compile with every check at full optimisation. They read and write
# vectors by memcpy, so the checks left out here find nothing that the address sanitizer does not. Options of the library
# linked last come last, where they override others.
add_library(kelvo_fewer_checks INTERFACE)
target_compile_options(kelvo_fewer_checks INTERFACE
                       -fno-sanitize=null,alignment,object-size,vptr,pointer-overflow,bounds)

# kelvo_add_kernels(SOURCES): compiles the sources once per level and adds the objects to the library's.
function(kelvo_add_kernels)
  foreach(level IN LISTS kelvo_levels)
    set(target kelvo_kernels_${level})
    add_library(${target} OBJECT ${ARGN})
    target_link_libraries(${target} PRIVATE kelvo_build_settings)
    target_compile_definitions(${target} PRIVATE KELVO_LEVEL=${level} KELVO_LANE_BYTES=${kelvo_bytes_${level}})
    # -Wno-psabi: vectors are passed between functions only where those are inlined.
    target_compile_options(${target} PRIVATE ${kelvo_flags_${level}} -Wno-psabi)
    if(KELVO_AUDIO_SANITIZE)
      target_compile_options(${target} PRIVATE -O1 -g1)
      target_link_libraries(${target} PRIVATE kelvo_fewer_checks)
    endif()
    target_sources(kelvo_audio_internal PRIVATE $<TARGET_OBJECTS:${target}>)
    target_sources(kelvo_audio PRIVATE $<TARGET_OBJECTS:${target}>)
    string(TOUPPER ${level} upper)
    target_compile_definitions(kelvo_build_settings INTERFACE KELVO_HAS_${upper})
  endforeach()
endfunction()
