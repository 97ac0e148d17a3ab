// This file provides GetCurrentEventTime on CLOCK_MONOTONIC, with a seam for tests.
#include <Carbon/CarbonEvents.h>
#include <velmora/platform_testing.h>

#include <atomic>
#include <ctime>

namespace {

std::atomic<double> g_fixedTime{-1.0};

} // namespace

EventTime GetCurrentEventTime(void) {
    double const fixed = g_fixedTime.load(std::memory_order_relaxed);
    if (fixed >= 0.0)
        return fixed;
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

void VelmoraSetCurrentEventTimeForTesting(double seconds) {
    g_fixedTime.store(seconds, std::memory_order_relaxed);
}
