// This file provides CFPreferences over property-list files: the scopes and their folders,
// the in-process cache shared by all threads, and the test and tool hooks.
//
// Each domain of each scope is cached on first use. Set values wait in the domain's pending
// changes until CFPreferencesSynchronize merges them key by key into the file as it is then,
// so processes that write different keys of one domain keep each other's.
#include "platform/cf_types.h"
#include "platform/plist_file.h"
#include "platform/prefs_files.h"
#include "platform/text_codec.h"

#include <velmora/platform_testing.h>
#include <velmora/preferences_store.h>

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <tuple>

const CFStringRef kCFPreferencesCurrentUser = CFSTR("kCFPreferencesCurrentUser");
const CFStringRef kCFPreferencesAnyUser = CFSTR("kCFPreferencesAnyUser");
const CFStringRef kCFPreferencesCurrentHost = CFSTR("kCFPreferencesCurrentHost");
const CFStringRef kCFPreferencesAnyHost = CFSTR("kCFPreferencesAnyHost");

namespace {

using velmora::cf::as;
using velmora::plist::Value;
using velmora::prefs::Folder;
using velmora::prefs::ReadStatus;

constexpr std::size_t kMaxDomainLength = 150;
constexpr std::size_t kMaxHostIDLength = 64;

// One counted reference, released when the holder goes.
class CFRef {
public:
    CFRef() = default;
    // Takes over a reference the caller owns.
    explicit CFRef(CFTypeRef owned) : m_ref(owned) {}
    ~CFRef() { CFRelease(m_ref); }
    CFRef(CFRef const& other) : m_ref(CFRetain(other.m_ref)) {}
    CFRef& operator=(CFRef other) {
        std::swap(m_ref, other.m_ref);
        return *this;
    }
    CFTypeRef Get() const { return m_ref; }
    // A new reference for the caller.
    CFTypeRef Copy() const { return CFRetain(m_ref); }

private:
    CFTypeRef m_ref = nullptr;
};

thread_local std::string t_lastError;

void fail(std::string message) {
    t_lastError = std::move(message);
}

bool isAlnum(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// Domain names become file names, so only a plain, bounded set of characters is allowed.
bool isValidDomain(std::string const& name) {
    if (name.empty() || name.size() > kMaxDomainLength || !isAlnum(name[0]))
        return false;
    return std::all_of(name.begin(), name.end(),
                       [](char c) { return isAlnum(c) || c == '.' || c == '_' || c == '-'; });
}

// The UTF-8 form of a CFString; false for other objects, unpaired surrogates and U+0000
// (property-list text cannot hold it).
bool utf8Of(CFTypeRef cf, std::string& out) {
    auto const* s = as<__CFString>(cf);
    out.clear();
    return s != nullptr && s->units.find(u'\0') == std::u16string::npos &&
           velmora::text::utf16ToUtf8(s->units.data(), s->units.size(), out);
}

std::optional<Value> plistValueOf(CFTypeRef cf) {
    if (auto const* n = as<__CFNumber>(cf))
        return n->isFloat ? Value(n->real) : Value(static_cast<std::int64_t>(n->integer));
    if (auto const* d = as<__CFData>(cf))
        return Value(std::vector<std::uint8_t>(d->bytes.begin(), d->bytes.end()));
    std::string text;
    if (utf8Of(cf, text))
        return Value(std::move(text));
    return std::nullopt;
}

// The CoreFoundation form of a file value; null for unmapped values and text that is not
// UTF-8. Booleans become the numbers 0 and 1.
CFRef cfValueOf(Value const& value) {
    if (auto const* s = std::get_if<std::string>(&value)) {
        std::u16string units;
        if (!velmora::text::utf8ToUtf16(s->data(), s->size(), units))
            return CFRef();
        return CFRef(velmora::cf::createString(std::move(units)));
    }
    if (auto const* i = std::get_if<std::int64_t>(&value))
        return CFRef(CFNumberCreate(nullptr, kCFNumberSInt64Type, i));
    if (auto const* r = std::get_if<double>(&value))
        return CFRef(CFNumberCreate(nullptr, kCFNumberFloat64Type, r));
    if (auto const* d = std::get_if<std::vector<std::uint8_t>>(&value))
        return CFRef(CFDataCreate(nullptr, d->data(), static_cast<CFIndex>(d->size())));
    if (auto const* b = std::get_if<bool>(&value)) {
        std::int32_t const n = *b ? 1 : 0;
        return CFRef(CFNumberCreate(nullptr, kCFNumberSInt32Type, &n));
    }
    return CFRef();
}

CFStringRef createUtf8String(std::string const& text) {
    std::u16string units;
    velmora::text::utf8ToUtf16(text.data(), text.size(), units);
    return velmora::cf::createString(std::move(units));
}

// A new array of CFStrings made from texts, in their order.
template <typename Texts>
CFArrayRef copyStringArray(Texts const& texts) {
    std::vector<CFRef> strings;
    std::vector<void const*> refs;
    for (std::string const& text : texts) {
        strings.emplace_back(createUtf8String(text));
        refs.push_back(strings.back().Get());
    }
    return CFArrayCreate(nullptr, refs.data(), static_cast<CFIndex>(refs.size()),
                         &kCFTypeArrayCallBacks);
}

// The machine's identity for current-host files: /etc/machine-id, else the D-Bus copy of it,
// else the host name, else "localhost".
std::string readHostID() {
    auto usable = [](std::string const& id) {
        return !id.empty() && id.size() <= kMaxHostIDLength && isAlnum(id[0]) &&
               std::all_of(id.begin(), id.end(),
                           [](char c) { return isAlnum(c) || c == '.' || c == '-'; });
    };
    for (char const* path : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
        std::ifstream in(path);
        std::string id;
        if (std::getline(in, id) && usable(id))
            return id;
    }
    char host[256] = {};
    if (::gethostname(host, sizeof host - 1) == 0 && usable(host))
        return host;
    return "localhost";
}

std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

std::string homeFolder() {
    char const* home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/')
        return home;
    passwd entry{};
    passwd* found = nullptr;
    char buffer[4096];
    if (::getpwuid_r(::geteuid(), &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr &&
        found->pw_dir != nullptr && found->pw_dir[0] == '/')
        return found->pw_dir;
    return std::string();
}

struct Scope {
    bool anyUser = false;
    bool currentHost = false;
    bool operator<(Scope const& o) const {
        return std::tie(anyUser, currentHost) < std::tie(o.anyUser, o.currentHost);
    }
};

struct Domain {
    bool loaded = false;
    velmora::plist::Dictionary file;      // as last read; values become CF objects when copied
    std::map<std::string, CFRef> pending; // null removes the key
};

class Store {
public:
    std::mutex mutex;
    std::map<std::pair<Scope, std::string>, Domain> domains;

    // Reads the environment the first time the store is used (after a reset, again).
    void Locate() {
        if (m_located)
            return;
        m_located = true;
        char const* root = std::getenv("VELMORA_PREFS_ROOT");
        if (root != nullptr && root[0] != '\0') {
            std::string dir = root;
            if (dir[0] != '/') {
                char cwd[4096];
                dir = ::getcwd(cwd, sizeof cwd) != nullptr ? std::string(cwd) + "/" + dir : "";
            }
            dir = withoutTrailingSlashes(dir);
            m_user = Folder{dir, {"user"}, 0700, 0600};
            m_system = Folder{dir, {"system"}, 0755, 0644};
        } else {
            char const* xdg = std::getenv("XDG_CONFIG_HOME");
            std::string config;
            if (xdg != nullptr && xdg[0] == '/')
                config = withoutTrailingSlashes(xdg);
            else if (std::string const home = homeFolder(); !home.empty())
                config = withoutTrailingSlashes(home) + "/.config";
            m_user = Folder{config, {"velmora", "preferences"}, 0700, 0600};
            m_system = Folder{"/etc", {"velmora", "preferences"}, 0755, 0644};
        }
        m_hostID = readHostID();
    }

    void Forget() {
        domains.clear();
        m_located = false;
    }

    Folder FolderOf(Scope scope) {
        Locate();
        Folder folder = scope.anyUser ? m_system : m_user;
        if (scope.currentHost)
            folder.components.push_back("ByHost");
        return folder;
    }

    std::string FileSuffix(Scope scope) {
        Locate();
        return scope.currentHost ? "." + m_hostID + ".plist" : ".plist";
    }

private:
    bool m_located = false;
    Folder m_user;
    Folder m_system;
    std::string m_hostID;
};

Store& store() {
    static Store* s = new Store; // never destroyed: calls may come from exit handlers
    return *s;
}

std::mutex g_observerMutex;
VelmoraPreferencesObserver g_observer = nullptr;
void* g_observerContext = nullptr;

void observe(char const* call, CFStringRef key, CFPropertyListRef value, CFStringRef app,
             CFStringRef user, CFStringRef host) {
    t_lastError.clear();
    VelmoraPreferencesObserver observer = nullptr;
    void* context = nullptr;
    {
        std::lock_guard<std::mutex> lock(g_observerMutex);
        observer = g_observer;
        context = g_observerContext;
    }
    if (observer != nullptr)
        observer(context, call, key, value, app, user, host);
}

bool scopeOf(CFStringRef user, CFStringRef host, Scope& scope) {
    bool const currentUser = CFEqual(user, kCFPreferencesCurrentUser);
    scope.anyUser = CFEqual(user, kCFPreferencesAnyUser);
    scope.currentHost = CFEqual(host, kCFPreferencesCurrentHost);
    if (!currentUser && !scope.anyUser) {
        fail("the user must be kCFPreferencesCurrentUser or kCFPreferencesAnyUser");
        return false;
    }
    if (!scope.currentHost && !CFEqual(host, kCFPreferencesAnyHost)) {
        fail("the host must be kCFPreferencesCurrentHost or kCFPreferencesAnyHost");
        return false;
    }
    return true;
}

// Checks the arguments every call shares; on success name holds the domain's UTF-8 name.
bool domainOf(CFStringRef app, CFStringRef user, CFStringRef host, Scope& scope,
              std::string& name) {
    if (!utf8Of(app, name) || !isValidDomain(name)) {
        fail("\"" + name.substr(0, 160) +
             "\" is not a valid domain name (1 to 150 letters, digits, '.', '_' or '-', "
             "starting with a letter or digit)");
        return false;
    }
    return scopeOf(user, host, scope);
}

// Refreshes the cache from the file; false when the file exists but cannot be read.
bool reload(Store& s, Scope scope, std::string const& name, Domain& domain) {
    velmora::plist::Dictionary dict;
    std::string error;
    Folder const folder = s.FolderOf(scope);
    std::string const file = name + s.FileSuffix(scope);
    ReadStatus const status = velmora::prefs::ReadDomainFile(folder, file, dict, error);
    domain.loaded = true;
    if (status == ReadStatus::Unreadable) {
        fail(error);
        return false;
    }
    if (status == ReadStatus::Corrupt)
        fail(folder.Path() + "/" + file +
             ": not a property list with a dictionary root; ignored, and set aside when the "
             "domain is next written");
    domain.file = std::move(dict); // a missing or corrupt file reads as empty
    return true;
}

Domain& loadedDomain(Store& s, Scope scope, std::string const& name) {
    Domain& domain = s.domains[{scope, name}];
    if (!domain.loaded)
        reload(s, scope, name, domain);
    return domain;
}

} // namespace

CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef applicationID,
                                         CFStringRef userName, CFStringRef hostName) {
    observe("CFPreferencesCopyValue", key, nullptr, applicationID, userName, hostName);
    Scope scope;
    std::string name;
    std::string keyText;
    if (!domainOf(applicationID, userName, hostName, scope, name))
        return nullptr;
    if (!utf8Of(key, keyText)) {
        fail("the key must be a CFString of valid text without U+0000");
        return nullptr;
    }
    Store& s = store();
    std::lock_guard<std::mutex> lock(s.mutex);
    Domain& domain = s.domains[{scope, name}];
    if (auto it = domain.pending.find(keyText); it != domain.pending.end())
        return it->second.Copy();
    if (!domain.loaded)
        reload(s, scope, name, domain);
    Value value;
    if (!domain.file.Find(keyText, value))
        return nullptr;
    return cfValueOf(value).Copy();
}

void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef applicationID,
                           CFStringRef userName, CFStringRef hostName) {
    observe("CFPreferencesSetValue", key, value, applicationID, userName, hostName);
    Scope scope;
    std::string name;
    std::string keyText;
    if (!domainOf(applicationID, userName, hostName, scope, name))
        return;
    if (!utf8Of(key, keyText)) {
        fail("the key must be a CFString of valid text without U+0000");
        return;
    }
    if (value != nullptr && !plistValueOf(value)) {
        fail("the value must be a CFString of valid text without U+0000, a CFNumber or a "
             "CFData");
        return;
    }
    Store& s = store();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.domains[{scope, name}].pending[keyText] = CFRef(CFRetain(value));
}

