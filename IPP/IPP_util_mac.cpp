// IPP: fills and sample conversions. Copy, Move and Zero are inline in the header so that
// small fixed-size copies compile down to plain loads and stores.
//
// The four sample conversions run as vector loops on x86: AVX-512, AVX2 or SSE2, whichever the
// processor has, chosen once; elsewhere they are plain loops. Every path gives the bits of the
// one-sample rule for every input. This file is built with -ffp-contract=off, since float to
// short is a multiply and then an add, two roundings, never one fused multiply-add.
#include "IPP/IPP_util_mac.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#if defined(__SSE2__) && (defined(__GNUC__) || defined(__clang__))
#define VELMORA_IPP_X86 1
// GCC 12 takes the deliberately undefined pass-through operands of the AVX-512 intrinsics for
// uninitialised variables.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop
#else
#include <immintrin.h>
#endif
#define VELMORA_IPP_AVX2 __attribute__((target("avx2")))
#define VELMORA_IPP_AVX512 __attribute__((target("avx512f,avx512bw,avx512vl")))
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

// What a conversion needs besides the samples: short to float uses only the factor, float to
// short both, float to double and back neither.
struct Scale {
    float factor;
    float bias;
};

// The rules, one sample at a time.
struct ShortToFloat {
    typedef short Src;
    typedef float Dst;
    static float apply(short v, Scale s) { return static_cast<float>(v) * s.factor; }
};
struct FloatToShort {
    typedef float Src;
    typedef short Dst;
    static short apply(float v, Scale s) { return truncateToShort(v * s.factor + s.bias); }
};
struct FloatToDouble {
    typedef float Src;
    typedef double Dst;
    static double apply(float v, Scale) { return static_cast<double>(v); }
};
struct DoubleToFloat {
    typedef double Src;
    typedef float Dst;
    static float apply(double v, Scale) { return static_cast<float>(v); }
};

template <class Rule>
void runPlain(unsigned int n, typename Rule::Src const* src, typename Rule::Dst* dst, Scale scale) {
    for (unsigned int i = 0; i < n; ++i)
        dst[i] = Rule::apply(src[i], scale);
}

template <typename Src, typename Dst>
bool overlap(unsigned int n, Src const* src, Dst const* dst) {
    std::uintptr_t const s = reinterpret_cast<std::uintptr_t>(src);
    std::uintptr_t const d = reinterpret_cast<std::uintptr_t>(dst);
    return s < d + std::size_t{n} * sizeof(Dst) && d < s + std::size_t{n} * sizeof(Src);
}

// Float to short in the order this library has always used, blocks of eight from the start:
// where source and destination overlap, the result depends on that order.
void floatToShortInOrder(unsigned int n, float const* src, short* dst, Scale scale) {
    unsigned int i = 0;
#if defined(__SSE2__)
    // maxps returns its second operand when either is NaN, so NaN lands on the lower limit
    // exactly as in truncateToShort; the pack cannot saturate again because the values are
    // already inside the short range.
    __m128 const vFactor = _mm_set1_ps(scale.factor);
    __m128 const vBias = _mm_set1_ps(scale.bias);
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
        dst[i] = FloatToShort::apply(src[i], scale);
}

#if VELMORA_IPP_X86

// A destination of this many bytes or more is written with streaming stores: it would not stay
// in the caches anyway, and streaming stores need no read of the lines they fill.
constexpr std::size_t kStreamBytes = std::size_t{4} << 20;

template <typename Dst>
bool streams(std::size_t n, Dst const* dst) {
    return n * sizeof(Dst) >= kStreamBytes &&
           reinterpret_cast<std::uintptr_t>(dst) % sizeof(Dst) == 0;
}

// Elements before dst reaches a multiple of alignment; none when dst does not hold whole
// elements, as it then never does.
template <typename Dst>
std::size_t alignmentGap(Dst const* dst, std::uintptr_t alignment) {
    std::uintptr_t const address = reinterpret_cast<std::uintptr_t>(dst);
    if (address % sizeof(Dst) != 0)
        return 0;
    return (0u - address) % alignment / sizeof(Dst);
}

