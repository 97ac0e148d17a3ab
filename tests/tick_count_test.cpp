// Util timing: the millisecond tick on a pinned event clock, and wall-clock seconds.
#include "Util/TickCount.h"

#include <Carbon/Carbon.h>
#include <velmora/platform_testing.h>

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>

namespace {

class TickCount : public ::testing::Test {
protected:
    void TearDown() override { VelmoraSetCurrentEventTimeForTesting(-1.0); }
};

TEST_F(TickCount, RoundsHalfUpToTheMillisecond) {
    struct Row {
        double seconds;
        unsigned int ms;
    };
    Row const rows[] = {
        {0.0, 0},
        {0.0004, 0},
        {0.0005, 1},
        {1.0004, 1000},
        {1.0005, 1001},
        {2147483.647, 0x7FFFFFFFu},
        {2147483.648, 0x80000000u}, // the upper half of the unsigned range is used
        {4294967.295, 0xFFFFFFFFu},
        {4294967.296, 0u}, // wraps like any 32-bit tick
        {4294967.3, 4u},
    };
    for (Row const& row : rows) {
        VelmoraSetCurrentEventTimeForTesting(row.seconds);
        EXPECT_EQ(Util::GetTickCountMillis(), row.ms) << row.seconds << " s";
    }
}

TEST_F(TickCount, FollowsTheEventClock) {
    unsigned int const before =
        static_cast<unsigned int>(std::floor(GetCurrentEventTime() * 1000.0));
    unsigned int const tick = Util::GetTickCountMillis();
    unsigned int const after = static_cast<unsigned int>(std::ceil(GetCurrentEventTime() * 1000.0));
    EXPECT_LE(before, tick);
    EXPECT_LE(tick, after);
}

TEST_F(TickCount, MeasurementHooksDoNothing) {
    VelmoraSetCurrentEventTimeForTesting(12.345);
    Util::TimeMeasureStart(true);
    Util::TimeMeasureEnd(true);
    Util::TimeMeasureStart(false);
    Util::TimeMeasureEnd(false);
    EXPECT_EQ(GetCurrentEventTime(), 12.345);
    EXPECT_EQ(Util::GetTickCountMillis(), 12345u);
}

TEST(TimeSeconds, IsTheCalendarTime) {
    std::time_t const before = std::time(nullptr);
    unsigned int const seconds = Util::GetTimeSeconds();
    std::time_t const after = std::time(nullptr);
    EXPECT_LE(static_cast<unsigned int>(before), seconds);
    EXPECT_LE(seconds, static_cast<unsigned int>(after));
    EXPECT_GT(seconds, 946684800u); // after 2000-01-01
}

} // namespace
