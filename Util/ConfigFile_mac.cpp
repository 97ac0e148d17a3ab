// Util::ConfigFile over CoreFoundation preferences (the Linux layer provides them off the Mac).
#include "Util/ConfigFile.h"

#include "Util/CFString.h"

#include <CoreFoundation/CoreFoundation.h>

#include <grp.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>

namespace Util {

namespace {

enum PreferenceDomain {
    PREFDOMAIN_CURRENTUSER = 0,
    PREFDOMAIN_ANYUSER = 1,
    NUM_PREF_DOMAINS = 2 // a count, not a domain
};

// Copied when the library is loaded, before any store is used.
CFStringRef const g_prefUsers[NUM_PREF_DOMAINS] = {kCFPreferencesCurrentUser,
                                                   kCFPreferencesAnyUser};
CFStringRef const g_prefHost = kCFPreferencesCurrentHost;

// Slots for the admin test's group ids; a user with 512 groups or more is no admin.
int const kMaxGroups = 512;

PreferenceDomain domainOf(int32 admin) {
    return admin != 0 ? PREFDOMAIN_ANYUSER : PREFDOMAIN_CURRENTUSER;
}

// One reference owned by the current call, released when it ends (also by an exception).
class OwnedRef {
public:
    explicit OwnedRef(CFTypeRef ref) : m_ref(ref) {}
    ~OwnedRef() {
        if (m_ref != nullptr)
            CFRelease(m_ref);
    }
    OwnedRef(OwnedRef const&) = delete;
    OwnedRef& operator=(OwnedRef const&) = delete;
    CFTypeRef Get() const { return m_ref; }

private:
    CFTypeRef m_ref;
};

// Sets key to value (null removes it) in the domain; held until synchronised.
void setValue(String const& root, CFStringRef key, CFTypeRef value, PreferenceDomain domain) {
    CFString const cfRoot(root.Latin1(), CFString::RELEASE);
    CFPreferencesSetValue(key, value, cfRoot.Get(), g_prefUsers[domain], g_prefHost);
}

// A value that cannot be created is not written.
void writeValue(String const& root, String const& key, CFTypeRef value, PreferenceDomain domain) {
    OwnedRef const owned(value);
    if (value == nullptr)
        return;
    CFString const cfKey(key.Latin1(), CFString::RELEASE);
    setValue(root, cfKey.Get(), value, domain);
}

void writeString(String const& root, String const& key, String const& value,
                 PreferenceDomain domain) {
    writeValue(
        root, key,
        CFStringCreateWithCString(kCFAllocatorDefault, value.Latin1(), kCFStringEncodingMacRoman),
        domain);
}

void writeUInt(String const& root, String const& key, uint32 value, PreferenceDomain domain) {
    writeValue(root, key, CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value), domain);
}

void writeBinary(String const& root, String const& key, unsigned char const* data,
                 unsigned int count, PreferenceDomain domain) {
    writeValue(root, key, CFDataCreate(kCFAllocatorDefault, data, static_cast<CFIndex>(count)),
               domain);
}

// The value of key in the domain, owned by the caller, or null.
CFPropertyListRef copyValue(String const& root, String const& key, PreferenceDomain domain) {
    CFString const cfRoot(root.Latin1(), CFString::RELEASE);
    CFString const cfKey(key.Latin1(), CFString::RELEASE);
    return CFPreferencesCopyValue(cfKey.Get(), cfRoot.Get(), g_prefUsers[domain], g_prefHost);
}

// Any value found counts; one of another kind than a string converts to the empty String.
bool readString(String const& root, String const& key, String& target, PreferenceDomain domain) {
    CFPropertyListRef const value = copyValue(root, key, domain);
    if (value == nullptr) {
        target = String();
        return false;
    }
    target = CFString(static_cast<CFStringRef>(value), CFString::RELEASE).ToString();
    return true;
}

// The Mac build keeps the copy unreleased when it is no 32-bit number; here it is released
// on every path. Only the copy's retain count differs, which no caller can observe.
bool readUInt(String const& root, String const& key, uint32& target, PreferenceDomain domain) {
    OwnedRef const value(copyValue(root, key, domain));
    int32 number = 0;
    if (value.Get() == nullptr || CFGetTypeID(value.Get()) != CFNumberGetTypeID() ||
        !CFNumberGetValue(static_cast<CFNumberRef>(value.Get()), kCFNumberSInt32Type, &number)) {
        target = 0;
        return false;
    }
    target = static_cast<uint32>(number);
    return true;
}

// Empty data counts as absent. As in readUInt, the copy is released also then.
bool readBinary(String const& root, String const& key, std::vector<unsigned char>& target,
                PreferenceDomain domain) {
    OwnedRef const value(copyValue(root, key, domain));
    CFDataRef const data = value.Get() != nullptr && CFGetTypeID(value.Get()) == CFDataGetTypeID()
                               ? static_cast<CFDataRef>(value.Get())
                               : nullptr;
    CFIndex const length = data != nullptr ? CFDataGetLength(data) : 0;
    if (length <= 0) {
        target.clear();
        return false;
    }
    target.resize(static_cast<std::size_t>(length));
    CFDataGetBytes(data, CFRangeMake(0, length), target.data());
    return true;
}

// The key list of the domain, owned by the caller, or null when it has no keys.
CFArrayRef copyKeyList(String const& root, PreferenceDomain domain) {
    CFString const cfRoot(root.Latin1(), CFString::RELEASE);
    return CFPreferencesCopyKeyList(cfRoot.Get(), g_prefUsers[domain], g_prefHost);
}

void getValueNames(String const& root, std::vector<String>& names, PreferenceDomain domain) {
    names.clear();
    OwnedRef const list(copyKeyList(root, domain));
    if (list.Get() == nullptr)
        return;
    CFArrayRef const keys = static_cast<CFArrayRef>(list.Get());
    names.resize(static_cast<std::size_t>(CFArrayGetCount(keys)));
    for (std::size_t i = 0; i < names.size(); ++i) {
        auto const key =
            static_cast<CFStringRef>(CFArrayGetValueAtIndex(keys, static_cast<CFIndex>(i)));
        names[i] = CFString(key, CFString::NO_RELEASE).ToString();
    }
}

bool isAdmin(ConfigFile::GroupDatabase const& groups) {
    char const* user = std::getenv("USER");
    if (user == nullptr)
        return false;
    gid_t ids[kMaxGroups];
    int count = kMaxGroups;
    // The Mac answers 0 and glibc the number of groups on success; both answer -1 when the
    // groups do not fit.
    if (groups.getGroupList(user, 0, ids, &count) < 0)
        return false;
    if (count < 1 || count > kMaxGroups - 1)
        return false;
    String const admin("admin");
    for (int i = 0; i < count; ++i) {
        group const* record = groups.getGroup(ids[i]);
        if (record == nullptr || record->gr_name == nullptr)
            continue;
        if (String(record->gr_name) == admin)
            return true;
    }
    return false;
}

int systemGroupList(char const* user, gid_t base, gid_t* groups, int* count) {
#ifdef __APPLE__
    return getgrouplist(user, static_cast<int>(base), reinterpret_cast<int*>(groups), count);
#else
    return getgrouplist(user, base, groups, count);
#endif
}

group* systemGroup(gid_t gid) {
    return getgrgid(gid);
}

ConfigFile::GroupDatabase const kSystemGroups = {systemGroupList, systemGroup};

} // namespace