// How far ahead of the block being converted a streaming pass asks for its source: the
// hardware prefetcher alone leaves one core well short of the memory bandwidth.
constexpr std::uintptr_t kPrefetchBytes = 4096;

// Prefetches the lines kPrefetchBytes beyond the first bytes at src. In integer arithmetic, as
// the address may lie past the end of the block, where prefetching is harmless.
template <typename Src>
void prefetchAhead(Src const* src, std::size_t bytes) {
    std::uintptr_t const first = reinterpret_cast<std::uintptr_t>(src) + kPrefetchBytes;
    for (std::uintptr_t line = 0; line < bytes; line += 64)
        _mm_prefetch(reinterpret_cast<char const*>(first + line), _MM_HINT_T0);
}

// The lowest count bits set, for count up to 32: the mask of the first count lanes.
inline std::uint32_t firstBits(std::size_t count) {
    return count >= 32 ? ~std::uint32_t{0} : (std::uint32_t{1} << count) - 1u;
}

// Stores, streaming ones only to addresses aligned to the vector size.
template <bool Stream>
inline void store(float* p, __m128 v) {
    if constexpr (Stream)
        _mm_stream_ps(p, v);
    else
        _mm_storeu_ps(p, v);
}
template <bool Stream>
inline void store(double* p, __m128d v) {
    if constexpr (Stream)
        _mm_stream_pd(p, v);
    else
        _mm_storeu_pd(p, v);
}
template <bool Stream>
inline void store(short* p, __m128i v) {
    if constexpr (Stream)
        _mm_stream_si128(reinterpret_cast<__m128i*>(p), v);
    else
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
template <bool Stream>
VELMORA_IPP_AVX2 inline void store(float* p, __m256 v) {
    if constexpr (Stream)
        _mm256_stream_ps(p, v);
    else
        _mm256_storeu_ps(p, v);
}
template <bool Stream>
VELMORA_IPP_AVX2 inline void store(double* p, __m256d v) {
    if constexpr (Stream)
        _mm256_stream_pd(p, v);
    else
        _mm256_storeu_pd(p, v);
}
template <bool Stream>
VELMORA_IPP_AVX2 inline void store(short* p, __m256i v) {
    if constexpr (Stream)
        _mm256_stream_si256(reinterpret_cast<__m256i*>(p), v);
    else
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}
template <bool Stream>
VELMORA_IPP_AVX512 inline void store(float* p, __m512 v) {
    if constexpr (Stream)
        _mm512_stream_ps(p, v);
    else
        _mm512_storeu_ps(p, v);
}
template <bool Stream>
VELMORA_IPP_AVX512 inline void store(double* p, __m512d v) {
    if constexpr (Stream)
        _mm512_stream_pd(p, v);
    else
        _mm512_storeu_pd(p, v);
}
template <bool Stream>
VELMORA_IPP_AVX512 inline void store(short* p, __m512i v) {
    if constexpr (Stream)
        _mm512_stream_si512(reinterpret_cast<__m512i*>(p), v);
    else
        _mm512_storeu_si512(p, v);
}

// A kernel converts kStep samples with block<Stream> (dst then aligned to the vector size when
// Stream) and fewer with part: lane masks when kMasked, else the rule one sample at a time.
template <class Rule>
struct ScalarPart : Rule {
    static constexpr bool kMasked = false;
    Scale scale;
    explicit ScalarPart(Scale s) : scale(s) {}
    void part(typename Rule::Src const* src, typename Rule::Dst* dst, std::size_t n) const {
        for (std::size_t i = 0; i < n; ++i)
            dst[i] = Rule::apply(src[i], scale);
    }
};

// Float to short keeps only the upper limit before the truncation. minps returns its second
// operand when either is NaN, so NaN reaches the truncation, which makes it the most negative
// integer as it does everything below -2^31; the saturating pack then clips to the short
// range. That is clipping to [-32768, 32767] with NaN on the lower limit, then truncating.

struct ShortToFloatSse2 : ScalarPart<ShortToFloat> {
    static constexpr std::size_t kStep = 8;
    __m128 factor;
    explicit ShortToFloatSse2(Scale s) : ScalarPart(s), factor(_mm_set1_ps(s.factor)) {}
    template <bool Stream>
    void block(short const* src, float* dst) const {
        __m128i const v = _mm_loadu_si128(reinterpret_cast<__m128i const*>(src));
        // Sign extension: each sample followed by 0 or -1 as it is positive or negative.
        __m128i const sign = _mm_cmpgt_epi16(_mm_setzero_si128(), v);
        __m128i const low = _mm_unpacklo_epi16(v, sign);
        __m128i const high = _mm_unpackhi_epi16(v, sign);
        store<Stream>(dst, _mm_mul_ps(_mm_cvtepi32_ps(low), factor));
        store<Stream>(dst + 4, _mm_mul_ps(_mm_cvtepi32_ps(high), factor));
    }
};

struct FloatToShortSse2 : ScalarPart<FloatToShort> {
    static constexpr std::size_t kStep = 8;
    __m128 factor, bias, high;
    explicit FloatToShortSse2(Scale s)
        : ScalarPart(s), factor(_mm_set1_ps(s.factor)), bias(_mm_set1_ps(s.bias)),
          high(_mm_set1_ps(32767.0f)) {}
    __m128i truncated(float const* src) const {
        __m128 const v = _mm_add_ps(_mm_mul_ps(_mm_loadu_ps(src), factor), bias);
        return _mm_cvttps_epi32(_mm_min_ps(high, v));
    }
    template <bool Stream>
    void block(float const* src, short* dst) const {
        store<Stream>(dst, _mm_packs_epi32(truncated(src), truncated(src + 4)));
    }
};

struct FloatToDoubleSse2 : ScalarPart<FloatToDouble> {
    static constexpr std::size_t kStep = 4;
    explicit FloatToDoubleSse2(Scale s) : ScalarPart(s) {}
    // Two samples a load, so that no shuffle competes with the conversions.
    static __m128 loadTwo(float const* src) {
        return _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<__m128i const*>(src)));
    }
    template <bool Stream>
    void block(float const* src, double* dst) const {
        store<Stream>(dst, _mm_cvtps_pd(loadTwo(src)));
        store<Stream>(dst + 2, _mm_cvtps_pd(loadTwo(src + 2)));
    }
};

