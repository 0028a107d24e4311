# What CPack makes of the two installation components: Debian packages of the library and of what compiling against it
# takes. The library's name carries its SONAME's version, so that two versions can be installed side by side.
install(FILES LICENSE DESTINATION share/doc/libkelvo-audio${soversion} RENAME copyright COMPONENT library
        EXCLUDE_FROM_ALL)
install(FILES LICENSE DESTINATION share/doc/libkelvo-audio-dev RENAME copyright COMPONENT development
        EXCLUDE_FROM_ALL)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kelvo_audio)
set(CPACK_PACKAGE_VENDOR "the kelvo_audio authors")
# The address that commits bear, which is where SECURITY.md sends mail too.
set(CPACK_PACKAGE_CONTACT "the kelvo_audio authors <maintainers@users.noreply.c-seed-0b13896a.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_COMPONENTS_ALL library development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libkelvo-audio${soversion})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "22 C functions from the Fourier transform to filters and resampling.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkelvo-audio-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libkelvo-audio${soversion} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "The header, and descriptions for CMake and pkg-config.")
include(CPack)
