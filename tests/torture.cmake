# The preference store's torture tests: a separate executable whose cases carry the label
# "torture", which the default test presets leave out; scripts/torture runs them. Native builds
# only: they exercise this machine's file systems, mounts and users.
if(CMAKE_CROSSCOMPILING)
    return()
endif()
add_executable(velmora_torture_tests ${CMAKE_CURRENT_LIST_DIR}/store_torture_test.cpp
               ${CMAKE_CURRENT_LIST_DIR}/test_support.cpp)
target_link_libraries(velmora_torture_tests PRIVATE velmora_base GTest::gtest GTest::gtest_main)
add_dependencies(velmora_torture_tests velmora_prefs_helper)
# Sanitizers inflate memory use, so the memory bounds there are looser.
target_compile_definitions(velmora_torture_tests PRIVATE
    VELMORA_BINARY_DIR="${PROJECT_BINARY_DIR}"
    VELMORA_PREFS_HELPER="$<TARGET_FILE:velmora_prefs_helper>"
    $<$<BOOL:${VELMORA_SANITIZE}>:VELMORA_SANITIZED>)
velmora_warnings(velmora_torture_tests)
# Each case sets its own store root; this one only catches a stray use before that.
gtest_discover_tests(velmora_torture_tests
    DISCOVERY_MODE PRE_TEST
    PROPERTIES LABELS torture TIMEOUT 180
               ENVIRONMENT VELMORA_PREFS_ROOT=${CMAKE_CURRENT_BINARY_DIR}/torture-prefs-root)