ConfigFile::ConfigFile(String const& root) : ConfigFile(root, kSystemGroups) {}

ConfigFile::ConfigFile(String const& root, GroupDatabase const& groups)
    : m_strRoot(root), m_bAdmin(isAdmin(groups)) {}

ConfigFile::~ConfigFile() {
    Synchronize();
}

void ConfigFile::Synchronize() {
    CFString const cfRoot(m_strRoot.Latin1(), CFString::RELEASE);
    CFPreferencesSynchronize(cfRoot.Get(), g_prefUsers[domainOf(m_bAdmin)], g_prefHost);
}

void ConfigFile::SetString(String const& key, String const& value) {
    writeString(m_strRoot, key, value, domainOf(m_bAdmin));
}

void ConfigFile::SetInt(String const& key, int value) {
    writeUInt(m_strRoot, key, static_cast<uint32>(value), domainOf(m_bAdmin));
}

void ConfigFile::SetUInt(String const& key, unsigned int value) {
    writeUInt(m_strRoot, key, value, domainOf(m_bAdmin));
}

void ConfigFile::SetBool(String const& key, bool value) {
    writeUInt(m_strRoot, key, value ? 1 : 0, domainOf(m_bAdmin));
}

void ConfigFile::SetFloat(String const& key, float value) {
    uint32 bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    // Most significant byte first whatever the host, as the big-endian Macs stored it.
    unsigned char const bytes[4] = {
        static_cast<unsigned char>(bits >> 24), static_cast<unsigned char>(bits >> 16),
        static_cast<unsigned char>(bits >> 8), static_cast<unsigned char>(bits)};
    writeBinary(m_strRoot, key, bytes, sizeof bytes, domainOf(m_bAdmin));
}

