# The preference store's and Util::ConfigFile's tests: a second process that writes a domain in
# a loop or reads it through ConfigFile, and the velmora-defaults tool; plistutil reads the files
# independently of the store.
add_executable(velmora_prefs_helper ${CMAKE_CURRENT_LIST_DIR}/prefs_helper.cpp)
target_link_libraries(velmora_prefs_helper PRIVATE velmora_base)
velmora_warnings(velmora_prefs_helper)

add_dependencies(velmora_tests velmora_prefs_helper)
target_compile_definitions(velmora_tests PRIVATE
    VELMORA_PREFS_HELPER="$<TARGET_FILE:velmora_prefs_helper>"
    VELMORA_VERSION="${PROJECT_VERSION}") # what the tools' --version says
if(TARGET velmora-defaults)
    add_dependencies(velmora_tests velmora-defaults)
    target_compile_definitions(velmora_tests PRIVATE
        VELMORA_DEFAULTS_TOOL="$<TARGET_FILE:velmora-defaults>")
endif()
