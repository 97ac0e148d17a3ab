/* CFPreferences: per-application preference domains, by user and host. */
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef CFTypeRef CFPropertyListRef;

CF_EXPORT const CFStringRef kCFPreferencesCurrentUser;
CF_EXPORT const CFStringRef kCFPreferencesAnyUser;
CF_EXPORT const CFStringRef kCFPreferencesCurrentHost;
CF_EXPORT const CFStringRef kCFPreferencesAnyHost;

CF_EXTERN_C_END
