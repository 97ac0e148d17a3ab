/// \file
/// Event time.
#pragma once

#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef double EventTime; ///< Seconds.

/// One second of EventTime.
#define kEventDurationSecond ((EventTime)1.0)
/// One millisecond of EventTime.
#define kEventDurationMillisecond ((EventTime)(kEventDurationSecond / 1000))

/// Seconds on a monotonic clock (CLOCK_MONOTONIC), never going back; like the Mac's, it counts
/// from about system start.
__attribute__((visibility("default"))) EventTime GetCurrentEventTime(void);

#ifdef __cplusplus
}
#endif
