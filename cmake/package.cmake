# What `cmake --install` puts into a prefix: header, library, licence, and the library's descriptions for CMake and
# pkg-config. Both compute the prefix from their own location, so that it can be moved; only absolute installation
# folders stay fixed.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
target_include_directories(kelvo_audio PUBLIC $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
install(TARGETS kelvo_audio EXPORT kelvo_audio-targets
        RUNTIME COMPONENT library
        LIBRARY COMPONENT library NAMELINK_COMPONENT development
        ARCHIVE COMPONENT development)
install(FILES include/kelvo_audio.h TYPE INCLUDE COMPONENT development)
install(FILES LICENSE TYPE DOC)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kelvo_audio)
install(EXPORT kelvo_audio-targets NAMESPACE kelvo_audio:: DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(cmake/kelvo_audio-config.cmake.in kelvo_audio-config.cmake
                              INSTALL_DESTINATION ${package_dir})
# Before 1.0 a new minor version may change the interface.
set(compatibility SameMajorVersion)
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(compatibility SameMinorVersion)
endif()
write_basic_package_version_file(kelvo_audio-config-version.cmake COMPATIBILITY ${compatibility})
install(FILES ${PROJECT_BINARY_DIR}/kelvo_audio-config.cmake ${PROJECT_BINARY_DIR}/kelvo_audio-config-version.cmake
        DESTINATION ${package_dir} COMPONENT development)

set(pc_prefix ${CMAKE_INSTALL_PREFIX})
set(pc_libdir ${CMAKE_INSTALL_LIBDIR})
set(pc_includedir ${CMAKE_INSTALL_INCLUDEDIR})
if(NOT IS_ABSOLUTE "${pc_libdir}")
  file(RELATIVE_PATH way_up /prefix/${pc_libdir}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" pc_prefix "\${pcfiledir}/${way_up}")
  set(pc_libdir "\${prefix}/${pc_libdir}")
endif()
if(NOT IS_ABSOLUTE "${pc_includedir}")
  set(pc_includedir "\${prefix}/${pc_includedir}")
endif()
list(TRANSFORM cxx_runtime PREPEND -l OUTPUT_VARIABLE pc_libs_private)
list(APPEND pc_libs_private ${CMAKE_THREAD_LIBS_INIT} ${drop_unused})
list(JOIN pc_libs_private " " pc_libs_private)
if(NOT BUILD_SHARED_LIBS)
  set(pc_static_flag " -DKELVO_AUDIO_STATIC")
endif()
configure_file(cmake/kelvo_audio.pc.in kelvo_audio.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kelvo_audio.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)
if(top_level)
  include(cmake/debian.cmake)
endif()
