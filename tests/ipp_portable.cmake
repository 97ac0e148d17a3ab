# The IPP tests once more with the wider conversion loops switched off, so that the AVX2, SSE2
# and plain loops are each checked on machines that have more.
add_test(NAME ipp.avx2 COMMAND velmora_tests --gtest_filter=IPP.*)
set_tests_properties(ipp.avx2 PROPERTIES ENVIRONMENT "VELMORA_IPP_PORTABLE=avx2")
add_test(NAME ipp.sse2 COMMAND velmora_tests --gtest_filter=IPP.*)
set_tests_properties(ipp.sse2 PROPERTIES ENVIRONMENT "VELMORA_IPP_PORTABLE=sse2")
add_test(NAME ipp.portable COMMAND velmora_tests --gtest_filter=IPP.*)
set_tests_properties(ipp.portable PROPERTIES ENVIRONMENT "VELMORA_IPP_PORTABLE=1")
