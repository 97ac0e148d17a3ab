# The installer extension module: in-process tests load it with dlopen, end-to-end tests run
# the host tool on it, and a script checks the module's dynamic symbol table.
if(NOT TARGET VelmoraInstallerExtension)
    return()
endif()
add_dependencies(velmora_tests VelmoraInstallerExtension)
target_compile_definitions(velmora_tests PRIVATE
    VELMORA_INSTALLER_MODULE="$<TARGET_FILE:VelmoraInstallerExtension>")
if(TARGET velmora-install-host)
    add_dependencies(velmora_tests velmora-install-host)
    # The platform library stands for a library that loads but is not the module.
    target_compile_definitions(velmora_tests PRIVATE
        VELMORA_INSTALL_HOST_TOOL="$<TARGET_FILE:velmora-install-host>"
        VELMORA_PLATFORM_LIBRARY="$<TARGET_FILE:velmora_platform>")
endif()

add_test(NAME installer.exported_symbols
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/installer_exports.sh
                 $<TARGET_FILE:VelmoraInstallerExtension> ${CMAKE_NM})
