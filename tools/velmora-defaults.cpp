// velmora-defaults: shows and changes preference domains through CFPreferences, like the
// Mac's defaults command, in the scope the products use unless told otherwise.
#include "tools/tool_support.h"

#include <CoreFoundation/CoreFoundation.h>
#include <velmora/preferences_store.h>

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

using velmora_tool::JsonArray;
using velmora_tool::JsonObject;
using velmora_tool::JsonString;

char const kUsage[] = "usage: velmora-defaults [OPTION...] read|read-type|write|rename|delete|"
                      "domains|find|export|import ARGUMENT... (--help explains them)";

char const kHelp[] =
    R"(Usage: velmora-defaults [OPTION...] COMMAND [ARGUMENT...]
Show and change the preference domains of the Velmora products, like the Mac's defaults
command. A command acts on the domains of one scope: a user (the current one or all users)
and a host (this one or any host). The default, the current user on this host, is where
Util::ConfigFile reads first; the installer extension writes for all users on this host.

Commands:
  read DOMAIN [KEY]     print every key of DOMAIN as "key = value", sorted (text quoted
                        where needed, data as <hex>), or the bare value of KEY
  read-type DOMAIN KEY  print the type of KEY's value: string, integer, real or data
  write DOMAIN KEY [TYPE] VALUE
                        store VALUE under KEY, as text when no TYPE is given
  rename DOMAIN OLD NEW
                        move the value of OLD to NEW (refused when NEW exists)
  delete DOMAIN [KEY]   remove KEY, or the whole domain; a domain left with no key is
                        removed
  domains               list the domains of the scope
  find WORD             print every key or value containing WORD, in any case, in the
                        domains of the scope, as "DOMAIN: key = value"
  export DOMAIN FILE|-  write the domain as an XML property list to FILE, or to stdout
  import DOMAIN FILE|-  replace the whole domain at once with the property list (XML or
                        binary, at most 16 MiB) in FILE, or on stdin

Types (for write):
  -string TEXT          text (the default)
  -int, -integer N      a 32-bit integer, -2147483648 to 4294967295; values above
                        2147483647 are stored as the same 32 bits, as ConfigFile::SetUInt
                        stores them
  -float X              a 32-bit float as ConfigFile::SetFloat stores it: data of 4 bytes,
                        most significant first (0.5 is <3f000000>)
  -real X               a property-list real (64 bits), which ConfigFile does not read
  -bool, -boolean B     true, false, yes, no, 1 or 0, stored as the integer 1 or 0, as
                        ConfigFile::SetBool stores it
  -data HEX             bytes, as two hexadecimal digits each

Numbers are decimal: a leading zero does not make them octal (011 is 11).

Options (before the command):
      --all-users       the domains of all users (/etc/velmora/preferences)
      --current-user    the current user's domains (the default)
      --current-host, -currentHost
                        the domains of this host (the default)
      --any-host        the domains shared by all hosts
      --json            print the result as one JSON document on stdout; a failure
                        gives "error" too, and the exit status is the same
  -h, --help            print this help and exit
      --version         print the version and exit

Exit status:
  0  done
  1  a domain or key not found, nothing found, a refused name, or a failed read or write
     (one line on stderr says why)
  2  bad usage

Environment:
  VELMORA_PREFS_ROOT=DIR
                        keep the store in DIR/user and DIR/system instead of the current
                        user's and all users' folders
  XDG_CONFIG_HOME       the current user's folder is $XDG_CONFIG_HOME/velmora/preferences
                        (else ~/.config/velmora/preferences)

Examples:
  velmora-defaults --all-users read com.velmora.audioplugins.Tempest.AU Lang

  velmora-defaults write com.velmora.audioplugins.Tempest.AU Gain -float 0.5
)";

// The most a domain's file may hold (the store refuses larger ones).
std::size_t const kMaxImport = 16u << 20;

struct UsageError {
    std::string message;
};

struct Failure {
    std::string message;
};

// The --json result, filled in as the command goes, so that a failure still names what it
// was about.
bool g_json = false;
JsonObject g_doc;

