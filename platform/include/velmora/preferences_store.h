/* Linux companions of CFPreferences for tools such as velmora-defaults: where a domain is
 * stored, which domains a scope holds, and why the last call failed. Not part of the Mac
 * APIs. */
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

/* The absolute path of the file that holds the domain in the scope named by userName and
 * hostName (the CFPreferences constants), owned by the caller; NULL when the domain name or
 * the scope is refused or the store has no location (no home folder). */
CF_EXPORT CFStringRef VelmoraPreferencesCopyFilePath(CFStringRef applicationID,
                                                     CFStringRef userName, CFStringRef hostName);

/* The names of the domains that have a file in the scope, sorted, owned by the caller; NULL
 * when there are none or the scope is refused. */
CF_EXPORT CFArrayRef VelmoraPreferencesCopyDomainList(CFStringRef userName, CFStringRef hostName);

/* Why the calling thread's last CFPreferences call failed or was refused, or why the file it
 * read was ignored as corrupt, as one line owned by the caller; NULL when there is nothing to
 * say. */
CF_EXPORT CFStringRef VelmoraPreferencesCopyLastError(void);

CF_EXTERN_C_END