CFArrayRef CFPreferencesCopyKeyList(CFStringRef applicationID, CFStringRef userName,
                                    CFStringRef hostName) {
    observe("CFPreferencesCopyKeyList", nullptr, nullptr, applicationID, userName, hostName);
    Scope scope;
    std::string name;
    if (!domainOf(applicationID, userName, hostName, scope, name))
        return nullptr;
    std::set<std::string> keys;
    {
        Store& s = store();
        std::lock_guard<std::mutex> lock(s.mutex);
        Domain& domain = loadedDomain(s, scope, name);
        for (auto& key : domain.file.Keys())
            keys.insert(keys.end(), std::move(key));
        for (auto const& [key, value] : domain.pending) {
            if (value.Get() != nullptr)
                keys.insert(key);
            else
                keys.erase(key);
        }
    }
    if (keys.empty())
        return nullptr;
    return copyStringArray(keys);
}

Boolean CFPreferencesSynchronize(CFStringRef applicationID, CFStringRef userName,
                                 CFStringRef hostName) {
    observe("CFPreferencesSynchronize", nullptr, nullptr, applicationID, userName, hostName);
    Scope scope;
    std::string name;
    if (!domainOf(applicationID, userName, hostName, scope, name))
        return false;
    Store& s = store();
    std::lock_guard<std::mutex> lock(s.mutex);
    Domain& domain = s.domains[{scope, name}];
    if (domain.pending.empty())
        return reload(s, scope, name, domain);

    auto const change = [&domain](velmora::plist::Dictionary& dict) {
        for (auto const& [key, value] : domain.pending) {
            if (value.Get() == nullptr)
                dict.Remove(key);
            else
                dict.Set(key, *plistValueOf(value.Get())); // checked when it was set
        }
    };
    velmora::plist::Dictionary written;
    std::string error;
    if (!velmora::prefs::UpdateDomainFile(s.FolderOf(scope), name + s.FileSuffix(scope), change,
                                          written, error)) {
        fail(error);
        return false;
    }
    domain.file = std::move(written);
    domain.loaded = true;
    domain.pending.clear();
    return true;
}

