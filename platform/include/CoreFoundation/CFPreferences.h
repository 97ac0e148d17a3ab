/* CFPreferences: per-application preference domains, by user and host.
 *
 * On Linux each domain of each scope is one Apple property list file (see the README for the
 * layout; VELMORA_PREFS_ROOT relocates the whole store). Values set in a process are held in
 * memory, shared by its threads, until CFPreferencesSynchronize writes them. */
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

/* The value of key (a CFString, CFNumber or CFData), owned by the caller, or NULL. */
CF_EXPORT CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef applicationID,
                                                   CFStringRef userName, CFStringRef hostName);
/* Sets key to value (retained), or removes key when value is NULL; written by the next
 * CFPreferencesSynchronize of the domain. */
CF_EXPORT void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value,
                                     CFStringRef applicationID, CFStringRef userName,
                                     CFStringRef hostName);
/* The keys of the domain as an array of CFString, owned by the caller, or NULL when it has
 * none. */
CF_EXPORT CFArrayRef CFPreferencesCopyKeyList(CFStringRef applicationID, CFStringRef userName,
                                              CFStringRef hostName);
/* Writes the domain's pending changes to its file and re-reads it; false on failure, with the
 * pending changes kept. */
CF_EXPORT Boolean CFPreferencesSynchronize(CFStringRef applicationID, CFStringRef userName,
                                           CFStringRef hostName);

CF_EXTERN_C_END
