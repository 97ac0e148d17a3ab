/// \file
/// Hooks of the Linux Mac-API layer for tests. Not part of the Mac APIs: code that must build
/// on the Mac uses none of this outside tests.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFPreferences.h>
#include <CoreFoundation/CFUUID.h>

CF_EXTERN_C_BEGIN

/// From now on GetCurrentEventTime answers seconds; a negative value restores the clock.
CF_EXPORT void VelmoraSetCurrentEventTimeForTesting(double seconds);

/// Live instances counted for factoryID by CFPlugInAddInstanceForFactory (0 for NULL).
CF_EXPORT CFIndex VelmoraPlugInInstanceCount(CFUUIDRef factoryID);

/// An observer of CFPreferences calls: the context it was set with, the call's name
/// ("CFPreferencesSetValue", "CFPreferencesCopyValue", "CFPreferencesCopyKeyList",
/// "CFPreferencesSynchronize") and its arguments (key and value are NULL where the call has
/// none).
typedef void (*VelmoraPreferencesObserver)(void* context, const char* call, CFStringRef key,
                                           CFPropertyListRef value, CFStringRef applicationID,
                                           CFStringRef userName, CFStringRef hostName);
/// Calls observer with context at the start of every CFPreferences call of the process, on
/// the calling thread. NULL stops the observation.
CF_EXPORT void VelmoraSetPreferencesObserver(VelmoraPreferencesObserver observer, void* context);

/// Drops every cached domain and pending change, and forgets the store's location, so the
/// next call reads VELMORA_PREFS_ROOT and the files afresh.
CF_EXPORT void VelmoraResetPreferencesForTesting(void);

/// How long CFPreferencesSynchronize waits for another process's lock on a file that does not
/// change before it fails (10 s; six times as long in all); a negative value restores that.
CF_EXPORT void VelmoraSetPreferencesLockTimeoutForTesting(double seconds);

CF_EXTERN_C_END
