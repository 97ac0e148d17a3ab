// The sample conversions' rules as plain one-sample-at-a-time loops, compiled without
// vectorisation: the baseline the library's conversions are measured against.
#pragma once

namespace bench {

void ScalarShortToFloat(unsigned int n, short const* src, float* dst, float factor);
void ScalarFloatToShort(unsigned int n, float const* src, short* dst, float factor, float bias);
void ScalarFloatToDouble(unsigned int n, float const* src, double* dst);
void ScalarDoubleToFloat(unsigned int n, double const* src, float* dst);

} // namespace bench
