# The GUI alert presenter, run for real: a probe shows an alert on a private Xvfb display and a
# script answers it with xdotool. Skipped (77) only where Xvfb cannot start; not built in cross
# builds, whose SDL2 would have to be the target CPU's.
if(CMAKE_CROSSCOMPILING)
    return()
endif()
add_executable(velmora_alert_probe ${CMAKE_CURRENT_LIST_DIR}/alert_probe.cpp)
target_link_libraries(velmora_alert_probe PRIVATE velmora_base)
velmora_warnings(velmora_alert_probe)

add_test(NAME alerts.gui_xvfb
         COMMAND ${CMAKE_CURRENT_LIST_DIR}/gui_alert_test.sh
                 $<TARGET_FILE:velmora_alert_probe> ${CMAKE_CURRENT_BINARY_DIR}/gui-alert-work)
set_tests_properties(alerts.gui_xvfb PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 400)
