// IPP block operations: counts of 0, overlap, zero fills, and the conversion rules.
#include "IPP/IPP_util_mac.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace {

float const kInfF = std::numeric_limits<float>::infinity();
float const kNaNF = std::numeric_limits<float>::quiet_NaN();

template <typename T>
bool allBitsZero(T const* p, std::size_t n) {
    std::vector<unsigned char> bytes(n * sizeof(T));
    std::memcpy(bytes.data(), p, bytes.size());
    for (unsigned char b : bytes)
        if (b != 0)
            return false;
    return true;
}

TEST(IPP, CountZeroTouchesNoMemory) {
    // Any access through these null pointers would crash.
    IPP::Copy(0, static_cast<unsigned char const*>(nullptr), static_cast<unsigned char*>(nullptr));
    IPP::Copy(0, static_cast<char const*>(nullptr), static_cast<char*>(nullptr));
    IPP::Copy(0, static_cast<short const*>(nullptr), static_cast<short*>(nullptr));
    IPP::Copy(0, static_cast<int const*>(nullptr), static_cast<int*>(nullptr));
    IPP::Copy(0, static_cast<unsigned int const*>(nullptr), static_cast<unsigned int*>(nullptr));
    IPP::Copy(0, static_cast<float const*>(nullptr), static_cast<float*>(nullptr));
    IPP::Copy(0, static_cast<double const*>(nullptr), static_cast<double*>(nullptr));
    IPP::Move(0, static_cast<unsigned char const*>(nullptr), static_cast<unsigned char*>(nullptr));
    IPP::Move(0, static_cast<short const*>(nullptr), static_cast<short*>(nullptr));
    IPP::Move(0, static_cast<float const*>(nullptr), static_cast<float*>(nullptr));
    IPP::Move(0, static_cast<double const*>(nullptr), static_cast<double*>(nullptr));
    IPP::Set(0, static_cast<unsigned char*>(nullptr), static_cast<unsigned char>(7));
    IPP::Set(0, static_cast<short*>(nullptr), static_cast<short>(7));
    IPP::Set(0, static_cast<int*>(nullptr), 7);
    IPP::Set(0, static_cast<unsigned int*>(nullptr), 7u);
    IPP::Set(0, static_cast<float*>(nullptr), 7.0f);
    IPP::Set(0, static_cast<double*>(nullptr), 7.0);
    IPP::Set(0, static_cast<float*>(nullptr), 0.0f);
    IPP::Zero(0, static_cast<unsigned char*>(nullptr));
    IPP::Zero(0, static_cast<short*>(nullptr));
    IPP::Zero(0, static_cast<int*>(nullptr));
    IPP::Zero(0, static_cast<unsigned int*>(nullptr));
    IPP::Zero(0, static_cast<float*>(nullptr));
    IPP::Zero(0, static_cast<double*>(nullptr));
    IPP::Convert(0, static_cast<short const*>(nullptr), static_cast<float*>(nullptr), 15);
    IPP::Convert(0, static_cast<float const*>(nullptr), static_cast<short*>(nullptr), -15, true);
    IPP::Convert(0, static_cast<float const*>(nullptr), static_cast<double*>(nullptr));
    IPP::Convert(0, static_cast<double const*>(nullptr), static_cast<float*>(nullptr));
    IPP::Convert(0, static_cast<unsigned char const*>(nullptr), static_cast<float*>(nullptr));
    IPP::Convert(0, static_cast<short const*>(nullptr), static_cast<double*>(nullptr), 15);
    IPP::Convert(0, static_cast<int const*>(nullptr), static_cast<float*>(nullptr), 31);
    IPP::Convert(0, static_cast<int const*>(nullptr), static_cast<double*>(nullptr), 31);
    IPP::Convert(0, static_cast<float const*>(nullptr), static_cast<unsigned char*>(nullptr), -8,
                 true);
    IPP::Convert(0, static_cast<float const*>(nullptr), static_cast<int*>(nullptr), -31, true);
    IPP::Convert(0, static_cast<double const*>(nullptr), static_cast<int*>(nullptr), -31, true);
    SUCCEED();
}

