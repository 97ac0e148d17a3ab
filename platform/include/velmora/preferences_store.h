/// \file
/// Linux companions of CFPreferences for tools such as velmora-defaults: where a domain is
/// stored, which domains a scope holds, and why the last call failed. Not part of the Mac
/// APIs.
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

/// The absolute path of the file that holds the domain in the scope named by userName and
/// hostName (the CFPreferences constants), owned by the caller; NULL when the domain name or
/// the scope is refused or the store has no location (no home folder).
CF_EXPORT CFStringRef VelmoraPreferencesCopyFilePath(CFStringRef applicationID,
                                                     CFStringRef userName, CFStringRef hostName);

/// The names of the domains that have a file in the scope, sorted, owned by the caller; NULL
/// when there are none or the scope is refused.
CF_EXPORT CFArrayRef VelmoraPreferencesCopyDomainList(CFStringRef userName, CFStringRef hostName);

/// Why the calling thread's last CFPreferences call failed or was refused, or why the file it
/// read was ignored as corrupt, as one line owned by the caller; NULL when there is nothing to
/// say.
CF_EXPORT CFStringRef VelmoraPreferencesCopyLastError(void);

/// The domain's file in the scope as a property list, XML when xml is true (as Apple's tools
/// write it), else binary; owned by the caller. NULL when the domain has no file (the last
/// error is then NULL too), or when the file cannot be read, is not a property list, or holds
/// what XML cannot carry (text with U+0000, a null, or more than 64 MiB once shared objects
/// are written out). Changes not yet synchronised are not included.
CF_EXPORT CFDataRef VelmoraPreferencesCopyDomainData(CFStringRef applicationID,
                                                     CFStringRef userName, CFStringRef hostName,
                                                     Boolean xml);

/// Replaces the domain's file in the scope, under its lock and in one rename, with the property
/// list in data (XML or binary, a dictionary at its root), or removes the file when data is
/// NULL or holds an empty dictionary. The process's cached values and pending changes for the
/// domain are dropped. False, saying why in the last error, when data is not such a property
/// list or the file cannot be replaced (it is then left as it was).
CF_EXPORT Boolean VelmoraPreferencesReplaceDomain(CFStringRef applicationID, CFStringRef userName,
                                                  CFStringRef hostName, CFDataRef data);

CF_EXTERN_C_END