void VelmoraSetPreferencesObserver(VelmoraPreferencesObserver observer, void* context) {
    std::lock_guard<std::mutex> lock(g_observerMutex);
    g_observer = observer;
    g_observerContext = context;
}

void VelmoraResetPreferencesForTesting(void) {
    Store& s = store();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.Forget();
}

CFStringRef VelmoraPreferencesCopyFilePath(CFStringRef applicationID, CFStringRef userName,
                                           CFStringRef hostName) {
    t_lastError.clear();
    Scope scope;
    std::string name;
    if (!domainOf(applicationID, userName, hostName, scope, name))
        return nullptr;
    Store& s = store();
    std::lock_guard<std::mutex> lock(s.mutex);
    Folder const folder = s.FolderOf(scope);
    if (folder.base.empty())
        return nullptr;
    return createUtf8String(folder.Path() + "/" + name + s.FileSuffix(scope));
}

CFArrayRef VelmoraPreferencesCopyDomainList(CFStringRef userName, CFStringRef hostName) {
    t_lastError.clear();
    Scope scope;
    if (!scopeOf(userName, hostName, scope))
        return nullptr;
    std::vector<std::string> names;
    {
        Store& s = store();
        std::lock_guard<std::mutex> lock(s.mutex);
        std::string const suffix = s.FileSuffix(scope);
        for (auto const& file : velmora::prefs::ListFolder(s.FolderOf(scope))) {
            if (file.size() <= suffix.size() ||
                file.compare(file.size() - suffix.size(), suffix.size(), suffix) != 0)
                continue;
            std::string domain = file.substr(0, file.size() - suffix.size());
            if (isValidDomain(domain))
                names.push_back(std::move(domain));
        }
    }
    if (names.empty())
        return nullptr;
    std::sort(names.begin(), names.end());
    return copyStringArray(names);
}

