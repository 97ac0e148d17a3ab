// IPP block operations: counts of 0, overlap, zero fills, and the conversion rules. Every
// operation is also called with a count of 0 and null pointers, which must touch no memory.
#include "IPP/IPP_util_mac.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

float const kInfF = std::numeric_limits<float>::infinity();
float const kNaNF = std::numeric_limits<float>::quiet_NaN();
double const kInf = std::numeric_limits<double>::infinity();
double const kNaN = std::numeric_limits<double>::quiet_NaN();

template <typename T>
T valueAt(std::size_t i) {
    return static_cast<T>(i % 100 + 1);
}

// Copy, Set and Zero for each element type write exactly n elements.
template <typename T>
class IPPBlocks : public ::testing::Test {};
typedef ::testing::Types<unsigned char, short, int, unsigned int, float, double> BlockTypes;
TYPED_TEST_SUITE(IPPBlocks, BlockTypes, );

TYPED_TEST(IPPBlocks, CopySetAndZeroWriteExactlyNElements) {
    using T = TypeParam;
    T* const none = nullptr;
    IPP::Copy(0, static_cast<T const*>(none), none), IPP::Set(0, none, T(7)),
        IPP::Set(0, none, T(0)), IPP::Zero(0, none);
    for (unsigned int n : {1u, 3u, 4u, 5u, 33u}) {
        std::vector<T> src(n), block(n + 2, T(3)), expected(n + 2, T(3));
        for (unsigned int i = 0; i < n; ++i)
            src[i] = expected[i + 1] = valueAt<T>(i);
        IPP::Copy(n, src.data(), block.data() + 1);
        EXPECT_EQ(block, expected) << "Copy, n " << n;
        std::fill(expected.begin() + 1, expected.end() - 1, T(200));
        IPP::Set(n, block.data() + 1, T(200));
        EXPECT_EQ(block, expected) << "Set, n " << n;
        std::fill(expected.begin() + 1, expected.end() - 1, T(0));
        IPP::Zero(n, block.data() + 1);
        EXPECT_EQ(block, expected) << "Zero, n " << n;
    }
}

template <typename T>
void checkMoveOverlap() {
    IPP::Move(0, static_cast<T const*>(nullptr), static_cast<T*>(nullptr));
    for (unsigned int n : {1u, 7u, 64u})
        for (std::size_t shift : {1u, 3u}) {
            std::vector<T> original(n + shift);
            for (std::size_t i = 0; i < original.size(); ++i)
                original[i] = valueAt<T>(i);
            std::vector<T> right = original, left = original, toRight = original, toLeft = original;
            std::copy(original.begin(), original.begin() + n, toRight.begin() + shift);
            std::copy(original.begin() + shift, original.end(), toLeft.begin());
            IPP::Move(n, right.data(), right.data() + shift); // the destination starts inside
            IPP::Move(n, left.data() + shift, left.data());   // the source starts inside
            ASSERT_EQ(std::pair(right, left), std::pair(toRight, toLeft)) << n << " by " << shift;
        }
}

TEST(IPP, MoveOverlapBothWaysCopyOfCharsSetOfNegativeZeroAndNaN) {
    checkMoveOverlap<unsigned char>(), checkMoveOverlap<short>(), checkMoveOverlap<float>(),
        checkMoveOverlap<double>();

    // A value equal to zero clears to all-zero bits, so -0.0 is stored as +0.0; NaN as given.
    IPP::Copy(0, static_cast<char const*>(nullptr), static_cast<char*>(nullptr));
    char dst[] = "-----";
    IPP::Copy(3, "abc", dst + 1);
    EXPECT_STREQ(dst, "-abc-");
    float f[5] = {1, 2, 3, 4, 5};
    double d[3] = {1, 2, 3};
    IPP::Set(5, f, -0.0f);
    IPP::Set(3, d, -0.0);
    char const zeros[sizeof f + sizeof d] = {};
    EXPECT_TRUE(std::memcmp(f, zeros, sizeof f) == 0 && std::memcmp(d, zeros, sizeof d) == 0);
    IPP::Set(5, f, kNaNF);
    EXPECT_TRUE(std::isnan(f[0]) && std::isnan(f[4]));
}

