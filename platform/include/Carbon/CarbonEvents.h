/* Event time. */
#pragma once

#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef double EventTime;

#define kEventDurationSecond ((EventTime)1.0)
#define kEventDurationMillisecond ((EventTime)(kEventDurationSecond / 1000))

/* Seconds on a monotonic clock (CLOCK_MONOTONIC), never going back. */
__attribute__((visibility("default"))) EventTime GetCurrentEventTime(void);

#ifdef __cplusplus
}
#endif
