# How the objects become the library that others link, with the exports as its only visible symbols.
target_link_libraries(kelvo_audio PRIVATE Threads::Threads)
set(cxx_runtime ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(REMOVE_DUPLICATES cxx_runtime)
list(REMOVE_ITEM cxx_runtime ${CMAKE_C_IMPLICIT_LINK_LIBRARIES})
target_include_directories(kelvo_audio PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>)
# Before 1.0 a new minor version may change the interface.
set(soversion ${PROJECT_VERSION_MAJOR})
if(soversion EQUAL 0)
  set(soversion 0.${PROJECT_VERSION_MINOR})
endif()
set_target_properties(kelvo_audio PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${soversion})
if(KELVO_AUDIO_SANITIZE)
  target_link_options(kelvo_audio PRIVATE -fsanitize=${KELVO_AUDIO_SANITIZE})
endif()

set(elf OFF)
if(UNIX AND NOT APPLE)
  set(elf ON)
endif()
if(BUILD_SHARED_LIBS)
  target_compile_definitions(kelvo_objects PRIVATE KELVO_AUDIO_BUILD)
  if(elf)
    # Hidden visibility alone would leave the weak symbols of C++ templates visible.
    target_link_options(kelvo_audio PRIVATE -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/kelvo_audio.map)
    set_target_properties(kelvo_audio PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/kelvo_audio.map)
    if(NOT KELVO_AUDIO_SANITIZE)
      target_link_options(kelvo_audio PRIVATE -Wl,--no-undefined)
    endif()
  endif()
else()
  target_compile_definitions(kelvo_objects PRIVATE KELVO_AUDIO_STATIC)
  target_compile_definitions(kelvo_audio PUBLIC KELVO_AUDIO_STATIC)
  # Programs in C are linked by the C compiler, which does not add the C++ runtime.
  target_link_libraries(kelvo_audio PRIVATE ${cxx_runtime})
  if(elf)
    # The library is one object in the archive; without this a program would take all of it.
    set(drop_unused -Wl,--gc-sections)
    target_link_options(kelvo_audio INTERFACE ${drop_unused})
  endif()
  # An archive has no list of exports. Linked into one object, the library can keep its other names to itself; the
  # groups of C++ templates must be dissolved first, or a program's copy would replace what is private here. Not every
  # linker can do that, and none with objects that wait for link-time optimisation; then the names stay visible.
  if(elf AND CMAKE_OBJCOPY AND NOT KELVO_AUDIO_SANITIZE AND NOT CMAKE_INTERPROCEDURAL_OPTIMIZATION)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -Wl,--help OUTPUT_VARIABLE linker_help ERROR_QUIET)
  endif()
  if(linker_help MATCHES "--force-group-allocation")
    set(object ${CMAKE_CURRENT_BINARY_DIR}/kelvo_audio.o)
    add_custom_command(TARGET kelvo_audio POST_BUILD VERBATIM
      COMMAND ${CMAKE_CXX_COMPILER} -r -nostdlib -Wl,--force-group-allocation,--whole-archive
              $<TARGET_FILE:kelvo_audio> -o ${object}
      COMMAND ${CMAKE_OBJCOPY} --wildcard --keep-global-symbol=kelvoAudio* ${object}
      COMMAND ${CMAKE_COMMAND} -E remove $<TARGET_FILE:kelvo_audio>
      COMMAND ${CMAKE_AR} qcs $<TARGET_FILE:kelvo_audio> ${object})
  endif()
endif()
