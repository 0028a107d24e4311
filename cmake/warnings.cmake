set(kelvo_warnings -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wdouble-promotion
                   $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
option(KELVO_AUDIO_WERROR "Treat warnings as errors" OFF)
if(KELVO_AUDIO_WERROR)
  list(APPEND kelvo_warnings -Werror)
endif()