// Owns one CoreFoundation reference.
class Ref {
public:
    explicit Ref(CFTypeRef ref = nullptr) : m_ref(ref) {}
    ~Ref() {
        if (m_ref != nullptr)
            CFRelease(m_ref);
    }
    Ref(Ref const&) = delete;
    Ref& operator=(Ref const&) = delete;
    CFTypeRef Get() const { return m_ref; }
    CFStringRef String() const { return static_cast<CFStringRef>(m_ref); }

private:
    CFTypeRef m_ref;
};

std::string utf8Of(CFStringRef s) {
    CFIndex const size =
        CFStringGetMaximumSizeForEncoding(CFStringGetLength(s), kCFStringEncodingUTF8) + 1;
    std::string buffer(static_cast<std::size_t>(size), '\0');
    if (!CFStringGetCString(s, buffer.data(), size, kCFStringEncodingUTF8))
        return std::string();
    buffer.resize(std::char_traits<char>::length(buffer.c_str()));
    return buffer;
}

CFStringRef createString(std::string const& text) {
    CFStringRef s = CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8);
    if (s == nullptr)
        throw UsageError{"\"" + text + "\" is not valid UTF-8 text"};
    return s;
}

// Why the last CFPreferences call failed, or "".
std::string lastError() {
    Ref error(VelmoraPreferencesCopyLastError());
    return error.Get() != nullptr ? utf8Of(error.String()) : std::string();
}

bool isPlain(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string("._-/:@+,").find(c) != std::string::npos;
}

bool looksNumeric(std::string const& text) {
    char* end = nullptr;
    std::strtod(text.c_str(), &end);
    return end != text.c_str() && *end == '\0';
}

// Text as it is, or in double quotes with C escapes when it is empty, holds anything but
// plain characters, or could be taken for a number.
std::string quoted(std::string const& text) {
    bool plain = !text.empty() && !looksNumeric(text);
    for (char c : text)
        plain = plain && isPlain(c);
    if (plain)
        return text;
    std::string out = "\"";
    for (char c : text) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (static_cast<unsigned char>(c) < 0x20) {
                char escape[8];
                std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(c));
                out += escape;
            } else {
                out += c;
            }
        }
    }
    return out + "\"";
}

// The shortest decimal form that reads back as the same number (as a float when single),
// always with a point or exponent so that it does not pass for an integer.
std::string formatReal(double v, bool single = false) {
    if (std::isnan(v))
        return "nan";
    if (std::isinf(v))
        return v < 0 ? "-inf" : "inf";
    char buffer[40];
    int precision = 1;
    for (; precision < 17; ++precision) {
        std::snprintf(buffer, sizeof buffer, "%.*g", precision, v);
        if (single ? std::strtof(buffer, nullptr) == static_cast<float>(v)
                   : std::strtod(buffer, nullptr) == v)
            break;
    }
    // Every digit before the point rather than an exponent, up to 17 of them (1000.0, not
    // 1e+03).
    int const integerDigits =
        std::fabs(v) >= 1 ? static_cast<int>(std::log10(std::fabs(v))) + 1 : 0;
    std::snprintf(buffer, sizeof buffer, "%.*g", std::max(precision, std::min(integerDigits, 17)),
                  v);
    std::string text = buffer;
    if (text.find_first_of(".e") == std::string::npos)
        text += ".0";
    return text;
}

// A value as shown: its type, its text (strings as they are, data as <hex>) and its JSON.
struct Shown {
    std::string type, text, json;
};

Shown show(CFTypeRef value) {
    CFTypeID const type = value != nullptr ? CFGetTypeID(value) : 0;
    if (value != nullptr && type == CFStringGetTypeID()) {
        std::string const text = utf8Of(static_cast<CFStringRef>(value));
        return {"string", text, JsonString(text)};
    }
    if (value != nullptr && type == CFNumberGetTypeID()) {
        auto number = static_cast<CFNumberRef>(value);
        if (CFNumberIsFloatType(number)) {
            double v = 0;
            CFNumberGetValue(number, kCFNumberFloat64Type, &v);
            std::string const text = formatReal(v);
            return {"real", text, std::isfinite(v) ? text : JsonString(text)};
        }
        std::int64_t v = 0;
        CFNumberGetValue(number, kCFNumberSInt64Type, &v);
        return {"integer", std::to_string(v), std::to_string(v)};
    }
    if (value != nullptr && type == CFDataGetTypeID()) {
        auto data = static_cast<CFDataRef>(value);
        UInt8 const* bytes = CFDataGetBytePtr(data);
        std::string hex;
        char const digits[] = "0123456789abcdef";
        for (CFIndex i = 0; i < CFDataGetLength(data); ++i) {
            hex += digits[bytes[i] >> 4];
            hex += digits[bytes[i] & 0xF];
        }
        return {"data", "<" + hex + ">", JsonString(hex)};
    }
    // Dates, arrays and dictionaries are kept in the files but not read.
    return {"unsupported", "(unsupported type)", "null"};
}

