# The CRC-16 tests once more with the carry-less multiplication path switched off, so the
# portable table loop is checked on large blocks on machines that have PCLMULQDQ too.
add_test(NAME crc16.portable COMMAND velmora_tests --gtest_filter=CRC16.*)
set_tests_properties(crc16.portable PROPERTIES ENVIRONMENT "VELMORA_CRC16_PORTABLE=1")