struct DoubleToFloatSse2 : ScalarPart<DoubleToFloat> {
    static constexpr std::size_t kStep = 4;
    explicit DoubleToFloatSse2(Scale s) : ScalarPart(s) {}
    template <bool Stream>
    void block(double const* src, float* dst) const {
        __m128 const low = _mm_cvtpd_ps(_mm_loadu_pd(src));
        __m128 const high = _mm_cvtpd_ps(_mm_loadu_pd(src + 2));
        if constexpr (Stream) {
            store<true>(dst, _mm_movelh_ps(low, high));
        } else {
            // Two 8-byte stores rather than a shuffle, which would compete with the conversions.
            _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), _mm_castps_si128(low));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + 2), _mm_castps_si128(high));
        }
    }
};

struct ShortToFloatAvx2 : ScalarPart<ShortToFloat> {
    static constexpr std::size_t kStep = 8;
    __m256 factor;
    VELMORA_IPP_AVX2 explicit ShortToFloatAvx2(Scale s)
        : ScalarPart(s), factor(_mm256_set1_ps(s.factor)) {}
    template <bool Stream>
    VELMORA_IPP_AVX2 void block(short const* src, float* dst) const {
        __m256i const v =
            _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<__m128i const*>(src)));
        store<Stream>(dst, _mm256_mul_ps(_mm256_cvtepi32_ps(v), factor));
    }
};

struct FloatToShortAvx2 : ScalarPart<FloatToShort> {
    static constexpr std::size_t kStep = 16;
    __m256 factor, bias, high;
    VELMORA_IPP_AVX2 explicit FloatToShortAvx2(Scale s)
        : ScalarPart(s), factor(_mm256_set1_ps(s.factor)), bias(_mm256_set1_ps(s.bias)),
          high(_mm256_set1_ps(32767.0f)) {}
    VELMORA_IPP_AVX2 __m256i truncated(float const* src) const {
        __m256 const v = _mm256_add_ps(_mm256_mul_ps(_mm256_loadu_ps(src), factor), bias);
        return _mm256_cvttps_epi32(_mm256_min_ps(high, v));
    }
    template <bool Stream>
    VELMORA_IPP_AVX2 void block(float const* src, short* dst) const {
        // The pack works within 128-bit halves; the permutation puts the groups of four back
        // in order.
        __m256i const packed = _mm256_packs_epi32(truncated(src), truncated(src + 8));
        store<Stream>(dst, _mm256_permute4x64_epi64(packed, 0xD8));
    }
};