// A number in the strict decimal form [+-]digits[.digits][e[+-]digits]: no hexadecimal, no
// spaces, no "inf".
double parseReal(std::string const& text, bool single) {
    std::size_t i = text[0] == '-' || text[0] == '+' ? 1 : 0;
    std::size_t const digitsAt = i;
    while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])))
        ++i;
    std::size_t mantissa = i - digitsAt;
    if (i < text.size() && text[i] == '.') {
        std::size_t const fraction = ++i;
        while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])))
            ++i;
        mantissa += i - fraction;
    }
    if (mantissa > 0 && i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        i += i + 1 < text.size() && (text[i + 1] == '-' || text[i + 1] == '+') ? 2 : 1;
        std::size_t const exponent = i;
        while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])))
            ++i;
        if (i == exponent)
            mantissa = 0;
    }
    if (mantissa == 0 || i != text.size())
        throw UsageError{"\"" + text + "\" is not a decimal number"};
    double const v =
        single ? std::strtof(text.c_str(), nullptr) : std::strtod(text.c_str(), nullptr);
    if (std::isinf(v))
        throw UsageError{"\"" + text + "\" is too large for a " +
                         (single ? "32-bit float" : "real")};
    return v;
}

std::int32_t parseInt32(std::string const& text) {
    long long v = 0;
    if (!velmora_tool::ParseDecimal(text, INT32_MIN, UINT32_MAX, v))
        throw UsageError{"\"" + text +
                         "\" is not a 32-bit integer (decimal, -2147483648 to 4294967295)"};
    // Above INT32_MAX: the same 32 bits, as ConfigFile::SetUInt stores them.
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(v));
}

bool isType(std::string const& a) {
    for (char const* type :
         {"-string", "-int", "-integer", "-float", "-real", "-bool", "-boolean", "-data"})
        if (a == type)
            return true;
    return false;
}

// A new value of the type named by a write option.
CFTypeRef parseValue(std::string const& type, std::string const& text) {
    if (type == "-string")
        return createString(text);
    if (type == "-int" || type == "-integer") {
        std::int32_t const n = parseInt32(text);
        return CFNumberCreate(nullptr, kCFNumberSInt32Type, &n);
    }
    if (type == "-real") {
        double const v = parseReal(text, false);
        return CFNumberCreate(nullptr, kCFNumberFloat64Type, &v);
    }
    if (type == "-float") {
        auto const v = static_cast<float>(parseReal(text, true));
        std::uint32_t bits = 0;
        std::memcpy(&bits, &v, sizeof bits);
        UInt8 const bytes[4] = {static_cast<UInt8>(bits >> 24), static_cast<UInt8>(bits >> 16),
                                static_cast<UInt8>(bits >> 8), static_cast<UInt8>(bits)};
        return CFDataCreate(nullptr, bytes, sizeof bytes);
    }
    if (type == "-bool" || type == "-boolean") {
        std::string lower = text;
        for (char& c : lower)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        std::int32_t n = 0;
        if (lower == "true" || lower == "yes" || lower == "1")
            n = 1;
        else if (lower != "false" && lower != "no" && lower != "0")
            throw UsageError{"\"" + text + "\" is not a boolean (true, false, yes, no, 1 or 0)"};
        return CFNumberCreate(nullptr, kCFNumberSInt32Type, &n);
    }
    // -data: hexadecimal digits, two per byte.
    std::vector<UInt8> bytes;
    auto nibble = [&text](char c) {
        if (!std::isxdigit(static_cast<unsigned char>(c)))
            throw UsageError{"\"" + text + "\" is not hexadecimal data"};
        return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
    };
    if (text.size() % 2 != 0)
        throw UsageError{"\"" + text + "\" has an odd number of hexadecimal digits"};
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes.push_back(static_cast<UInt8>(nibble(text[i]) * 16 + nibble(text[i + 1])));
    return CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()));
}

