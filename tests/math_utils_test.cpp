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

// The guard is a band around zero, -1e-36 < x < 1e-36, for all three logarithms; outside it
// the plain logarithm is taken, so negative values give NaN.
TEST(MathUtils, LogarithmsGuardBandAndConstant) {
    double const edge = std::nextafter(1e-36, 0.0);
    std::pair<char const*, double (*)(double)> const logs[] = {
        {"Log", Util::Log}, {"Log10", Util::Log10}, {"Log2", Util::Log2}};
    for (auto const& [name, log] : logs) {
        for (double x : {0.0, -0.0, 1e-37, -1e-37, edge, -edge})
            EXPECT_EQ(log(x), -1e35) << name << "(" << x << ")";
        EXPECT_GT(log(1e-36), -200.0) << name;
        EXPECT_TRUE(std::isnan(log(-1e-36)) && std::isnan(log(-2.0))) << name;
    }
    EXPECT_EQ(Util::Log(1e-36), std::log(1e-36));
    EXPECT_EQ(Util::Log(std::exp(1.0)), 1.0);
    EXPECT_EQ(Util::Log10(1000.0), 3.0);
    EXPECT_EQ(Util::Log2(1.0), 0.0);
    EXPECT_NEAR(Util::Log2(1024.0), 10.0, 1e-12);
    // Log2 multiplies by 1.4426950408889536 (0x3FF71547652B82D2), not the exact 1/ln 2 (...82FE).
    ASSERT_EQ(std::log(std::exp(1.0)), 1.0);
    EXPECT_EQ(bitsOf(Util::Log2(std::exp(1.0))), 0x3FF71547652B82D2u);
}

TEST(MathUtils, ASinhFracAndIsFinite) {
    EXPECT_EQ(Util::ASinh(0.0), 0.0);
    EXPECT_NEAR(Util::ASinh(std::sinh(1.5)), 1.5, 1e-12);
    EXPECT_NEAR(Util::ASinh(-std::sinh(0.5)), -0.5, 1e-12);
    EXPECT_EQ(Util::ASinh(-1e10), -kInf); // the sum cancels to 0: the unguarded logarithm
    std::pair<double, double> const fracs[] = {{2.75, 0.75}, {-0.25, 0.75}, {-3.0, 0.0},
                                               {0.0, 0.0},   {1e300, 0.0},  {-2.5, 0.5},
                                               {-1e-20, 1.0}}; // a tiny negative rounds to 1
    for (auto const& [x, frac] : fracs)
        EXPECT_EQ(Util::Frac(x), frac) << "Frac(" << x << ")";
    EXPECT_TRUE(std::isnan(Util::Frac(kInf)));
    for (double x :
         {0.0, std::numeric_limits<double>::max(), std::numeric_limits<double>::denorm_min()})
        EXPECT_TRUE(Util::IsFinite(x)) << x;
    for (double x : {kInf, -kInf, kNaN})
        EXPECT_FALSE(Util::IsFinite(x)) << x;
}

TEST(MathUtils, LibraryWrappers) {
    double const pi = std::acos(-1.0);
    EXPECT_EQ(Util::Floor(-1.5), -2.0);
    EXPECT_EQ(Util::Ceil(-1.5), -1.0);
    EXPECT_EQ(Util::Pow(2.0, 10.0), 1024.0);
    EXPECT_EQ(Util::Exp(0.0), 1.0);
    EXPECT_EQ(Util::Sqrt(2.25), 1.5);
    EXPECT_NEAR(Util::Sin(pi / 2), 1.0, 1e-15);
    EXPECT_NEAR(Util::Cos(0.0), 1.0, 1e-15);
    EXPECT_NEAR(Util::Tan(pi / 4), 1.0, 1e-15);
    EXPECT_NEAR(Util::ASin(1.0), pi / 2, 1e-15);
    EXPECT_NEAR(Util::ACos(-1.0), pi, 1e-15);
    EXPECT_NEAR(Util::ATan(1.0), pi / 4, 1e-15);
    EXPECT_NEAR(Util::ATan2(1.0, -1.0), 3 * pi / 4, 1e-15); // y first
    EXPECT_NEAR(Util::Sinh(1.0), (std::exp(1.0) - std::exp(-1.0)) / 2, 1e-15);
    EXPECT_NEAR(Util::Cosh(1.0), (std::exp(1.0) + std::exp(-1.0)) / 2, 1e-15);
    EXPECT_EQ(Util::Tanh(kInf), 1.0);
}

// The factors are the stated single-precision constants: 0x3DEBC8E3 (the product single, the
// exponential double) and 0x410AF967 (ln in double rounded to single, the product single).
TEST(MathUtils, DecibelConversion) {
    EXPECT_EQ(Util::DecibelsToSample(0.0f), 1.0f);
    EXPECT_NEAR(Util::DecibelsToSample(-6.0206f), 0.5f, 1e-6f);
    EXPECT_NEAR(Util::DecibelsToSample(-120.0f), 1e-6f, 1e-11f);
    for (float dB : {1.0f, -20.0f, -96.3f, 60.1f}) // a double product differs for all but 1
        EXPECT_EQ(
            Util::DecibelsToSample(dB),
            static_cast<float>(std::exp(static_cast<double>(dB * floatFromBits(0x3DEBC8E3u)))))
            << dB << " dB";

    float const threshold = floatFromBits(0x1E3CE508u); // 1e-20f: no absolute value is taken
    for (float s : {0.0f, -0.0f, -1.0f, -1000.0f, std::numeric_limits<float>::quiet_NaN(),
                    std::nextafter(threshold, 0.0f)})
        EXPECT_EQ(Util::SampleToDecibels(s), -400.0f) << "sample " << s;
    EXPECT_EQ(Util::SampleToDecibels(1.0f), 0.0f);
    EXPECT_NEAR(Util::SampleToDecibels(0.5f), -6.0206f, 1e-4f);
    for (float s : {threshold, 2.0f, 0.001f, 12345.0f})
        EXPECT_EQ(Util::SampleToDecibels(s),
                  static_cast<float>(std::log(double(s))) * floatFromBits(0x410AF967u))
            << "sample " << s;
}

TEST(MathUtils, DecibelRoundTrips) {
    for (int tenth = -1200; tenth <= 200; tenth += 7) {
        float const dB = static_cast<float>(tenth) / 10.0f;
        EXPECT_NEAR(Util::SampleToDecibels(Util::DecibelsToSample(dB)), dB, 1e-4f) << dB << " dB";
    }
    for (float s : {1e-6f, 0.001f, 0.25f, 0.9f, 1.0f, 3.5f})
        EXPECT_NEAR(Util::DecibelsToSample(Util::SampleToDecibels(s)) / s, 1.0f, 2e-6f) << s;
}

} // namespace