struct FloatToDoubleAvx2 : ScalarPart<FloatToDouble> {
    static constexpr std::size_t kStep = 4;
    explicit FloatToDoubleAvx2(Scale s) : ScalarPart(s) {}
    template <bool Stream>
    VELMORA_IPP_AVX2 void block(float const* src, double* dst) const {
        store<Stream>(dst, _mm256_cvtps_pd(_mm_loadu_ps(src)));
    }
};

struct DoubleToFloatAvx2 : ScalarPart<DoubleToFloat> {
    static constexpr std::size_t kStep = 8;
    explicit DoubleToFloatAvx2(Scale s) : ScalarPart(s) {}
    template <bool Stream>
    VELMORA_IPP_AVX2 void block(double const* src, float* dst) const {
        store<Stream>(dst, _mm256_cvtpd_ps(_mm256_loadu_pd(src)));
        store<Stream>(dst + 4, _mm256_cvtpd_ps(_mm256_loadu_pd(src + 4)));
    }
};

// The AVX-512 kernels write 64 bytes a block and do the rest with lane masks; masked-off lanes
// are neither read nor written.

struct ShortToFloatAvx512 : ShortToFloat {
    static constexpr bool kMasked = true;
    static constexpr std::size_t kStep = 16;
    __m512 factor;
    VELMORA_IPP_AVX512 explicit ShortToFloatAvx512(Scale s) : factor(_mm512_set1_ps(s.factor)) {}
    VELMORA_IPP_AVX512 __m512 convert(__m256i v) const {
        return _mm512_mul_ps(_mm512_cvtepi32_ps(_mm512_cvtepi16_epi32(v)), factor);
    }
    template <bool Stream>
    VELMORA_IPP_AVX512 void block(short const* src, float* dst) const {
        store<Stream>(dst, convert(_mm256_loadu_si256(reinterpret_cast<__m256i const*>(src))));
    }
    VELMORA_IPP_AVX512 void part(short const* src, float* dst, std::size_t n) const {
        __mmask16 const lanes = static_cast<__mmask16>(firstBits(n));
        _mm512_mask_storeu_ps(dst, lanes, convert(_mm256_maskz_loadu_epi16(lanes, src)));
    }
};

struct FloatToShortAvx512 : FloatToShort {
    static constexpr bool kMasked = true;
    static constexpr std::size_t kStep = 32;
    __m512 factor, bias, high;
    __m512i order;
    VELMORA_IPP_AVX512 explicit FloatToShortAvx512(Scale s)
        : factor(_mm512_set1_ps(s.factor)), bias(_mm512_set1_ps(s.bias)),
          high(_mm512_set1_ps(32767.0f)), order(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7)) {}
    VELMORA_IPP_AVX512 __m512i truncated(__m512 v) const {
        return _mm512_cvttps_epi32(
            _mm512_min_ps(high, _mm512_add_ps(_mm512_mul_ps(v, factor), bias)));
    }
    VELMORA_IPP_AVX512 __m512i convert(__m512 a, __m512 b) const {
        // The pack works within 128-bit lanes; the permutation puts the groups of four back in
        // order.
        return _mm512_permutexvar_epi64(order, _mm512_packs_epi32(truncated(a), truncated(b)));
    }
    template <bool Stream>
    VELMORA_IPP_AVX512 void block(float const* src, short* dst) const {
        store<Stream>(dst, convert(_mm512_loadu_ps(src), _mm512_loadu_ps(src + 16)));
    }
    VELMORA_IPP_AVX512 void part(float const* src, short* dst, std::size_t n) const {
        std::uint32_t const lanes = firstBits(n);
        __m512 const a = _mm512_maskz_loadu_ps(static_cast<__mmask16>(lanes), src);
        __m512 const b = n > 16
                             ? _mm512_maskz_loadu_ps(static_cast<__mmask16>(lanes >> 16), src + 16)
                             : _mm512_setzero_ps();
        _mm512_mask_storeu_epi16(dst, lanes, convert(a, b));
    }
};