TEST(IPP, CountZeroLeavesTheDestination) {
    short const src[2] = {1, 2};
    short dst[2] = {-5, -6};
    IPP::Copy(0, src, dst);
    IPP::Move(0, src, dst);
    IPP::Set(0, dst, static_cast<short>(9));
    IPP::Zero(0, dst);
    EXPECT_EQ(dst[0], -5);
    EXPECT_EQ(dst[1], -6);
}

// Copy, Move, Set and Zero for each element type: exactly n elements change, for many
// counts and offsets, with a guard element on either side.
template <typename T>
class IPPBlocks : public ::testing::Test {};
typedef ::testing::Types<unsigned char, short, int, unsigned int, float, double> BlockTypes;
TYPED_TEST_SUITE(IPPBlocks, BlockTypes);

template <typename T>
T valueAt(std::size_t i) {
    return static_cast<T>(i % 100 + 1);
}

template <typename T>
void checkCopy(void (*copy)(unsigned int, T const*, T*)) {
    for (std::size_t offset = 0; offset < 4; ++offset)
        for (unsigned int n = 1; n <= 70; ++n) {
            std::vector<T> src(n + 8), dst(n + 8, T(0));
            for (std::size_t i = 0; i < src.size(); ++i)
                src[i] = valueAt<T>(i);
            copy(n, src.data() + offset, dst.data() + 1);
            ASSERT_EQ(dst[0], T(0)) << "n " << n << " offset " << offset;
            for (unsigned int i = 0; i < n; ++i)
                ASSERT_EQ(dst[1 + i], src[offset + i]) << "n " << n << " element " << i;
            ASSERT_EQ(dst[n + 1], T(0)) << "n " << n << " offset " << offset;
        }
}

TYPED_TEST(IPPBlocks, CopyWritesExactlyNElements) {
    checkCopy<TypeParam>(&IPP::Copy);
}

TEST(IPP, CopyOfChars) {
    checkCopy<char>(&IPP::Copy);
}

TYPED_TEST(IPPBlocks, ZeroClearsExactlyNElements) {
    std::vector<TypeParam> block(12, TypeParam(3));
    IPP::Zero(10, block.data() + 1);
    EXPECT_EQ(block[0], TypeParam(3));
    EXPECT_TRUE(allBitsZero(block.data() + 1, 10));
    EXPECT_EQ(block[11], TypeParam(3));
}

TYPED_TEST(IPPBlocks, SetFillsExactlyNElements) {
    for (unsigned int n : {1u, 3u, 4u, 5u, 33u}) {
        std::vector<TypeParam> block(n + 2, TypeParam(0));
        IPP::Set(n, block.data() + 1, TypeParam(42));
        EXPECT_EQ(block[0], TypeParam(0)) << "n " << n;
        for (unsigned int i = 1; i <= n; ++i)
            EXPECT_EQ(block[i], TypeParam(42)) << "n " << n << " element " << i;
        EXPECT_EQ(block[n + 1], TypeParam(0)) << "n " << n;

        IPP::Set(n, block.data() + 1, TypeParam(0));
        EXPECT_TRUE(allBitsZero(block.data() + 1, n)) << "n " << n;
    }
}

TEST(IPP, SetOfNegativeZeroStoresPositiveZero) {
    float f[5] = {1, 2, 3, 4, 5};
    IPP::Set(5, f, -0.0f);
    EXPECT_TRUE(allBitsZero(f, 5));
    EXPECT_FALSE(std::signbit(f[2]));

    double d[3] = {1, 2, 3};
    IPP::Set(3, d, -0.0);
    EXPECT_TRUE(allBitsZero(d, 3));
}

TEST(IPP, SetStoresNaNAndNegativeValuesAsGiven) {
    float f[3] = {};
    IPP::Set(3, f, kNaNF);
    for (float v : f)
        EXPECT_TRUE(std::isnan(v));
    short s[3] = {};
    IPP::Set(3, s, static_cast<short>(-1));
    for (short v : s)
        EXPECT_EQ(v, -1);
    unsigned char b[3] = {};
    IPP::Set(3, b, static_cast<unsigned char>(0xA5));
    for (unsigned char v : b)
        EXPECT_EQ(v, 0xA5);
}