std::string lowercase(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

struct Scope {
    bool allUsers = false;
    bool currentHost = true;

    CFStringRef User() const {
        return allUsers ? kCFPreferencesAnyUser : kCFPreferencesCurrentUser;
    }
    CFStringRef Host() const {
        return currentHost ? kCFPreferencesCurrentHost : kCFPreferencesAnyHost;
    }
    bool operator==(Scope const& o) const {
        return allUsers == o.allUsers && currentHost == o.currentHost;
    }
    std::string Describe() const {
        return std::string(allUsers ? "for all users" : "for the current user") +
               (currentHost ? " on this host" : " on any host");
    }
    // The options that choose this scope.
    std::string Options() const {
        if (!allUsers && currentHost)
            return "--current-user";
        return std::string(allUsers ? "--all-users" : "") + (allUsers && !currentHost ? " " : "") +
               (currentHost ? "" : "--any-host");
    }
    std::string Json() const {
        return JsonObject()
            .String("user", allUsers ? "all" : "current")
            .String("host", currentHost ? "current" : "any")
            .Text();
    }
};

// Every key of the domain in the scope, sorted; empty when it has none.
std::vector<std::string> keysOf(CFStringRef domain, Scope const& scope) {
    Ref list(CFPreferencesCopyKeyList(domain, scope.User(), scope.Host()));
    std::vector<std::string> keys;
    auto array = static_cast<CFArrayRef>(list.Get());
    for (CFIndex i = 0; array != nullptr && i < CFArrayGetCount(array); ++i)
        keys.push_back(utf8Of(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, i))));
    return keys;
}

bool contains(std::vector<std::string> const& keys, std::string const& key) {
    return std::find(keys.begin(), keys.end(), key) != keys.end();
}

class Tool {
public:
    explicit Tool(Scope scope) : m_scope(scope) {}

    void Read(std::string const& domain) {
        Ref name(createString(domain));
        std::vector<std::string> values;
        for (auto const& key : RequireDomain(name, domain)) {
            Shown const v = Value(name, key);
            if (!g_json)
                std::printf("%s = %s\n", quoted(key).c_str(),
                            v.type == "string" ? quoted(v.text).c_str() : v.text.c_str());
            values.push_back(
                JsonObject().String("key", key).String("type", v.type).Raw("value", v.json).Text());
        }
        g_doc.Raw("values", JsonArray(values));
    }

    // Prints the bare value, or with typeOnly its type.
    void Read(std::string const& domain, std::string const& key, bool typeOnly) {
        g_doc.String("key", key);
        Ref name(createString(domain));
        RequireKey(name, domain, key);
        Shown const v = Value(name, key);
        g_doc.String("type", v.type);
        if (!typeOnly)
            g_doc.Raw("value", v.json);
        if (g_json)
            return;
        if (!typeOnly) {
            std::printf("%s\n", v.text.c_str());
            return;
        }
        std::string floatNote;
        if (v.type == "data" && v.text.size() == 10) { // 4 bytes: maybe a ConfigFile float
            std::uint32_t const bits = std::strtoul(v.text.substr(1, 8).c_str(), nullptr, 16);
            float f = 0;
            std::memcpy(&f, &bits, sizeof f);
            floatNote = " (4 bytes: ConfigFile::GetFloat reads " + formatReal(f, true) + ")";
        }
        std::printf("Type is %s%s\n", v.type.c_str(), floatNote.c_str());
    }

    void Write(std::string const& domain, std::string const& key, CFTypeRef owned) {
        Ref value(owned);
        Shown const v = show(owned);
        g_doc.String("key", key).String("type", v.type).Raw("value", v.json);
        Ref name(createString(domain));
        Ref keyRef(createString(key));
        CFPreferencesSetValue(keyRef.String(), value.Get(), name.String(), m_scope.User(),
                              m_scope.Host());
        if (std::string const error = lastError(); !error.empty())
            throw Failure{error};
        Synchronize(name, domain);
        g_doc.Bool("written", true);
    }

