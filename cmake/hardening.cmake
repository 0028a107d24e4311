# A fault that someone finds shall end in a crash, not in their code: overwritten return addresses are noticed, and the
# tables that calls go through are filled when the library is loaded and read-only from then on.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND NOT KELVO_AUDIO_SANITIZE)
  target_compile_options(kelvo_build_settings INTERFACE -fstack-protector-strong)
  target_link_options(kelvo_audio PRIVATE -Wl,-z,relro,-z,now,-z,noexecstack)
endif()
