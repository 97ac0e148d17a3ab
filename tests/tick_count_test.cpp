// Util timing: the millisecond tick on a pinned event clock, and wall-clock seconds.
#include "Util/TickCount.h"

#include <Carbon/Carbon.h>
#include <velmora/platform_testing.h>

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>

namespace {

unsigned int tickAt(double seconds) {
    VelmoraSetCurrentEventTimeForTesting(seconds);
    return Util::GetTickCountMillis();
}

// Half a millisecond rounds up; the upper half of the unsigned range is used, then the count
// wraps (modulo 2^32, not clamped) like any 32-bit tick. The measurement hooks do nothing.
TEST(TickCount, RoundsHalfUpToTheMillisecondAndWraps) {
    EXPECT_EQ(tickAt(1.0004), 1000u);
    EXPECT_EQ(tickAt(1.0005), 1001u);
    EXPECT_EQ(tickAt(2147483.648), 0x80000000u);
    EXPECT_EQ(tickAt(4294967.295), 0xFFFFFFFFu);
    EXPECT_EQ(tickAt(4294967.3), 4u);
    tickAt(12.345);
    for (bool enabled : {true, false}) {
        Util::TimeMeasureStart(enabled);
        Util::TimeMeasureEnd(enabled);
    }
    EXPECT_EQ(Util::GetTickCountMillis(), 12345u);
    VelmoraSetCurrentEventTimeForTesting(-1.0); // back to the real clock
}

TEST(TickCount, FollowsTheEventClockAndTheCalendar) {
    auto const before = static_cast<unsigned int>(std::floor(GetCurrentEventTime() * 1000.0));
    unsigned int const tick = Util::GetTickCountMillis();
    auto const after = static_cast<unsigned int>(std::ceil(GetCurrentEventTime() * 1000.0));
    EXPECT_TRUE(before <= tick && tick <= after) << before << " <= " << tick << " <= " << after;

    auto const start = static_cast<unsigned int>(std::time(nullptr));
    unsigned int const seconds = Util::GetTimeSeconds();
    auto const end = static_cast<unsigned int>(std::time(nullptr));
    EXPECT_TRUE(start <= seconds && seconds <= end && seconds > 946684800u) << seconds;
}

} // namespace
