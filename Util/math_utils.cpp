// Util math: thin wrappers over the C library plus the guarded logarithms and decibels.
#include "Util/math_utils.h"

#include <cmath>

namespace {

// Inside this band the logarithm would be huge and negative or NaN-prone around zero, so
// callers working with levels get a fixed floor instead.
bool inLogGuardBand(double x) {
    return x > -1e-36 && x < 1e-36;
}

constexpr double kLog2E = 1.4426950408889536;
constexpr float kDecibelsToLn = 0.115129254758358f; // 0x3DEBC8E3
constexpr float kLnToDecibels = 8.68588924407959f;  // 0x410AF967
constexpr float kSilenceThreshold = 1e-20f;         // 0x1E3CE508
constexpr float kSilenceDecibels = -400.0f;

} // namespace

namespace Util {

bool IsFinite(double x) {
    return std::isfinite(x);
}

double Floor(double x) {
    return std::floor(x);
}
double Ceil(double x) {
    return std::ceil(x);
}
double Pow(double x, double y) {
    return std::pow(x, y);
}
double Exp(double x) {
    return std::exp(x);
}
double Sqrt(double x) {
    return std::sqrt(x);
}
double Sin(double x) {
    return std::sin(x);
}
double Cos(double x) {
    return std::cos(x);
}
double Tan(double x) {
    return std::tan(x);
}
double ASin(double x) {
    return std::asin(x);
}
double ACos(double x) {
    return std::acos(x);
}
double ATan(double x) {
    return std::atan(x);
}
double ATan2(double y, double x) {
    return std::atan2(y, x);
}
double Sinh(double x) {
    return std::sinh(x);
}
double Cosh(double x) {
    return std::cosh(x);
}
double Tanh(double x) {
    return std::tanh(x);
}

double Log(double x) {
    return inLogGuardBand(x) ? kLogFloor : std::log(x);
}

double Log10(double x) {
    return inLogGuardBand(x) ? kLogFloor : std::log10(x);
}

double Log2(double x) {
    return inLogGuardBand(x) ? kLogFloor : std::log(x) * kLog2E;
}

double ASinh(double x) {
    return std::log(x + std::sqrt(x * x + 1.0));
}

double Frac(double x) {
    return x - std::floor(x);
}

float DecibelsToSample(float dB) {
    float const lnLevel = dB * kDecibelsToLn;
    return static_cast<float>(std::exp(static_cast<double>(lnLevel)));
}

float SampleToDecibels(float s) {
    // Written as "not at least" so that NaN falls to silence too.
    if (!(s >= kSilenceThreshold))
        return kSilenceDecibels;
    float const lnLevel = static_cast<float>(Log(static_cast<double>(s)));
    return lnLevel * kLnToDecibels;
}

} // namespace Util
