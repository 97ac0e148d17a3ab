// Util math: guard bands, stated constants by bit pattern, decibel conversion.
#include "Util/math_utils.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace {

float floatFromBits(std::uint32_t bits) {
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

std::uint64_t bitsOf(double d) {
    std::uint64_t bits;
    std::memcpy(&bits, &d, sizeof bits);
    return bits;
}

double const kNaN = std::numeric_limits<double>::quiet_NaN();
double const kInf = std::numeric_limits<double>::infinity();

TEST(MathUtils, LogarithmGuardBand) {
    struct Row {
        char const* name;
        double (*fn)(double);
        double x;
        double expected; // NaN means "expect NaN"
    };
    Row const rows[] = {
        {"Log(0)", Util::Log, 0.0, -1e35},
        {"Log(-0)", Util::Log, -0.0, -1e35},
        {"Log(1e-37)", Util::Log, 1e-37, -1e35},
        {"Log(just below 1e-36)", Util::Log, std::nextafter(1e-36, 0.0), -1e35},
        {"Log(1e-36)", Util::Log, 1e-36, std::log(1e-36)},
        {"Log(-1e-36)", Util::Log, -1e-36, kNaN},
        {"Log(-1)", Util::Log, -1.0, kNaN},
        {"Log(e)", Util::Log, std::exp(1.0), 1.0},
        {"Log10(1e-37)", Util::Log10, 1e-37, -1e35},
        {"Log10(0)", Util::Log10, 0.0, -1e35},
        {"Log10(1000)", Util::Log10, 1000.0, 3.0},
        {"Log10(-5)", Util::Log10, -5.0, kNaN},
        {"Log2(-1e-37)", Util::Log2, -1e-37, -1e35},
        {"Log2(0)", Util::Log2, 0.0, -1e35},
        {"Log2(1)", Util::Log2, 1.0, 0.0},
        {"Log2(-2)", Util::Log2, -2.0, kNaN},
    };
    for (Row const& row : rows) {
        double const got = row.fn(row.x);
        if (std::isnan(row.expected))
            EXPECT_TRUE(std::isnan(got)) << row.name << " gave " << got;
        else
            EXPECT_EQ(got, row.expected) << row.name;
    }
}

TEST(MathUtils, Log2UsesTheStatedConstant) {
    ASSERT_EQ(std::log(std::exp(1.0)), 1.0);
    // 1.4426950408889536 is 0x3FF71547652B82D2; the exact 1/ln 2 would be ...82FE.
    EXPECT_EQ(bitsOf(Util::Log2(std::exp(1.0))), 0x3FF71547652B82D2u);
    EXPECT_NEAR(Util::Log2(8.0), 3.0, 1e-13);
    EXPECT_NEAR(Util::Log2(1024.0), 10.0, 1e-12);
}

TEST(MathUtils, ASinhUsesThePlainFormula) {
    EXPECT_EQ(Util::ASinh(0.0), 0.0);
    EXPECT_NEAR(Util::ASinh(std::sinh(1.5)), 1.5, 1e-12);
    EXPECT_NEAR(Util::ASinh(-std::sinh(0.5)), -0.5, 1e-12);
    // The sum cancels to 0 and the unguarded logarithm gives -infinity.
    EXPECT_EQ(Util::ASinh(-1e10), -kInf);
}

TEST(MathUtils, Frac) {
    struct Row {
        double x, expected;
    };
    Row const rows[] = {{2.75, 0.75}, {-0.25, 0.75}, {-3.0, 0.0},  {0.0, 0.0},
                        {1e300, 0.0}, {-2.5, 0.5},   {-1e-20, 1.0}}; // tiny negative rounds to 1
    for (Row const& row : rows)
        EXPECT_EQ(Util::Frac(row.x), row.expected) << "Frac(" << row.x << ")";
    EXPECT_TRUE(std::isnan(Util::Frac(kInf)));
}

TEST(MathUtils, IsFinite) {
    EXPECT_TRUE(Util::IsFinite(0.0));
    EXPECT_TRUE(Util::IsFinite(std::numeric_limits<double>::max()));
    EXPECT_TRUE(Util::IsFinite(std::numeric_limits<double>::denorm_min()));
    EXPECT_FALSE(Util::IsFinite(kInf));
    EXPECT_FALSE(Util::IsFinite(-kInf));
    EXPECT_FALSE(Util::IsFinite(kNaN));
}

TEST(MathUtils, LibraryWrappers) {
    double const pi = std::acos(-1.0);
    struct Row {
        char const* name;
        double got, expected;
    };
    Row const rows[] = {
        {"Floor(-1.5)", Util::Floor(-1.5), -2.0},
        {"Ceil(-1.5)", Util::Ceil(-1.5), -1.0},
        {"Pow(2, 10)", Util::Pow(2.0, 10.0), 1024.0},
        {"Pow(9, 0.5)", Util::Pow(9.0, 0.5), 3.0},
        {"Exp(0)", Util::Exp(0.0), 1.0},
        {"Sqrt(2.25)", Util::Sqrt(2.25), 1.5},
        {"Sin(pi/2)", Util::Sin(pi / 2), 1.0},
        {"Cos(0)", Util::Cos(0.0), 1.0},
        {"Tan(pi/4)", Util::Tan(pi / 4), 1.0},
        {"ASin(1)", Util::ASin(1.0), pi / 2},
        {"ACos(-1)", Util::ACos(-1.0), pi},
        {"ATan(1)", Util::ATan(1.0), pi / 4},
        {"ATan2(1, -1)", Util::ATan2(1.0, -1.0), 3 * pi / 4}, // y first
        {"Sinh(1)", Util::Sinh(1.0), (std::exp(1.0) - std::exp(-1.0)) / 2},
        {"Cosh(1)", Util::Cosh(1.0), (std::exp(1.0) + std::exp(-1.0)) / 2},
        {"Tanh(inf)", Util::Tanh(kInf), 1.0},
    };
    for (Row const& row : rows)
        EXPECT_NEAR(row.got, row.expected, 1e-15) << row.name;
}

TEST(MathUtils, DecibelsToSample) {
    EXPECT_EQ(Util::DecibelsToSample(0.0f), 1.0f);
    EXPECT_NEAR(Util::DecibelsToSample(-6.0206f), 0.5f, 1e-6f);
    EXPECT_NEAR(Util::DecibelsToSample(20.0f), 10.0f, 1e-5f);
    EXPECT_NEAR(Util::DecibelsToSample(-120.0f), 1e-6f, 1e-11f);
    // For 1 dB the exponent is exactly the factor 0x3DEBC8E3, taken in double precision.
    float const factor = floatFromBits(0x3DEBC8E3u);
    EXPECT_EQ(Util::DecibelsToSample(1.0f),
              static_cast<float>(std::exp(static_cast<double>(factor))));
}

TEST(MathUtils, SampleToDecibels) {
    struct Row {
        char const* name;
        float s, expected;
    };
    float const threshold = floatFromBits(0x1E3CE508u); // 1e-20f
    Row const rows[] = {
        {"0", 0.0f, -400.0f},
        {"-0", -0.0f, -400.0f},
        {"-1", -1.0f, -400.0f},
        {"-1000", -1000.0f, -400.0f},
        {"NaN", std::numeric_limits<float>::quiet_NaN(), -400.0f},
        {"just below 1e-20", std::nextafter(threshold, 0.0f), -400.0f},
        {"1", 1.0f, 0.0f},
    };
    for (Row const& row : rows)
        EXPECT_EQ(Util::SampleToDecibels(row.s), row.expected) << row.name;

    EXPECT_NEAR(Util::SampleToDecibels(0.5f), -6.0206f, 1e-4f);
    EXPECT_NEAR(Util::SampleToDecibels(10.0f), 20.0f, 1e-5f);
    // ln in double rounded to single, then times 0x410AF967 in single.
    float const factor = floatFromBits(0x410AF967u);
    for (float s : {threshold, 2.0f, 0.001f, 12345.0f})
        EXPECT_EQ(Util::SampleToDecibels(s), static_cast<float>(std::log(double(s))) * factor)
            << "sample " << s;
}

TEST(MathUtils, DecibelRoundTrips) {
    for (int tenth = -1200; tenth <= 200; tenth += 7) {
        float const dB = static_cast<float>(tenth) / 10.0f;
        float const back = Util::SampleToDecibels(Util::DecibelsToSample(dB));
        EXPECT_NEAR(back, dB, 1e-4f) << dB << " dB";
    }
    for (float s : {1e-6f, 0.001f, 0.25f, 0.9f, 1.0f, 3.5f}) {
        float const back = Util::DecibelsToSample(Util::SampleToDecibels(s));
        EXPECT_NEAR(back / s, 1.0f, 2e-6f) << "sample " << s;
    }
}

} // namespace