struct FloatToDoubleAvx512 : FloatToDouble {
    static constexpr bool kMasked = true;
    static constexpr std::size_t kStep = 8;
    explicit FloatToDoubleAvx512(Scale) {}
    template <bool Stream>
    VELMORA_IPP_AVX512 void block(float const* src, double* dst) const {
        store<Stream>(dst, _mm512_cvtps_pd(_mm256_loadu_ps(src)));
    }
    VELMORA_IPP_AVX512 void part(float const* src, double* dst, std::size_t n) const {
        __mmask8 const lanes = static_cast<__mmask8>(firstBits(n));
        _mm512_mask_storeu_pd(dst, lanes, _mm512_cvtps_pd(_mm256_maskz_loadu_ps(lanes, src)));
    }
};

struct DoubleToFloatAvx512 : DoubleToFloat {
    static constexpr bool kMasked = true;
    static constexpr std::size_t kStep = 16;
    explicit DoubleToFloatAvx512(Scale) {}
    template <bool Stream>
    VELMORA_IPP_AVX512 void block(double const* src, float* dst) const {
        store<Stream>(dst, _mm512_cvtpd_ps(_mm512_loadu_pd(src)));
        store<Stream>(dst + 8, _mm512_cvtpd_ps(_mm512_loadu_pd(src + 8)));
    }
    VELMORA_IPP_AVX512 void part(double const* src, float* dst, std::size_t n) const {
        std::uint32_t const lanes = firstBits(n);
        __mmask8 const low = static_cast<__mmask8>(lanes);
        _mm256_mask_storeu_ps(dst, low, _mm512_cvtpd_ps(_mm512_maskz_loadu_pd(low, src)));
        if (n > 8) {
            __mmask8 const high = static_cast<__mmask8>(lanes >> 8);
            _mm256_mask_storeu_ps(dst + 8, high,
                                  _mm512_cvtpd_ps(_mm512_maskz_loadu_pd(high, src + 8)));
        }
    }
};

// The block loop, stamped out once per instruction set: a target attribute cannot come from a
// template argument, and a kernel inlines only into a function built for its instruction set.
// The first samples take dst to a multiple of the vector size, so that no store straddles two
// cache lines; a destination large enough then streams, its source prefetched. Four blocks a
// pass. Without lane masks the first and the last samples are whole blocks over results written
// anyway, which is why the callers rule out overlapping blocks first. The AVX loops end with
// vzeroupper: a 256-bit conversion that only writes a 128-bit register still leaves the upper
// halves in use, and the compiler would not clear them, so the caller's SSE code would pay for
// the transition.
#define VELMORA_IPP_BLOCK_LOOP(name, attributes, vectorBytes, finish)                              \
    template <class K>                                                                             \
    attributes void name(unsigned int count, typename K::Src const* src, typename K::Dst* dst,     \
                         Scale scale) {                                                            \
        static_assert(K::kStep * sizeof *dst >= (vectorBytes), "a block fills a vector");          \
        K const k(scale);                                                                          \
        std::size_t const n = count;                                                               \
        std::size_t const step = K::kStep;                                                         \
        if (n < step) {                                                                            \
            k.part(src, dst, n);                                                                   \
        } else {                                                                                   \
            std::size_t i = alignmentGap(dst, (vectorBytes));                                      \
            if constexpr (K::kMasked)                                                              \
                k.part(src, dst, i);                                                               \
            else if (i != 0)                                                                       \
                k.template block<false>(src, dst);                                                 \
            if (streams(n, dst)) {                                                                 \
                for (; i + step <= n; i += step) {                                                 \
                    prefetchAhead(src + i, step * sizeof *src);                                    \
                    k.template block<true>(src + i, dst + i);                                      \
                }                                                                                  \
                _mm_sfence();                                                                      \
            }                                                                                      \
            for (; i + 4 * step <= n; i += 4 * step) {                                             \
                k.template block<false>(src + i, dst + i);                                         \
                k.template block<false>(src + i + step, dst + i + step);                           \
                k.template block<false>(src + i + 2 * step, dst + i + 2 * step);                   \
                k.template block<false>(src + i + 3 * step, dst + i + 3 * step);                   \
            }                                                                                      \
            for (; i + step <= n; i += step)                                                       \
                k.template block<false>(src + i, dst + i);                                         \
            if constexpr (K::kMasked)                                                              \
                k.part(src + i, dst + i, n - i);                                                   \
            else if (i != n)                                                                       \
                k.template block<false>(src + n - step, dst + n - step);                           \
        }                                                                                          \
        finish;                                                                                    \
    }

