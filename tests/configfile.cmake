# Util::ConfigFile's tests read back through a second process, so the files are what is tested.
add_executable(velmora_configfile_probe ${CMAKE_CURRENT_LIST_DIR}/configfile_probe.cpp)
target_link_libraries(velmora_configfile_probe PRIVATE velmora_base)
velmora_warnings(velmora_configfile_probe)

add_dependencies(velmora_tests velmora_configfile_probe)
target_compile_definitions(velmora_tests PRIVATE
    VELMORA_CONFIGFILE_PROBE="$<TARGET_FILE:velmora_configfile_probe>")
