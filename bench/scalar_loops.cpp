#include "bench/scalar_loops.h"

namespace bench {

void ScalarShortToFloat(unsigned int n, short const* src, float* dst, float factor) {
    for (unsigned int i = 0; i < n; ++i)
        dst[i] = static_cast<float>(src[i]) * factor;
}

void ScalarFloatToShort(unsigned int n, float const* src, short* dst, float factor, float bias) {
    for (unsigned int i = 0; i < n; ++i) {
        float v = src[i] * factor + bias;
        v = -32768.0f < v ? v : -32768.0f;
        v = v < 32767.0f ? v : 32767.0f;
        dst[i] = static_cast<short>(static_cast<int>(v));
    }
}

void ScalarFloatToDouble(unsigned int n, float const* src, double* dst) {
    for (unsigned int i = 0; i < n; ++i)
        dst[i] = static_cast<double>(src[i]);
}

void ScalarDoubleToFloat(unsigned int n, double const* src, float* dst) {
    for (unsigned int i = 0; i < n; ++i)
        dst[i] = static_cast<float>(src[i]);
}

} // namespace bench