template <typename T>
void checkMoveOverlap() {
    for (unsigned int n : {1u, 7u, 64u}) {
        for (std::size_t shift : {1u, 3u}) {
            std::vector<T> right(n + shift), left(n + shift);
            for (std::size_t i = 0; i < right.size(); ++i)
                right[i] = left[i] = valueAt<T>(i);
            std::vector<T> const original = right;
            // Towards higher addresses: the destination starts inside the source.
            IPP::Move(n, right.data(), right.data() + shift);
            // Towards lower addresses: the source starts inside the destination.
            IPP::Move(n, left.data() + shift, left.data());
            for (unsigned int i = 0; i < n; ++i) {
                ASSERT_EQ(right[shift + i], original[i]) << "n " << n << " shift " << shift;
                ASSERT_EQ(left[i], original[shift + i]) << "n " << n << " shift " << shift;
            }
        }
    }
}

TEST(IPP, MoveHandlesOverlapBothWays) {
    checkMoveOverlap<unsigned char>();
    checkMoveOverlap<short>();
    checkMoveOverlap<float>();
    checkMoveOverlap<double>();
}

TEST(IPP, ShortToFloat) {
    struct Row {
        short in;
        int scaleBits;
        float out;
    };
    Row const rows[] = {
        {-32768, 15, -1.0f},    {16384, 15, 0.5f}, {32767, 15, 32767.0f / 32768.0f},
        {-3, 0, -3.0f},                                            // factor 1
        {100, 64, 100.0f},                                         // 64 is 0 modulo 64
        {16384, 31, -0x1p-17f},                                    // 1 << 31 is -2^31
        {1, 32, kInfF},                                            // 1 << 32 is 0, so 1 / 0
        {-2, 33, -kInfF},       {3, 63, kInfF},    {5, -1, kInfF}, // -1 is 63 modulo 64
        {1, 30, 0x1p-30f},
    };
    // Blocks of eleven copies, so vectorised passes and the scalar tail are both checked; the
    // twelfth element must stay as it was.
    for (Row const& row : rows) {
        std::vector<short> const in(11, row.in);
        std::vector<float> out(12, 99.0f);
        IPP::Convert(11, in.data(), out.data(), row.scaleBits);
        EXPECT_EQ(out[11], 99.0f) << "written past the block";
        for (std::size_t i = 0; i < 11; ++i)
            EXPECT_EQ(out[i], row.out)
                << row.in << " with scaleBits " << row.scaleBits << ", element " << i;
    }
    short const zero = 0;
    float out = 99.0f;
    IPP::Convert(1, &zero, &out, 32);
    EXPECT_TRUE(std::isnan(out)) << "0 times infinity";
}

TEST(IPP, FloatToShort) {
    struct Row {
        float in;
        int scaleBits;
        bool rounding;
        short out;
    };
    Row const rows[] = {
        {1.0f, -15, true, 32767},   // 32768.5 clipped
        {-1.0f, -15, true, -32767}, // -32767.5 truncated toward zero
        {0.00002f, -15, true, 1},   // 0.655 + 0.5
        {0.00002f, -15, false, 0},
        {-1.0f, -15, false, -32768},
        {-1.7f, 0, true, -1}, // -1.2 toward zero
        {-2.5f, 0, true, -2}, // not round-to-nearest-even
        {2.5f, 0, true, 3},
        {2.4f, 0, true, 2},
        {-0.4f, 0, true, 0},
        {1e10f, -15, false, 32767}, // saturates, then clips
        {-1e10f, -15, false, -32768},
        {kInfF, -15, true, 32767},
        {-kInfF, -15, true, -32768},
        {kNaNF, -15, true, -32768}, // NaN becomes the most negative value
        {kNaNF, 0, false, -32768},
        {1000.0f, 1, true, 0}, // factor 0 for scaleBits 1..32
        {1000.0f, 32, false, 0},
        {kInfF, 16, false, -32768}, // infinity times 0 is NaN
        {1.0f, -31, false, -32768}, // 1 << 31 is -2^31
        {1e-9f, 33, true, -1},      // -33 is 31 modulo 64: -2.147 + 0.5
        {1000.0f, -32, true, 0},
        {1000.0f, -63, true, 0},
        {1000.0f, -64, true, 1000}, // 64 is 0 modulo 64: factor 1
        {1000.0f, 64, false, 1000},
        {1000.0f, std::numeric_limits<int>::min(), false, 1000},
        {0.5f, -8, false, 128},
    };
    for (Row const& row : rows) {
        std::vector<float> const in(11, row.in);
        std::vector<short> out(12, 1234);
        IPP::Convert(11, in.data(), out.data(), row.scaleBits, row.rounding);
        EXPECT_EQ(out[11], 1234) << "written past the block";
        for (std::size_t i = 0; i < 11; ++i)
            EXPECT_EQ(out[i], row.out)
                << row.in << " with scaleBits " << row.scaleBits
                << (row.rounding ? ", rounding" : ", truncating") << ", element " << i;
    }
}

