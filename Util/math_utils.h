/// \file
/// Util math: guarded logarithms, C library wrappers and decibel conversion for samples.
#pragma once

namespace Util {

/// True when x is neither infinite nor NaN: `IsFinite(1e308)` is true, `IsFinite(INFINITY)`
/// false.
bool IsFinite(double x);

/// \name C library wrappers
/// The C library functions of the same name (floor, ceil, pow, exp, sqrt, sin, cos, tan,
/// asin, acos, atan, atan2, sinh, cosh, tanh), unchanged.
///@{

/// The C library function of the same name, unchanged: `Floor(-1.5)` is -2, `Pow(2, 10)` is
/// 1024, `ATan2(1, 1)` is pi/4.
double Floor(double x);
double Ceil(double x);
double Pow(double x, double y);
double Exp(double x);
double Sqrt(double x);
double Sin(double x);
double Cos(double x);
double Tan(double x);
double ASin(double x);
double ACos(double x);
double ATan(double x);
double ATan2(double y, double x);
double Sinh(double x);
double Cosh(double x);
double Tanh(double x);
///@}

/// The floor value of the guarded logarithms below.
constexpr double kLogFloor = -1e35;

/// Natural logarithm, except -1e35 when -1e-36 < x < 1e-36. The guard is a band around zero
/// only: `Log(0)` is -1e35, `Log(-1)` is NaN.
double Log(double x);
/// Base-10 logarithm with the same guard: `Log10(1000)` is 3, `Log10(1e-37)` is -1e35.
double Log10(double x);
/// ln(x) * 1.4426950408889536 with the same guard (that constant, not the exact 1/ln 2):
/// `Log2(8)` is 3 within a few units in the last place, `Log2(-1e-37)` is -1e35.
double Log2(double x);

/// ln(x + sqrt(x*x + 1)) with the unguarded natural logarithm: `ASinh(0)` is 0. For large
/// negative x the sum cancels to 0, so `ASinh(-1e10)` is -infinity.
double ASinh(double x);

/// x - floor(x): `Frac(2.75)` is 0.75, `Frac(-0.25)` is 0.75. In [0, 1) for finite x, except
/// that a tiny negative x rounds up to exactly 1 (`Frac(-1e-20)` is 1).
double Frac(double x);

/// exp(dB * 0.115129254758358f) (about ln 10 / 20, the single-precision value 0x3DEBC8E3;
/// the product is single precision, the exponential double, the result rounded to single).
/// `DecibelsToSample(0)` is exactly 1, `DecibelsToSample(-6.0206f)` about 0.5.
float DecibelsToSample(float dB);

/// -400 when s < 1e-20f (the single-precision value 0x1E3CE508) or s is NaN: there is no
/// absolute value, so zero and every negative sample give -400. Otherwise ln(s) in double,
/// rounded to single, times 8.68588924407959f (0x410AF967, about 20 / ln 10) in single.
/// `SampleToDecibels(1)` is 0, `SampleToDecibels(0.5f)` about -6.0206.
float SampleToDecibels(float s);

} // namespace Util
