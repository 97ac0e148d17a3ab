// Util timing on the C library clock and the platform's event clock.
#include "Util/TickCount.h"

#include <Carbon/Carbon.h>

#include <cmath>
#include <ctime>

namespace {

constexpr double kTwoTo32 = 4294967296.0;

// Truncates toward zero and reduces modulo 2^32, so the conversion is defined for every
// value (a plain cast is undefined outside the unsigned range).
unsigned int truncateToUnsigned32(double value) {
    double whole = std::trunc(value);
    if (!std::isfinite(whole))
        return 0;
    whole = std::fmod(whole, kTwoTo32);
    if (whole < 0.0)
        whole += kTwoTo32;
    return static_cast<unsigned int>(whole);
}

} // namespace

namespace Util {

unsigned int GetTimeSeconds() {
    return static_cast<unsigned int>(std::time(nullptr));
}

unsigned int GetTickCountMillis() {
    double ms = GetCurrentEventTime() * 1000.0;
    ms += ms >= 0.0 ? 0.5 : -0.5;
    return truncateToUnsigned32(ms);
}

void TimeMeasureStart(bool) {}

void TimeMeasureEnd(bool) {}

} // namespace Util
