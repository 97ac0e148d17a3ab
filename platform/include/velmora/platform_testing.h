/* Hooks of the Linux Mac-API layer for tests. Not part of the Mac APIs: code that must build
 * on the Mac uses none of this outside tests. */
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFUUID.h>

CF_EXTERN_C_BEGIN

/* From now on GetCurrentEventTime answers seconds; a negative value restores the clock. */
CF_EXPORT void VelmoraSetCurrentEventTimeForTesting(double seconds);

/* Live instances counted for factoryID by CFPlugInAddInstanceForFactory. */
CF_EXPORT CFIndex VelmoraPlugInInstanceCount(CFUUIDRef factoryID);

CF_EXTERN_C_END
