# The CRC-16 tests once more with the wider paths switched off, so that the portable table loop
# and the 128-bit folding are each checked on large blocks on machines that have more.
add_test(NAME crc16.portable COMMAND velmora_tests --gtest_filter=CRC16.*)
set_tests_properties(crc16.portable PROPERTIES ENVIRONMENT "VELMORA_CRC16_PORTABLE=1")
add_test(NAME crc16.fold128 COMMAND velmora_tests --gtest_filter=CRC16.*)
set_tests_properties(crc16.fold128 PROPERTIES ENVIRONMENT "VELMORA_CRC16_PORTABLE=128")