void ConfigFile::SetBinary(String const& key, std::vector<unsigned char> const& value) {
    writeBinary(m_strRoot, key, value.data(), static_cast<unsigned int>(value.size()),
                domainOf(m_bAdmin));
}

String ConfigFile::GetString(String const& key, String const& def) const {
    String value;
    for (int d = 0; d < NUM_PREF_DOMAINS; ++d)
        if (readString(m_strRoot, key, value, static_cast<PreferenceDomain>(d)))
            return value;
    return def;
}

int ConfigFile::GetInt(String const& key, int def) const {
    return static_cast<int>(GetUInt(key, static_cast<unsigned int>(def)));
}

unsigned int ConfigFile::GetUInt(String const& key, unsigned int def) const {
    uint32 value = 0;
    for (int d = 0; d < NUM_PREF_DOMAINS; ++d)
        if (readUInt(m_strRoot, key, value, static_cast<PreferenceDomain>(d)))
            return value;
    return def;
}

bool ConfigFile::GetBool(String const& key, bool def) const {
    uint32 value = 0;
    for (int d = 0; d < NUM_PREF_DOMAINS; ++d)
        if (readUInt(m_strRoot, key, value, static_cast<PreferenceDomain>(d)))
            return value != 0;
    return def;
}

float ConfigFile::GetFloat(String const& key, float def) const {
    std::vector<unsigned char> bytes;
    for (int d = 0; d < NUM_PREF_DOMAINS; ++d) {
        if (!readBinary(m_strRoot, key, bytes, static_cast<PreferenceDomain>(d)) ||
            bytes.size() != 4)
            continue;
        uint32 const bits = static_cast<uint32>(bytes[0]) << 24 |
                            static_cast<uint32>(bytes[1]) << 16 |
                            static_cast<uint32>(bytes[2]) << 8 | static_cast<uint32>(bytes[3]);
        float value = 0.0f;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    return def;
}

void ConfigFile::GetBinary(String const& key, std::vector<unsigned char>& value) const {
    for (int d = 0; d < NUM_PREF_DOMAINS; ++d)
        if (readBinary(m_strRoot, key, value, static_cast<PreferenceDomain>(d)))
            return;
    value.clear();
}

void ConfigFile::GetValueNames(std::vector<String>& names, String const& /*subKey*/) const {
    std::set<String> all;
    std::vector<String> domainNames;
    for (int d = 0; d < NUM_PREF_DOMAINS; ++d) {
        getValueNames(m_strRoot, domainNames, static_cast<PreferenceDomain>(d));
        all.insert(domainNames.begin(), domainNames.end());
    }
    names.assign(all.begin(), all.end());
}

void ConfigFile::GetKeyNames(std::vector<String>& names) const {
    getValueNames(m_strRoot, names, domainOf(m_bAdmin));
    std::sort(names.begin(), names.end());
}

void ConfigFile::RemoveValue(String const& key) {
    CFString const cfKey(key.Latin1(), CFString::RELEASE);
    setValue(m_strRoot, cfKey.Get(), nullptr, domainOf(m_bAdmin));
}

void ConfigFile::RemoveKey(String const& key) {
    PreferenceDomain const domain = domainOf(m_bAdmin);
    OwnedRef const list(copyKeyList(m_strRoot, domain));
    if (list.Get() == nullptr)
        return;
    String const groupPrefix = String(key) += '/';
    CFArrayRef const keys = static_cast<CFArrayRef>(list.Get());
    for (CFIndex i = 0, n = CFArrayGetCount(keys); i < n; ++i) {
        // Removed through the listed reference, so that a name without a Mac Roman form
        // goes too when the whole domain is cleared.
        auto const listed = static_cast<CFStringRef>(CFArrayGetValueAtIndex(keys, i));
        String const name = CFString(listed, CFString::NO_RELEASE).ToString();
        if (key.GetLength() == 0 || name == key || name.BeginsWith(groupPrefix))
            setValue(m_strRoot, listed, nullptr, domain);
    }
}

} // namespace Util