    void Rename(std::string const& domain, std::string const& from, std::string const& to) {
        g_doc.String("key", from).String("new_key", to).Bool("renamed", false);
        Ref name(createString(domain));
        Ref fromRef(createString(from));
        Ref toRef(createString(to));
        auto const keys = RequireKey(name, domain, from);
        Ref value(CFPreferencesCopyValue(fromRef.String(), name.String(), m_scope.User(),
                                         m_scope.Host()));
        if (value.Get() == nullptr)
            throw Failure{"key " + quoted(from) + " in domain " + domain +
                          " holds a value of a type this tool cannot copy"};
        if (from != to && contains(keys, to))
            throw Failure{"key " + quoted(to) + " already exists in domain " + domain + " " +
                          m_scope.Describe() + "; delete it first"};
        // Both changes reach the file in one synchronisation.
        CFPreferencesSetValue(toRef.String(), value.Get(), name.String(), m_scope.User(),
                              m_scope.Host());
        if (from != to)
            CFPreferencesSetValue(fromRef.String(), nullptr, name.String(), m_scope.User(),
                                  m_scope.Host());
        Synchronize(name, domain);
        g_doc.Bool("renamed", true);
    }

    void Delete(std::string const& domain, std::string const* key) {
        if (key != nullptr)
            g_doc.String("key", *key);
        g_doc.Bool("deleted", false);
        Ref name(createString(domain));
        if (key != nullptr) {
            RequireKey(name, domain, *key);
            Ref keyRef(createString(*key));
            CFPreferencesSetValue(keyRef.String(), nullptr, name.String(), m_scope.User(),
                                  m_scope.Host());
            Synchronize(name, domain); // the store removes a file left with no key
        } else {
            // The file as a whole, with any key this tool cannot show.
            if (!HasFile(name))
                RequireDomain(name, domain);
            if (!VelmoraPreferencesReplaceDomain(name.String(), m_scope.User(), m_scope.Host(),
                                                 nullptr))
                throw Failure{"could not remove domain " + domain + " " + m_scope.Describe() +
                              ": " + lastError()};
        }
        g_doc.Bool("deleted", true);
    }

    void Domains() {
        std::vector<std::string> names;
        for (auto const& domain : DomainList()) {
            if (!g_json)
                std::printf("%s\n", domain.c_str());
            names.push_back(JsonString(domain));
        }
        g_doc.Raw("domains", JsonArray(names));
    }

    void Find(std::string const& word) {
        g_doc.String("word", word);
        std::string const needle = lowercase(word);
        std::vector<std::string> matches;
        for (auto const& domain : DomainList()) {
            Ref name(createString(domain));
            for (auto const& key : keysOf(name.String(), m_scope)) {
                Shown const v = Value(name, key);
                if (lowercase(key).find(needle) == std::string::npos &&
                    lowercase(v.text).find(needle) == std::string::npos)
                    continue;
                if (!g_json)
                    std::printf("%s: %s = %s\n", domain.c_str(), quoted(key).c_str(),
                                v.type == "string" ? quoted(v.text).c_str() : v.text.c_str());
                matches.push_back(JsonObject()
                                      .String("domain", domain)
                                      .String("key", key)
                                      .String("type", v.type)
                                      .Raw("value", v.json)
                                      .Text());
            }
        }
        g_doc.Raw("matches", JsonArray(matches));
        if (matches.empty())
            throw Failure{"no key or value contains \"" + word + "\" in the domains " +
                          m_scope.Describe()};
    }

    void Export(std::string const& domain, std::string const& file) {
        g_doc.String("file", file);
        Ref name(createString(domain));
        Ref data(
            VelmoraPreferencesCopyDomainData(name.String(), m_scope.User(), m_scope.Host(), true));
        if (data.Get() == nullptr) {
            if (std::string const error = lastError(); !error.empty())
                throw Failure{error};
            throw Failure{NotFound(name, domain, nullptr)};
        }
        auto bytes = static_cast<CFDataRef>(data.Get());
        auto const size = static_cast<std::size_t>(CFDataGetLength(bytes));
        FILE* out = file == "-" ? stdout : std::fopen(file.c_str(), "wb");
        bool ok = out != nullptr && std::fwrite(CFDataGetBytePtr(bytes), 1, size, out) == size;
        ok = out != nullptr && (file == "-" ? std::fflush(out) : std::fclose(out)) == 0 && ok;
        if (!ok)
            throw Failure{"could not write " + (file == "-" ? "stdout" : file) + ": " +
                          std::strerror(errno)};
        g_doc.Number("bytes", static_cast<long long>(size));
    }

