/// \file
/// CFPreferences: per-application preference domains, by user and host.
///
/// On Linux each domain of each scope is one Apple property list file (docs/preferences.md
/// gives the layout; VELMORA_PREFS_ROOT relocates the whole store). Values set in a process
/// are held in memory, shared by its threads, until CFPreferencesSynchronize writes them.
///
/// Every call refuses, reading and writing nothing, a domain name that is empty, longer than
/// 150 bytes, not made of letters, digits, '.', '_' and '-', or not starting with a letter or
/// digit; a userName other than kCFPreferencesCurrentUser or kCFPreferencesAnyUser (the Mac
/// also takes a user's name); and a hostName other than kCFPreferencesCurrentHost or
/// kCFPreferencesAnyHost. A refused call answers NULL or false (VelmoraPreferencesCopyLastError,
/// velmora/preferences_store.h, says why). Values are CFString, CFNumber (integers as signed
/// 64-bit, or reals) and CFData.
///
///     CFStringRef const app = CFSTR("com.velmora.audioplugins.Tempest.AU");
///     CFPreferencesSetValue(CFSTR("Lang"), CFSTR("ja"), app, kCFPreferencesAnyUser,
///                           kCFPreferencesCurrentHost);
///     if (!CFPreferencesSynchronize(app, kCFPreferencesAnyUser, kCFPreferencesCurrentHost))
///         report(VelmoraPreferencesCopyLastError());   // why it was not written
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef CFTypeRef CFPropertyListRef; ///< A preference value: CFString, CFNumber or CFData here.

/// The user who runs the process: the user's own folder.
CF_EXPORT const CFStringRef kCFPreferencesCurrentUser;
/// Every user of the machine: the all-users folder.
CF_EXPORT const CFStringRef kCFPreferencesAnyUser;
/// This machine only: the ByHost folder, files named with the host id.
CF_EXPORT const CFStringRef kCFPreferencesCurrentHost;
/// Any machine: the scope's folder itself.
CF_EXPORT const CFStringRef kCFPreferencesAnyHost;

/// The value of key (a CFString, CFNumber or CFData), owned by the caller, or NULL. A pending
/// change of this process wins over the file. The file is read on the domain's first use and
/// again by CFPreferencesSynchronize. A boolean found in a file reads as the CFNumber 0 or 1;
/// dates, arrays, dictionaries and text that is not UTF-8 read as NULL (such keys are still
/// listed, and kept as they are when the file is rewritten). A missing, corrupt or unreadable
/// file reads as an empty domain.
CF_EXPORT CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef applicationID,
                                                   CFStringRef userName, CFStringRef hostName);
/// Sets key to value (retained), or removes key when value is NULL; written by the next
/// CFPreferencesSynchronize of the domain. A key or value that is not one of the kinds above
/// (or text holding U+0000) is refused and nothing changes.
CF_EXPORT void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value,
                                     CFStringRef applicationID, CFStringRef userName,
                                     CFStringRef hostName);
/// The keys of the domain (those of the file merged with this process's pending changes),
/// sorted, as an array of CFString owned by the caller; NULL when it has none.
CF_EXPORT CFArrayRef CFPreferencesCopyKeyList(CFStringRef applicationID, CFStringRef userName,
                                              CFStringRef hostName);
/// Writes the domain's pending changes to its file, merging them key by key into the file as
/// it is now, and refreshes the process's view of the domain from it. False on failure, with
/// the pending changes kept: the file (or a folder on its way) cannot be read or written, is
/// a symbolic link, is over 16 MiB, a folder belongs to another user, or another process has
/// held the file's lock for 10 s while the file did not change (60 s in all while it did). A file
/// that is not a property list with a dictionary root is renamed aside as `<file>.corrupt-<UTC
/// time>-<pid>` before a new one is written; one that cannot be read is never overwritten. A domain
/// left without keys has its file removed. Without pending changes nothing is written and a missing
/// file is no failure.
CF_EXPORT Boolean CFPreferencesSynchronize(CFStringRef applicationID, CFStringRef userName,
                                           CFStringRef hostName);

CF_EXTERN_C_END