// Converts blocks of fifteen copies of in, so a vectorised pass and a long scalar tail are
// both checked, and a sixteenth element must stay as it was.
template <typename Src, typename Dst, typename... Args>
std::vector<Dst> convert15(Src in, Dst guard, Args... args) {
    IPP::Convert(0, static_cast<Src const*>(nullptr), static_cast<Dst*>(nullptr), args...);
    std::vector<Src> const src(15, in);
    std::vector<Dst> dst(16, guard);
    IPP::Convert(15, src.data(), dst.data(), args...);
    EXPECT_EQ(dst[15], guard) << "written past the block";
    dst.pop_back();
    return dst;
}

// Factors come from 1 << (scaleBits modulo 64) in 32 bits: 31 gives -2^31, 32 to 63 give 0,
// so short to float scales by infinity there (by 1 for 64, by -2^-31 for 31, and -1 is 63).
TEST(IPP, ShortToFloatAndBack) {
    std::tuple<short, int, float> const rows[] = {
        {-32768, 15, -1.0f}, {16384, 15, 0.5f}, {32767, 15, 32767.0f / 32768.0f},
        {-3, 0, -3.0f},      {100, 64, 100.0f}, {16384, 31, -0x1p-17f},
        {1, 32, kInfF},      {-2, 33, -kInfF},  {3, 63, kInfF},
        {5, -1, kInfF},      {1, 30, 0x1p-30f}};
    for (auto const& [in, scaleBits, out] : rows)
        EXPECT_EQ(convert15(in, 99.0f, scaleBits), std::vector<float>(15, out))
            << in << " with scaleBits " << scaleBits;
    EXPECT_TRUE(std::isnan(convert15(short(0), 99.0f, 32)[0])) << "0 times infinity";

    // Float to short: scaled by 1 << -scaleBits (0 for scaleBits 1 to 32, -2^31 for -31 and 33),
    // plus 0.5 when rounding, truncated toward zero (so -1.0 at -15 gives -32767, -2.5 gives -2
    // and 2.4 gives 2: neither floor nor round-to-nearest), saturating (NaN, also infinity times
    // 0, gives the most negative value), then clipped to the short range.
    int const intMin = std::numeric_limits<int>::min();
    std::tuple<float, int, bool, short> const toShort[] = {
        {1.0f, -15, true, 32767},     {-1.0f, -15, true, -32767},  {0.00002f, -15, true, 1},
        {0.00002f, -15, false, 0},    {-1.0f, -15, false, -32768}, {-2.5f, 0, true, -2},
        {2.5f, 0, true, 3},           {2.4f, 0, true, 2},          {1e10f, -15, false, 32767},
        {-1e10f, -15, false, -32768},

        {kNaNF, -15, true, -32768},   {1000.0f, 1, true, 0},       {1000.0f, 32, false, 0},
        {kInfF, 16, false, -32768},   {1.0f, -31, false, -32768},  {1e-9f, 33, true, -1},
        {1000.0f, -63, true, 0},      {1000.0f, 64, false, 1000},  {1000.0f, intMin, false, 1000},
        {0.5f, -8, false, 128}};
    for (auto const& [in, scaleBits, rounding, out] : toShort)
        EXPECT_EQ(convert15(in, short(1234), scaleBits, rounding), std::vector<short>(15, out))
            << in << " with scaleBits " << scaleBits << (rounding ? ", rounding" : "");
}