    void Import(std::string const& domain, std::string const& file) {
        g_doc.String("file", file).Bool("imported", false);
        Ref name(createString(domain));
        FILE* in = file == "-" ? stdin : std::fopen(file.c_str(), "rb");
        if (in == nullptr)
            throw Failure{"cannot read " + file + ": " + std::strerror(errno)};
        // One byte more than allowed tells a file that is too large.
        std::string bytes(kMaxImport + 1, '\0');
        std::size_t const size = std::fread(bytes.data(), 1, bytes.size(), in);
        int const readError = std::ferror(in) != 0 ? errno : 0;
        if (in != stdin)
            std::fclose(in);
        if (readError != 0)
            throw Failure{"cannot read " + (file == "-" ? "stdin" : file) + ": " +
                          std::strerror(readError)};
        if (size > kMaxImport)
            throw Failure{(file == "-" ? "stdin" : file) +
                          " holds more than 16 MiB, more than the store takes for a domain"};
        Ref data(CFDataCreate(nullptr, reinterpret_cast<UInt8 const*>(bytes.data()),
                              static_cast<CFIndex>(size)));
        if (!VelmoraPreferencesReplaceDomain(name.String(), m_scope.User(), m_scope.Host(),
                                             static_cast<CFDataRef>(data.Get())))
            throw Failure{"could not import into domain " + domain + " " + m_scope.Describe() +
                          ": " + lastError()};
        g_doc.Number("keys", static_cast<long long>(keysOf(name.String(), m_scope).size()))
            .Bool("imported", true);
    }

private:
    Shown Value(Ref const& name, std::string const& key) {
        Ref keyRef(createString(key));
        Ref value(
            CFPreferencesCopyValue(keyRef.String(), name.String(), m_scope.User(), m_scope.Host()));
        return show(value.Get());
    }

    std::vector<std::string> DomainList() {
        Ref list(VelmoraPreferencesCopyDomainList(m_scope.User(), m_scope.Host()));
        std::vector<std::string> names;
        auto array = static_cast<CFArrayRef>(list.Get());
        for (CFIndex i = 0; array != nullptr && i < CFArrayGetCount(array); ++i)
            names.push_back(utf8Of(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, i))));
        return names;
    }

    bool HasFile(Ref const& name) {
        Ref path(VelmoraPreferencesCopyFilePath(name.String(), m_scope.User(), m_scope.Host()));
        struct stat st;
        return path.Get() != nullptr && ::lstat(utf8Of(path.String()).c_str(), &st) == 0;
    }

    // Says the domain, or its key, does not exist in the scope, and where else it does.
    std::string NotFound(Ref const& name, std::string const& domain, std::string const* key) {
        std::string text =
            (key != nullptr ? "key " + quoted(*key) + " does not exist in domain " : "domain ") +
            domain + (key != nullptr ? " " : " does not exist ") + m_scope.Describe();
        std::string elsewhere;
        for (bool allUsers : {false, true})
            for (bool currentHost : {true, false}) {
                Scope const other{allUsers, currentHost};
                auto const keys = keysOf(name.String(), other);
                if (other == m_scope || keys.empty() || (key != nullptr && !contains(keys, *key)))
                    continue;
                elsewhere += (elsewhere.empty() ? "; it exists " : " and ") + other.Describe() +
                             " (" + other.Options() + ")";
            }
        return text + elsewhere;
    }

    std::vector<std::string> RequireDomain(Ref const& name, std::string const& domain) {
        auto const keys = keysOf(name.String(), m_scope);
        if (!keys.empty())
            return keys;
        // A refused name, or a file that cannot be read or is corrupt, says so itself.
        if (std::string const error = lastError(); !error.empty())
            throw Failure{error};
        if (HasFile(name))
            throw Failure{"domain " + domain + " " + m_scope.Describe() +
                          " holds no key that this tool can show (delete removes it whole)"};
        throw Failure{NotFound(name, domain, nullptr)};
    }

    std::vector<std::string> RequireKey(Ref const& name, std::string const& domain,
                                        std::string const& key) {
        auto keys = RequireDomain(name, domain);
        if (!contains(keys, key))
            throw Failure{NotFound(name, domain, &key)};
        return keys;
    }

    void Synchronize(Ref const& name, std::string const& domain) {
        if (!CFPreferencesSynchronize(name.String(), m_scope.User(), m_scope.Host()))
            throw Failure{"could not write domain " + domain + " " + m_scope.Describe() + ": " +
                          lastError()};
    }

    Scope m_scope;
};