TEST(IPP, SixteenBitRoundTripOverEveryValue) {
    std::vector<short> all(65536);
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] = static_cast<short>(static_cast<int>(i) - 32768);
    std::vector<float> scaled(all.size());
    std::vector<short> truncated(all.size()), rounded(all.size());
    IPP::Convert(static_cast<unsigned int>(all.size()), all.data(), scaled.data(), 15);
    IPP::Convert(static_cast<unsigned int>(all.size()), scaled.data(), truncated.data(), -15,
                 false);
    IPP::Convert(static_cast<unsigned int>(all.size()), scaled.data(), rounded.data(), -15, true);
    for (std::size_t i = 0; i < all.size(); ++i) {
        ASSERT_EQ(scaled[i] * 32768.0f, static_cast<float>(all[i])) << all[i];
        ASSERT_EQ(truncated[i], all[i]) << all[i];
        // Adding 0.5 moves every negative value one step toward zero.
        ASSERT_EQ(rounded[i], all[i] < 0 ? all[i] + 1 : all[i]) << all[i];
    }
}

TEST(IPP, FloatDoubleConversions) {
    float const f[] = {0.1f, -0.0f, kInfF, std::numeric_limits<float>::denorm_min(), 3.0f};
    double d[5] = {};
    IPP::Convert(5, f, d);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(d[i], static_cast<double>(f[i])) << "element " << i;
    EXPECT_TRUE(std::signbit(d[1]));

    double const wide[] = {0.1, 1e300, -1e-50, 1.0 + 1e-12, std::nan("")};
    float narrow[5] = {};
    IPP::Convert(5, wide, narrow);
    EXPECT_EQ(narrow[0], 0.1f);
    EXPECT_EQ(narrow[1], kInfF);
    EXPECT_EQ(narrow[2], -0.0f);
    EXPECT_TRUE(std::signbit(narrow[2]));
    EXPECT_EQ(narrow[3], 1.0f);
    EXPECT_TRUE(std::isnan(narrow[4]));
}

TEST(IPP, UnimplementedConversionsLeaveTheDestination) {
    unsigned char const bytes[4] = {1, 2, 3, 255};
    short const shorts[4] = {1, 2, 3, -4};
    int const ints[4] = {1, 2, 3, -4};
    float const floats[4] = {0.5f, -0.5f, 1.0f, 2.0f};
    double const doubles[4] = {0.5, -0.5, 1.0, 2.0};

    float f[4] = {7, 7, 7, 7};
    IPP::Convert(4, bytes, f);
    IPP::Convert(4, ints, f, 0);
    IPP::Convert(4, ints, f, 31);
    for (float v : f)
        EXPECT_EQ(v, 7.0f);

    double d[4] = {7, 7, 7, 7};
    IPP::Convert(4, shorts, d, 15);
    IPP::Convert(4, ints, d, 0);
    for (double v : d)
        EXPECT_EQ(v, 7.0);

    unsigned char b[4] = {7, 7, 7, 7};
    IPP::Convert(4, floats, b, -7, true);
    for (unsigned char v : b)
        EXPECT_EQ(v, 7);

    int i[4] = {7, 7, 7, 7};
    IPP::Convert(4, floats, i, -31, true);
    IPP::Convert(4, doubles, i, 0, false);
    for (int v : i)
        EXPECT_EQ(v, 7);
}

} // namespace