// Every 16-bit value to float with scaleBits 15 and back; adding 0.5 moves every negative
// value one step toward zero.
TEST(IPP, SixteenBitRoundTripOverEveryValue) {
    std::vector<short> all(65536), truncated(65536), rounded(65536);
    std::vector<float> scaled(65536);
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] = static_cast<short>(static_cast<int>(i) - 32768);
    IPP::Convert(65536, all.data(), scaled.data(), 15);
    IPP::Convert(65536, scaled.data(), truncated.data(), -15, false);
    IPP::Convert(65536, scaled.data(), rounded.data(), -15, true);
    for (std::size_t i = 0; i < all.size(); ++i) {
        ASSERT_EQ(scaled[i] * 32768.0f, static_cast<float>(all[i])) << all[i];
        ASSERT_EQ(truncated[i], all[i]) << all[i];
        ASSERT_EQ(rounded[i], all[i] < 0 ? all[i] + 1 : all[i]) << all[i];
    }
}

// The conversions that deliberately do nothing leave every element of the destination.
template <typename Dst, typename Src, typename... Args>
void expectUntouched(Src const* src, Args... args) {
    IPP::Convert(0, static_cast<Src const*>(nullptr), static_cast<Dst*>(nullptr), args...);
    Dst dst[4] = {7, 7, 7, 7};
    IPP::Convert(4, src, dst, args...);
    for (Dst v : dst)
        EXPECT_EQ(v, Dst(7));
}

TEST(IPP, FloatDoubleConversionsAndTheUnimplementedOnesLeaveTheDestination) {
    unsigned char const bytes[4] = {1, 2, 3, 255};
    short const shorts[4] = {1, 2, 3, -4};
    int const ints[4] = {1, 2, 3, -4};
    float const floats[4] = {0.5f, -0.5f, 1.0f, 2.0f};
    double const doubles[4] = {0.5, -0.5, 1.0, 2.0};
    expectUntouched<float>(bytes), expectUntouched<float>(ints, 0),
        expectUntouched<float>(ints, 31), expectUntouched<double>(shorts, 15),
        expectUntouched<double>(ints, 0), expectUntouched<unsigned char>(floats, -7, true),
        expectUntouched<int>(floats, -31, true), expectUntouched<int>(doubles, 0, false);

    float const f[] = {0.1f, -0.0f, kInfF, std::numeric_limits<float>::denorm_min(), 3.0f};
    double d[5] = {};
    IPP::Convert(0, static_cast<float const*>(nullptr), static_cast<double*>(nullptr));
    IPP::Convert(0, static_cast<double const*>(nullptr), static_cast<float*>(nullptr));
    IPP::Convert(5, f, d);
    EXPECT_EQ(std::vector<double>(d, d + 5), std::vector<double>(f, f + 5));
    EXPECT_TRUE(std::signbit(d[1]));
    double const wide[] = {0.1, 1e300, -1e-50, 1.0 + 1e-12, std::nan("")};
    float narrow[5] = {};
    IPP::Convert(5, wide, narrow);
    EXPECT_TRUE(narrow[0] == 0.1f && narrow[1] == kInfF && narrow[2] == 0.0f &&
                std::signbit(narrow[2]) && narrow[3] == 1.0f && std::isnan(narrow[4]));
}

