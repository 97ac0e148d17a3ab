/// \file
/// Util::ConfigFile: typed preferences of one application domain.
#pragma once

#include "common/common_string.h"
#include "common/common_types.h"

#include <sys/types.h>

#include <vector>

struct group;

namespace Util {

/// Typed preferences of one application domain.
///
/// A store stands for one domain, such as "com.velmora.audioplugins.Tempest.AU", and keeps
/// named values of five kinds in the platform's preferences (CoreFoundation CFPreferences),
/// always for the current host. There are two domains per name: the current user's and the
/// one shared by all users of the host.
///
/// Reads look in the current user's domain first and then in the all-users domain, whoever
/// runs them; a value found in neither gives the caller's default. Writes all go to one
/// domain, chosen once in the constructor: the all-users domain when the user named by the
/// environment variable USER belongs to the group "admin", the current user's otherwise.
/// Writes are held in the process until Synchronize or the destructor writes them out.
/// Nothing here throws for a missing key or a refused platform call, and a write that cannot
/// reach its file is not reported: its values stay pending in the process for the next
/// Synchronize (VelmoraPreferencesCopyLastError says why it failed).
///
/// Storage on Linux: each domain is one Apple property list file (readable with
/// velmora-defaults or plistutil), `ByHost/<domain>.<machine id>.plist` below the folder of
/// its users: `$XDG_CONFIG_HOME/velmora/preferences` (else `~/.config/velmora/preferences`)
/// for the current user, `/etc/velmora/preferences` for all users; with
/// `VELMORA_PREFS_ROOT=DIR` they are `DIR/user` and `DIR/system`, the variable being read when
/// a process first uses the preferences. Strings are property-list strings, the integer kinds
/// property-list integers (`SetUInt(k, 4294967295)` stores -1: int and unsigned int share the
/// same 32 bits) and byte vectors data. A float is data of exactly four bytes: its IEEE 754
/// single image, most significant byte first on every host, so `SetFloat(k, 0.5f)` stores
/// 3F 00 00 00 on x86 as on the big-endian Macs, and a file moved between hosts reads alike.
///
/// Keys, values and the domain are handed to the platform as Mac Roman text.
///
///     Util::ConfigFile prefs("com.velmora.audioplugins.Tempest.AU");
///     prefs.SetString("Lang", "ja");
///     prefs.Synchronize();                  // written to the file
///     prefs.GetString("Lang", "en")         // "ja"
///     prefs.GetInt("Missing", 7)            // 7
class ConfigFile : public noncopyable {
public:
    /// The group database the admin test asks.
    struct GroupDatabase {
        /// As getgrouplist: up to `*count` groups of user (base among them) into groups, their
        /// number into `*count`; negative when the user has more than `*count` groups.
        int (*getGroupList)(char const* user, gid_t base, gid_t* groups, int* count);
        /// As getgrgid: the record of the group, or null.
        group* (*getGroup)(gid_t gid);
    };

    /// A store for the domain root. The write domain comes from the admin test against the
    /// system's group database: USER unset, more than 511 groups, or no group named exactly
    /// "admin" among them, and writes go to the current user's domain.
    explicit ConfigFile(String const& root);
    /// The same with the admin test made against groups (a directory of the host's own, or a
    /// controlled one in tests).
    ConfigFile(String const& root, GroupDatabase const& groups);
    /// Synchronises, as Synchronize.
    ~ConfigFile();

    /// Writes the held values of the write domain to its file and rereads what other
    /// processes wrote there. A failure is not reported; the values stay held for the next
    /// call.
    void Synchronize();

    /// True when writes go to the all-users domain.
    bool IsAdmin() const { return m_bAdmin != 0; }

    /// \name Writing (to the write domain)
    ///@{

    /// `SetString("Lang", "ja")` stores the string "ja".
    void SetString(String const& key, String const& value);
    /// `SetInt("Count", -1)` stores the 32-bit integer -1.
    void SetInt(String const& key, int value);
    /// `SetUInt("Mask", 4294967295)` stores the same 32 bits as `SetInt("Mask", -1)`.
    void SetUInt(String const& key, unsigned int value);
    /// `SetBool("On", true)` stores the integer 1, false the integer 0.
    void SetBool(String const& key, bool value);
    /// `SetFloat("Gain", 0.5f)` stores the data 3F 00 00 00.
    void SetFloat(String const& key, float value);
    /// `SetBinary("Blob", {1, 2})` stores the data 01 02; an empty vector stores empty data,
    /// which reads as absent.
    void SetBinary(String const& key, std::vector<unsigned char> const& value);
    ///@}

    /// \name Reading (current user's domain, then all users', then the default)
    ///@{

    /// The string stored under key: `GetString("Lang", "en")` is "ja" after
    /// `SetString("Lang", "ja")`, "en" when neither domain has "Lang". A value of another kind
    /// found under key reads as the empty String, without falling back.
    String GetString(String const& key, String const& def) const;
    /// The 32-bit integer stored under key: `GetInt("Count", 7)` is -1 after
    /// `SetInt("Count", -1)`. A value that is not an integer in 32 bits (text, data, 2^32, 1.5)
    /// is skipped.
    int GetInt(String const& key, int def) const;
    /// As GetInt, as unsigned: `GetUInt("Count", 0)` is 4294967295 after `SetInt("Count", -1)`.
    unsigned int GetUInt(String const& key, unsigned int def) const;
    /// Whether the integer stored under key is non-zero: true for a stored 2.
    bool GetBool(String const& key, bool def) const;
    /// The float stored as four bytes under key; data of any other length is skipped:
    /// `GetFloat("Gain", 1.0f)` is 1.0f when the current user's "Gain" holds three bytes and
    /// the all-users domain none.
    float GetFloat(String const& key, float def) const;
    /// The bytes stored under key into value; empty when neither domain has them. Empty data
    /// counts as absent, so the all-users domain is tried after it.
    void GetBinary(String const& key, std::vector<unsigned char>& value) const;
    ///@}

    /// \name Listing and removing
    ///@{

    /// Replaces names with the key names of both domains, sorted by String's order, each
    /// once: {"b", "a"} and {"a", "c"} give "a", "b", "c". subKey is not used (the domains
    /// are flat). A name without a Mac Roman form is listed as the empty String.
    void GetValueNames(std::vector<String>& names, String const& subKey) const;
    /// Replaces names with the key names of the write domain alone, sorted as by
    /// GetValueNames: the values that RemoveValue and RemoveKey can remove.
    void GetKeyNames(std::vector<String>& names) const;
    /// Removes key from the write domain (on disk at the next Synchronize). Reads then find
    /// the other domain's value, if any; a key not stored is no error.
    void RemoveValue(String const& key);
    /// Removes from the write domain key and every value named key + "/" + anything, treating
    /// '/' as a group separator: `RemoveKey("Window")` removes "Window", "Window/Width" and
    /// "Window/Pos/X", but not "WindowTitle". An empty key removes every value of the write
    /// domain.
    void RemoveKey(String const& key);
    ///@}

private:
    String m_strRoot;
    int32 m_bAdmin;
};

} // namespace Util