void run(std::vector<std::string> const& args) {
    std::size_t i = 0;
    Scope scope;
    for (; i < args.size() && args[i].size() > 1 && args[i][0] == '-'; ++i) {
        std::string const& a = args[i];
        if (a == "--all-users" || a == "--current-user")
            scope.allUsers = a == "--all-users";
        else if (a == "--current-host" || a == "-currentHost" || a == "--any-host")
            scope.currentHost = a != "--any-host";
        else if (a != "--json")
            throw UsageError{"unknown option " + a};
    }
    if (i == args.size())
        throw UsageError{"no command given"};
    std::string const command = args[i++];
    std::vector<std::string> const rest(args.begin() + static_cast<std::ptrdiff_t>(i), args.end());
    if (command != "domains" && command != "find" && !rest.empty())
        g_doc.String("domain", rest[0]);
    g_doc.Raw("scope", scope.Json());

    Tool tool(scope);
    std::size_t const n = rest.size();
    if (command == "read" && n == 1)
        tool.Read(rest[0]);
    else if ((command == "read" || command == "read-type") && n == 2)
        tool.Read(rest[0], rest[1], command == "read-type");
    else if (command == "write" && n == 3 && !isType(rest[2]))
        tool.Write(rest[0], rest[1], parseValue("-string", rest[2]));
    else if (command == "write" && n == 4 && isType(rest[2]))
        tool.Write(rest[0], rest[1], parseValue(rest[2], rest[3]));
    else if (command == "write" && n == 4 && rest[2].size() > 1 && rest[2][0] == '-')
        throw UsageError{"unknown type " + rest[2] +
                         " (-string, -int, -float, -real, -bool or -data)"};
    else if (command == "rename" && n == 3)
        tool.Rename(rest[0], rest[1], rest[2]);
    else if (command == "delete" && (n == 1 || n == 2))
        tool.Delete(rest[0], n == 2 ? &rest[1] : nullptr);
    else if (command == "domains" && n == 0)
        tool.Domains();
    else if (command == "find" && n == 1)
        tool.Find(rest[0]);
    else if (command == "export" && n == 2 && g_json && rest[1] == "-")
        throw UsageError{"export to - with --json: stdout carries the JSON document; name a FILE"};
    else if (command == "export" && n == 2)
        tool.Export(rest[0], rest[1]);
    else if (command == "import" && n == 2)
        tool.Import(rest[0], rest[1]);
    else if (std::string(" read read-type write rename delete domains find export import ")
                 .find(" " + command + " ") != std::string::npos)
        throw UsageError{"wrong arguments for " + command};
    else
        throw UsageError{"unknown command " + command};
}

// With --json, the one document on stdout.
void printJson(int status, std::string const& error) {
    g_doc.Number("exit", status);
    if (!error.empty())
        g_doc.String("error", error);
    std::printf("%s\n", g_doc.Text().c_str());
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const args(argv + 1, argv + argc);
    // Options come before the command; --help and --version win over everything else there.
    for (auto const& a : args) {
        if (a.size() < 2 || a[0] != '-')
            break;
        if (a == "--help" || a == "-h") {
            std::fputs(kHelp, stdout);
            return 0;
        }
        if (a == "--version") {
            std::printf("velmora-defaults (Velmora) %s\n", VELMORA_VERSION);
            return 0;
        }
        g_json = g_json || a == "--json";
    }
    int status = 0;
    std::string error;
    try {
        run(args);
    } catch (UsageError const& e) {
        std::fprintf(stderr, "velmora-defaults: %s\n%s\n", e.message.c_str(), kUsage);
        status = 2;
        error = e.message;
        g_doc = JsonObject(); // only the reason, as for any bad usage
    } catch (Failure const& e) {
        std::fprintf(stderr, "velmora-defaults: %s\n", e.message.c_str());
        status = 1;
        error = e.message;
    }
    if (g_json)
        printJson(status, error);
    return status;
}