VELMORA_IPP_BLOCK_LOOP(runSse2, , 16, )
VELMORA_IPP_BLOCK_LOOP(runAvx2, VELMORA_IPP_AVX2, 32, _mm256_zeroupper())
VELMORA_IPP_BLOCK_LOOP(runAvx512, VELMORA_IPP_AVX512, 64, _mm256_zeroupper())

#endif // VELMORA_IPP_X86

template <class Rule>
using Function = void (*)(unsigned int, typename Rule::Src const*, typename Rule::Dst*, Scale);

struct Conversions {
    Function<ShortToFloat> shortToFloat;
    Function<FloatToShort> floatToShort;
    Function<FloatToDouble> floatToDouble;
    Function<DoubleToFloat> doubleToFloat;
};

Conversions chooseConversions() {
#if VELMORA_IPP_X86
    // VELMORA_IPP_PORTABLE=avx2 stops at AVX2, =sse2 at SSE2; any other value keeps to the
    // plain loops.
    char const* portable = std::getenv("VELMORA_IPP_PORTABLE");
    std::string const limit = portable != nullptr ? portable : "";
    bool const upToAvx2 = limit.empty() || limit == "avx2";
    __builtin_cpu_init();
    if (limit.empty() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl"))
        return {runAvx512<ShortToFloatAvx512>, runAvx512<FloatToShortAvx512>,
                runAvx512<FloatToDoubleAvx512>, runAvx512<DoubleToFloatAvx512>};
    if (upToAvx2 && __builtin_cpu_supports("avx2"))
        return {runAvx2<ShortToFloatAvx2>, runAvx2<FloatToShortAvx2>, runAvx2<FloatToDoubleAvx2>,
                runAvx2<DoubleToFloatAvx2>};
    if (upToAvx2 || limit == "sse2")
        return {runSse2<ShortToFloatSse2>, runSse2<FloatToShortSse2>, runSse2<FloatToDoubleSse2>,
                runSse2<DoubleToFloatSse2>};
#endif
    return {runPlain<ShortToFloat>, runPlain<FloatToShort>, runPlain<FloatToDouble>,
            runPlain<DoubleToFloat>};
}

Conversions const& conversions() {
    static Conversions const chosen = chooseConversions();
    return chosen;
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
    Scale const scale{factor, 0.0f};
    // Overlapping blocks take the plain loop: their result depends on its order.
    if (overlap(n, src, dst))
        runPlain<ShortToFloat>(n, src, dst, scale);
    else
        conversions().shortToFloat(n, src, dst, scale);
}

void Convert(unsigned int n, float const* src, short* dst, int scaleBits, bool rounding) {
    if (n == 0)
        return;
    // Negated in unsigned arithmetic, so INT_MIN needs no special case.
    float const factor = static_cast<float>(shiftedOne(0u - static_cast<unsigned int>(scaleBits)));
    Scale const scale{factor, rounding ? 0.5f : 0.0f};
    if (overlap(n, src, dst))
        floatToShortInOrder(n, src, dst, scale);
    else
        conversions().floatToShort(n, src, dst, scale);
}

void Convert(unsigned int n, float const* src, double* dst) {
    if (n == 0)
        return;
    if (overlap(n, src, dst))
        runPlain<FloatToDouble>(n, src, dst, Scale{});
    else
        conversions().floatToDouble(n, src, dst, Scale{});
}

void Convert(unsigned int n, double const* src, float* dst) {
    if (n == 0)
        return;
    if (overlap(n, src, dst))
        runPlain<DoubleToFloat>(n, src, dst, Scale{});
    else
        conversions().doubleToFloat(n, src, dst, Scale{});
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
