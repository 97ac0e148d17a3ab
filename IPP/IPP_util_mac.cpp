// IPP: fills and sample conversions. Copy, Move and Zero are inline in the header so that
// small fixed-size copies compile down to plain loads and stores.
#include "IPP/IPP_util_mac.h"

#include <cstdint>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// 1 shifted left by count modulo 64 in 32 bits: 2^count for 0..30, -2^31 for 31, 0 above.
std::int32_t shiftedOne(unsigned int count) {
    unsigned int const shift = count & 63u;
    if (shift >= 32u)
        return 0;
    if (shift == 31u)
        return std::numeric_limits<std::int32_t>::min();
    return std::int32_t{1} << shift;
}

template <typename T>
void fill(unsigned int n, T* dst, T value) {
    if (n == 0)
        return;
    if (value == T(0)) {
        // Also turns -0.0 into +0.0: zero is stored as all-zero bits.
        std::memset(dst, 0, n * sizeof(T));
        return;
    }
    for (unsigned int i = 0; i < n; ++i)
        dst[i] = value;
}

// Truncation toward zero of a value already clipped to the short range; NaN fails the first
// comparison and lands on the lower limit, as a saturating conversion sends it to the most
// negative integer.
inline short truncateToShort(float v) {
    float const low = -32768.0f;
    float const high = 32767.0f;
    float clipped = (low < v) ? v : low;
    clipped = (clipped < high) ? clipped : high;
    return static_cast<short>(static_cast<int>(clipped));
}

} // namespace

namespace IPP {

void Set(unsigned int n, unsigned char* dst, unsigned char value) {
    if (n != 0)
        std::memset(dst, value, n);
}
void Set(unsigned int n, short* dst, short value) {
    fill(n, dst, value);
}
void Set(unsigned int n, int* dst, int value) {
    fill(n, dst, value);
}
void Set(unsigned int n, unsigned int* dst, unsigned int value) {
    fill(n, dst, value);
}
void Set(unsigned int n, float* dst, float value) {
    fill(n, dst, value);
}
void Set(unsigned int n, double* dst, double value) {
    fill(n, dst, value);
}

void Convert(unsigned int n, short const* src, float* dst, int scaleBits) {
    if (n == 0)
        return;
    std::int32_t const divisor = shiftedOne(static_cast<unsigned int>(scaleBits));
    float const factor =
        divisor == 0 ? std::numeric_limits<float>::infinity() : 1.0f / static_cast<float>(divisor);
    for (unsigned int i = 0; i < n; ++i)
        dst[i] = static_cast<float>(src[i]) * factor;
}

void Convert(unsigned int n, float const* src, short* dst, int scaleBits, bool rounding) {
    if (n == 0)
        return;
    // Negated in unsigned arithmetic, so INT_MIN needs no special case.
    float const factor = static_cast<float>(shiftedOne(0u - static_cast<unsigned int>(scaleBits)));
    float const bias = rounding ? 0.5f : 0.0f;
    unsigned int i = 0;
#if defined(__SSE2__)
    // Eight samples per pass. maxps returns its second operand when either is NaN, so NaN
    // lands on the lower limit exactly as in truncateToShort; the pack cannot saturate again
    // because the values are already inside the short range.
    __m128 const vFactor = _mm_set1_ps(factor);
    __m128 const vBias = _mm_set1_ps(bias);
    __m128 const vLow = _mm_set1_ps(-32768.0f);
    __m128 const vHigh = _mm_set1_ps(32767.0f);
    for (; i + 8 <= n; i += 8) {
        __m128 a = _mm_add_ps(_mm_mul_ps(_mm_loadu_ps(src + i), vFactor), vBias);
        __m128 b = _mm_add_ps(_mm_mul_ps(_mm_loadu_ps(src + i + 4), vFactor), vBias);
        a = _mm_min_ps(_mm_max_ps(a, vLow), vHigh);
        b = _mm_min_ps(_mm_max_ps(b, vLow), vHigh);
        __m128i const packed = _mm_packs_epi32(_mm_cvttps_epi32(a), _mm_cvttps_epi32(b));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), packed);
    }
#endif
    for (; i < n; ++i)
        dst[i] = truncateToShort(src[i] * factor + bias);
}

void Convert(unsigned int n, float const* src, double* dst) {
    for (unsigned int i = 0; i < n; ++i)
        dst[i] = static_cast<double>(src[i]);
}

void Convert(unsigned int n, double const* src, float* dst) {
    for (unsigned int i = 0; i < n; ++i)
        dst[i] = static_cast<float>(src[i]);
}

// The conversions below are declared for callers but deliberately left empty in this system.
void Convert(unsigned int, unsigned char const*, float*) {}
void Convert(unsigned int, short const*, double*, int) {}
void Convert(unsigned int, int const*, float*, int) {}
void Convert(unsigned int, int const*, double*, int) {}
void Convert(unsigned int, float const*, unsigned char*, int, bool) {}
void Convert(unsigned int, float const*, int*, int, bool) {}
void Convert(unsigned int, double const*, int*, int, bool) {}

} // namespace IPP
