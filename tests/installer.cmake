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
    target_compile_definitions(velmora_tests PRIVATE
        VELMORA_INSTALL_HOST_TOOL="$<TARGET_FILE:velmora-install-host>")
endif()

add_test(NAME installer.exported_symbols
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/installer_exports.sh
                 $<TARGET_FILE:VelmoraInstallerExtension>)