CFStringRef VelmoraPreferencesCopyLastError(void) {
    return t_lastError.empty() ? nullptr : createUtf8String(t_lastError);
}

CFDataRef VelmoraPreferencesCopyDomainData(CFStringRef applicationID, CFStringRef userName,
                                           CFStringRef hostName, Boolean xml) {
    t_lastError.clear();
    Scope scope;
    std::string name;
    if (!domainOf(applicationID, userName, hostName, scope, name))
        return nullptr;
    velmora::plist::Dictionary dict;
    std::string error;
    Folder folder;
    std::string file;
    {
        Store& s = store();
        std::lock_guard<std::mutex> lock(s.mutex);
        folder = s.FolderOf(scope);
        file = name + s.FileSuffix(scope);
    }
    switch (velmora::prefs::ReadDomainFile(folder, file, dict, error)) {
    case ReadStatus::Missing:
        return nullptr;
    case ReadStatus::Unreadable:
        fail(error);
        return nullptr;
    case ReadStatus::Corrupt:
        fail(folder.Path() + "/" + file + ": not a property list with a dictionary root");
        return nullptr;
    case ReadStatus::Ok:
        break;
    }
    std::string bytes;
    if (!(xml ? dict.ToXml(bytes) : dict.ToBinary(bytes))) {
        fail(folder.Path() + "/" + file +
             ": holds what an XML property list cannot carry (text with U+0000, a null, or "
             "more than 64 MiB once shared objects are written out)");
        return nullptr;
    }
    return CFDataCreate(nullptr, reinterpret_cast<UInt8 const*>(bytes.data()),
                        static_cast<CFIndex>(bytes.size()));
}

Boolean VelmoraPreferencesReplaceDomain(CFStringRef applicationID, CFStringRef userName,
                                        CFStringRef hostName, CFDataRef data) {
    t_lastError.clear();
    Scope scope;
    std::string name;
    if (!domainOf(applicationID, userName, hostName, scope, name))
        return false;
    velmora::plist::Dictionary replacement;
    if (data != nullptr) {
        auto const* d = as<__CFData>(data);
        if (d == nullptr || d->bytes.size() > velmora::prefs::kMaxFileSize ||
            replacement.Parse(std::string(d->bytes.begin(), d->bytes.end())) !=
                velmora::plist::Dictionary::ParseResult::Ok) {
            fail("not a property list with a dictionary root (XML or binary, at most 16 MiB)");
            return false;
        }
    }
    Store& s = store();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto const change = [&replacement](velmora::plist::Dictionary& dict) {
        dict = std::move(replacement);
    };
    velmora::plist::Dictionary written;
    std::string error;
    if (!velmora::prefs::UpdateDomainFile(s.FolderOf(scope), name + s.FileSuffix(scope), change,
                                          written, error)) {
        fail(error);
        return false;
    }
    s.domains.erase({scope, name});
    return true;
}