template <typename T, typename Bits>
T fromBits(Bits bits) {
    static_assert(sizeof(T) == sizeof(Bits));
    T value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// Random samples: a quarter from the edges of the rules, the rest raw bit patterns (NaNs with
// payloads, signalling ones too, denormals, infinities) and values near the short range at the
// scales used.
float floatSample(std::mt19937& rng) {
    float const tiny = std::numeric_limits<float>::denorm_min();
    float const normal = std::numeric_limits<float>::min(), max = std::numeric_limits<float>::max();
    float const edges[] = {0.0f,      -0.0f,         kInfF,          -kInfF,
                           kNaNF,     -kNaNF,        tiny,           -tiny * 8388607,
                           normal,    max,           -max,           32767.0f,
                           32767.5f,  32768.0f,      -32768.0f,      -32768.5f,
                           -32769.0f, 0.5f,          -0.5f,          1.5f,
                           -2.5f,     2147483648.0f, -2147483648.0f, 1.0f,
                           -1.0f,     0.99999994f,   -1.0f / 32768,  1.0f / 65536};
    switch (rng() % 4) {
    case 0:
        return edges[rng() % std::size(edges)];
    case 1:
        return fromBits<float>(static_cast<std::uint32_t>(rng()));
    case 2:
        return std::uniform_real_distribution<float>(-1.1f, 1.1f)(rng);
    default:
        return std::uniform_real_distribution<float>(-70000.0f, 70000.0f)(rng);
    }
}

// The same for narrowing, with the ties of the rounding (past the largest float, at half the
// smallest denormal, at 1 + 2^-24) and doubles next to the midpoints between two floats.
double doubleSample(std::mt19937& rng) {
    double const top = std::numeric_limits<float>::max() + std::ldexp(1.0, 103);
    double const belowTop = top - std::ldexp(1.0, 75), max = std::numeric_limits<double>::max();
    double const half = std::ldexp(1.0, -150), aboveHalf = half * (1 + std::ldexp(1.0, -52));
    double const tieAtOne = 1 + std::ldexp(1.0, -24);
    double const edges[] = {0.0,   -0.0,      kInf,     kNaN,     max,   top,   belowTop,
                            -half, aboveHalf, 3 * half, tieAtOne, 1e300, -1e-50};
    std::uint64_t const bits = (std::uint64_t{rng()} << 32) | rng();
    switch (rng() % 4) {
    case 0:
        return edges[rng() % std::size(edges)];
    case 1:
        return fromBits<double>(bits);
    default:
        double const near = fromBits<float>(static_cast<std::uint32_t>(bits));
        return fromBits<double>(fromBits<std::uint64_t>(near) + (1u << 28) + rng() % 5 - 2);
    }
}

// 1 << (count modulo 64) in 32 bits, as a float: 31 wraps to -2^31, 32 to 63 give 0.
float shiftedOne(long long count) {
    long long const shift = (count % 64 + 64) % 64;
    return shift < 32 ? static_cast<float>(static_cast<std::int32_t>(std::uint32_t{1} << shift))
                      : 0.0f;
}

template <typename T>
T* pastLine(std::vector<T>& block, std::size_t offset) {
    std::uintptr_t const address = reinterpret_cast<std::uintptr_t>(block.data());
    return block.data() + (64 - address % 64) % 64 / sizeof(T) + offset;
}

template <typename T>
std::string firstDifference(std::vector<T> const& got, std::vector<T> const& want) {
    for (std::size_t i = 0; i < got.size(); ++i)
        if (std::memcmp(&got[i], &want[i], sizeof(T)) != 0)
            return "element " + std::to_string(i) + " of the block";
    return "";
}

// Converts n samples with src and dst the given elements past a 64-byte boundary and compares
// the whole destination block, the bytes around the result included, bit for bit with the rule
// applied one sample at a time; a narrowing conversion also in place.
template <typename Src, typename Dst, typename Sample, typename Convert, typename Rule>
std::string check(std::size_t n, std::size_t srcOffset, std::size_t dstOffset, Sample sample,
                  Convert convert, Rule rule) {
    std::vector<Src> src(n + 48);
    std::vector<Dst> dst(n + 96);
    std::memset(dst.data(), 0xA5, dst.size() * sizeof(Dst));
    std::vector<Dst> want = dst;
    Src* const in = pastLine(src, srcOffset);
    Dst* const out = pastLine(dst, dstOffset);
    for (std::size_t i = 0; i < n; ++i) {
        in[i] = sample();
        want[out - dst.data() + i] = rule(in[i]);
    }
    convert(static_cast<unsigned>(n), in, out);
    std::string const where = ", " + std::to_string(n) + " samples, src +" +
                              std::to_string(srcOffset) + ", dst +" + std::to_string(dstOffset);
    if (std::string const difference = firstDifference(dst, want); !difference.empty())
        return difference + where;
    if (sizeof(Dst) >= sizeof(Src))
        return "";
    std::vector<Src> inPlace = src;
    std::memcpy(inPlace.data() + (in - src.data()), out, n * sizeof(Dst));
    convert(static_cast<unsigned>(n), in, reinterpret_cast<Dst*>(in));
    std::string const difference = firstDifference(src, inPlace);
    return difference.empty() ? "" : difference + where + ", in place";
}

template <typename Src, typename Dst, typename Sample, typename Convert, typename Rule>
void checkEverywhere(std::mt19937& rng, bool large, Sample sample, Convert convert, Rule rule) {
    auto const run = [&](std::size_t n, std::size_t srcOffset, std::size_t dstOffset) {
        return check<Src, Dst>(n, srcOffset, dstOffset, sample, convert, rule);
    };
    for (std::size_t srcOffset = 0; srcOffset < 16; ++srcOffset)
        for (std::size_t dstOffset = 0; dstOffset < 32; ++dstOffset)
            ASSERT_EQ(run(rng() % 301, srcOffset, dstOffset), "");
    // Past a few megabytes the destination is written with streaming stores.
    for (std::size_t offset : {0u, 13u})
        if (large) {
            ASSERT_EQ(run((1u << 21) + 37, offset, offset / 2), "");
        }
}

// Every vector path against the rule, sample by sample (the tests run again with the wider
// paths switched off): lengths up to 300 at every offset, specials and random bit patterns,
// nothing written outside the block, and the same result in place for the narrowing ones.
TEST(IPP, ConversionsFollowTheRuleAtEveryLengthAndOffset) {
    std::mt19937 rng(20240611);
    int const intMin = std::numeric_limits<int>::min(), intMax = std::numeric_limits<int>::max();
    auto const shorts = [&] {
        return rng() % 8 == 0 ? std::numeric_limits<short>::min() : static_cast<short>(rng());
    };
    auto const floats = [&] { return floatSample(rng); };
    auto const doubles = [&] { return doubleSample(rng); };
    for (int scaleBits : {0, 1, 15, 31, 32, 63, 64, -1, -33, intMin, intMax}) {
        float const factor = shiftedOne(scaleBits) == 0 ? kInfF : 1.0f / shiftedOne(scaleBits);
        checkEverywhere<short, float>(
            rng, scaleBits == 15, shorts,
            [&](unsigned n, short const* s, float* d) { IPP::Convert(n, s, d, scaleBits); },
            [&](short v) { return static_cast<float>(static_cast<double>(v) * factor); });
    }
    for (int scaleBits : {-15, -16, 0, 1, 32, -31, 33, -63, intMin, intMax})
        for (bool rounding : {false, true}) {
            float const factor = shiftedOne(-static_cast<long long>(scaleBits)),
                        bias = rounding ? 0.5f : 0.0f;
            // Through double, so the multiply and the add are each rounded once and never fused.
            auto const rule = [&](float v) {
                float const scaled = static_cast<float>(double{v} * factor);
                float const x = static_cast<float>(double{scaled} + bias);
                return std::isnan(x) || x <= -32768.0f ? short(-32768)
                       : x >= 32767.0f                 ? short(32767)
                                                       : static_cast<short>(x);
            };
            checkEverywhere<float, short>(
                rng, scaleBits == -15 && rounding, floats,
                [&](unsigned n, float const* s, short* d) {
                    IPP::Convert(n, s, d, scaleBits, rounding);
                },
                rule);
        }
    checkEverywhere<float, double>(
        rng, true, floats, [](unsigned n, float const* s, double* d) { IPP::Convert(n, s, d); },
        [](float v) { return static_cast<double>(v); });
    checkEverywhere<double, float>(
        rng, true, doubles, [](unsigned n, double const* s, float* d) { IPP::Convert(n, s, d); },
        [](double v) { return static_cast<float>(v); });
}

} // namespace
