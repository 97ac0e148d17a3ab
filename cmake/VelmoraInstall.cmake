# Installation: headers, libraries, the module, the tools, a CMake package and a pkg-config
# file, so that an outside project can use find_package(Velmora CONFIG) or pkg-config. What a
# machine needs to run the extension and the tools is the "runtime" component, what a
# developer builds against the "dev" component (the two Debian packages).
include(CMakePackageConfigHelpers)

install(FILES Velmora.h DESTINATION ${VELMORA_INCLUDE_INSTALL_DIR} COMPONENT dev)
install(DIRECTORY common Util IPP UI
        DESTINATION ${VELMORA_INCLUDE_INSTALL_DIR}
        COMPONENT dev
        FILES_MATCHING PATTERN "*.h")
# The module's interface, for those who write their own host.
install(FILES installer/InstallerExtension.h installer/InstallerParamRecord.h
        DESTINATION ${VELMORA_INCLUDE_INSTALL_DIR}/installer
        COMPONENT dev)

set(velmora_export_targets velmora_base)
if(NOT APPLE)
    list(APPEND velmora_export_targets velmora_platform)
    install(DIRECTORY platform/include/ DESTINATION ${VELMORA_INCLUDE_INSTALL_DIR} COMPONENT dev)
endif()

install(TARGETS ${velmora_export_targets}
        EXPORT VelmoraTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)

set(VELMORA_CMAKE_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Velmora)
install(EXPORT VelmoraTargets
        NAMESPACE Velmora::
        DESTINATION ${VELMORA_CMAKE_INSTALL_DIR}
        COMPONENT dev)
configure_package_config_file(cmake/VelmoraConfig.cmake.in
    ${PROJECT_BINARY_DIR}/VelmoraConfig.cmake
    INSTALL_DESTINATION ${VELMORA_CMAKE_INSTALL_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VelmoraConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VelmoraConfig.cmake
              ${PROJECT_BINARY_DIR}/VelmoraConfigVersion.cmake
        DESTINATION ${VELMORA_CMAKE_INSTALL_DIR}
        COMPONENT dev)

file(RELATIVE_PATH VELMORA_PC_TO_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(cmake/velmora.pc.in ${PROJECT_BINARY_DIR}/velmora.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/velmora.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT dev)
