# Debian packages through CPack (`scripts/package`): "velmora" holds the tools, the installer
# extension module and the shared platform library, "libvelmora-dev" what a developer builds
# against. The version comes from project(), set once at the top of CMakeLists.txt.
set(VELMORA_DEB_DIR ${PROJECT_SOURCE_DIR}/cmake/debian)

# Every Debian package carries its copyright and a compressed changelog.
configure_file(${VELMORA_DEB_DIR}/changelog.in ${PROJECT_BINARY_DIR}/debian/changelog @ONLY)
execute_process(COMMAND gzip -9nf ${PROJECT_BINARY_DIR}/debian/changelog
                RESULT_VARIABLE velmora_gzip_result)
if(NOT velmora_gzip_result EQUAL 0)
    message(FATAL_ERROR "gzip could not compress the Debian changelog")
endif()
foreach(pair IN ITEMS "runtime:velmora" "dev:libvelmora-dev")
    string(REPLACE ":" ";" pair "${pair}")
    list(GET pair 0 component)
    list(GET pair 1 package)
    install(FILES ${VELMORA_DEB_DIR}/copyright ${PROJECT_BINARY_DIR}/debian/changelog.gz
            DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}
            COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
# Each package's description below starts with its own summary line; CPack adds the
# package-wide summary in front of it unless that is left at CPack's default.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")
set(CPACK_PACKAGE_NAME velmora)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Velmora")
set(CPACK_PACKAGE_CONTACT "Velmora packaging <packages@velmora.example>")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME velmora)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION utils)
# adduser for the group the postinst script creates; SDL2 is loaded only when an alert window
# opens, so it is recommended, not required.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "adduser")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "libsdl2-2.0-0")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS "libplist-utils")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${VELMORA_DEB_DIR}/postinst ${VELMORA_DEB_DIR}/postrm ${VELMORA_DEB_DIR}/triggers)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "language step for installers of Velmora plug-ins, and its tools
The installer extension records the installer's language as the preference
Lang of every plug-in format of an installed Velmora product, for all users
of the machine. This package holds the extension module, the tools
velmora-install-host and velmora-defaults, and the shared platform library
that provides the Mac OS X interfaces the extension and the base library use.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libvelmora-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "velmora (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEV_DESCRIPTION
    "Velmora base library - development files
The Velmora base library: a String text type, paths, files and folders with
exceptions, a typed preference store, a byte stream, CRC-16, numeric helpers
and modal alerts. This package holds the headers (including the interface of
the installer extension), the static library, the CMake package and the
pkg-config file.")

include(CPack)
