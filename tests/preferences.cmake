# The preference store's tests: a child process that writes a domain in a loop, the
# velmora-defaults tool, and libplist to read the files independently of the store.
find_package(PkgConfig REQUIRED)
pkg_check_modules(VELMORA_TEST_PLIST REQUIRED IMPORTED_TARGET libplist-2.0)

add_executable(velmora_prefs_helper ${CMAKE_CURRENT_LIST_DIR}/prefs_helper.cpp)
target_link_libraries(velmora_prefs_helper PRIVATE velmora_base)
velmora_warnings(velmora_prefs_helper)

add_dependencies(velmora_tests velmora_prefs_helper)
target_link_libraries(velmora_tests PRIVATE PkgConfig::VELMORA_TEST_PLIST)
target_compile_definitions(velmora_tests PRIVATE
    VELMORA_PREFS_HELPER="$<TARGET_FILE:velmora_prefs_helper>")
if(TARGET velmora-defaults)
    add_dependencies(velmora_tests velmora-defaults)
    target_compile_definitions(velmora_tests PRIVATE
        VELMORA_DEFAULTS_TOOL="$<TARGET_FILE:velmora-defaults>")
endif()
