// velmora-defaults: shows and changes preference domains through CFPreferences, like the
// Mac's defaults command. Exit status: 0 done, 1 failed or not found, 2 bad usage.
#include <CoreFoundation/CoreFoundation.h>
#include <velmora/preferences_store.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace {

char const kUsage[] =
    "usage: velmora-defaults [--all-users] [--current-host] read DOMAIN [KEY] | write DOMAIN "
    "KEY [-string|-int|-float|-data] VALUE | delete DOMAIN [KEY] | domains";

struct UsageError {
    std::string message;
};

struct Failure {
    std::string message;
};

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

// Why the last CFPreferences call failed, or fallback.
std::string lastError(std::string const& fallback) {
    Ref error(VelmoraPreferencesCopyLastError());
    return error.Get() != nullptr ? utf8Of(static_cast<CFStringRef>(error.Get())) : fallback;
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

// The shortest decimal form that reads back as the same double, always with a point or
// exponent so that it does not pass for an integer.
std::string formatReal(double v) {
    if (std::isnan(v))
        return "nan";
    if (std::isinf(v))
        return v < 0 ? "-inf" : "inf";
    char buffer[40];
    for (int precision = 1; precision <= 17; ++precision) {
        std::snprintf(buffer, sizeof buffer, "%.*g", precision, v);
        if (std::strtod(buffer, nullptr) == v)
            break;
    }
    std::string text = buffer;
    if (text.find_first_of(".e") == std::string::npos)
        text += ".0";
    return text;
}

// A value for printing; strings are given raw when bare, else quoted where needed.
std::string formatValue(CFTypeRef value, bool bare) {
    if (value == nullptr)
        return "(unsupported type)";
    CFTypeID const type = CFGetTypeID(value);
    if (type == CFStringGetTypeID()) {
        std::string const text = utf8Of(static_cast<CFStringRef>(value));
        return bare ? text : quoted(text);
    }
    if (type == CFNumberGetTypeID()) {
        auto number = static_cast<CFNumberRef>(value);
        if (CFNumberIsFloatType(number)) {
            double v = 0;
            CFNumberGetValue(number, kCFNumberFloat64Type, &v);
            return formatReal(v);
        }
        std::int64_t v = 0;
        CFNumberGetValue(number, kCFNumberSInt64Type, &v);
        return std::to_string(v);
    }
    if (type == CFDataGetTypeID()) {
        auto data = static_cast<CFDataRef>(value);
        UInt8 const* bytes = CFDataGetBytePtr(data);
        std::string out = "<";
        char const digits[] = "0123456789abcdef";
        for (CFIndex i = 0; i < CFDataGetLength(data); ++i) {
            out += digits[bytes[i] >> 4];
            out += digits[bytes[i] & 0xF];
        }
        return out + ">";
    }
    return "(unsupported type)";
}

CFTypeRef parseValue(std::string const& type, std::string const& text) {
    if (type == "-string")
        return createString(text);
    if (type == "-int") {
        char* end = nullptr;
        errno = 0;
        long long const v = std::strtoll(text.c_str(), &end, 10);
        if (text.empty() || *end != '\0' || errno == ERANGE)
            throw UsageError{"\"" + text + "\" is not a 64-bit integer"};
        std::int64_t const n = v;
        return CFNumberCreate(nullptr, kCFNumberSInt64Type, &n);
    }
    if (type == "-float") {
        char* end = nullptr;
        double const v = std::strtod(text.c_str(), &end);
        if (text.empty() || *end != '\0')
            throw UsageError{"\"" + text + "\" is not a number"};
        return CFNumberCreate(nullptr, kCFNumberFloat64Type, &v);
    }
    // -data: hexadecimal digits, two per byte.
    std::vector<UInt8> bytes;
    auto nibble = [&text](char c) {
        if (c >= '0' && c <= '9')
            return c - '0';
        if (c >= 'a' && c <= 'f')
            return c - 'a' + 10;
        if (c >= 'A' && c <= 'F')
            return c - 'A' + 10;
        throw UsageError{"\"" + text + "\" is not hexadecimal data"};
    };
    if (text.size() % 2 != 0)
        throw UsageError{"\"" + text + "\" has an odd number of hexadecimal digits"};
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes.push_back(static_cast<UInt8>(nibble(text[i]) * 16 + nibble(text[i + 1])));
    return CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()));
}

class Tool {
public:
    Tool(bool allUsers, bool currentHost)
        : m_user(allUsers ? kCFPreferencesAnyUser : kCFPreferencesCurrentUser),
          m_host(currentHost ? kCFPreferencesCurrentHost : kCFPreferencesAnyHost),
          m_scope(std::string(allUsers ? "all users" : "current user") +
                  (currentHost ? ", current host" : ", any host")) {}

    void Read(std::string const& domain) {
        Ref name(createString(domain));
        auto const entries = Entries(name, domain);
        for (auto const& [key, value] : entries)
            std::printf("%s = %s\n", quoted(key).c_str(), value.c_str());
    }

    void Read(std::string const& domain, std::string const& key) {
        Ref name(createString(domain));
        Ref keyRef(createString(key));
        RequireKey(name, domain, key);
        Ref value(CFPreferencesCopyValue(static_cast<CFStringRef>(keyRef.Get()),
                                         static_cast<CFStringRef>(name.Get()), m_user, m_host));
        std::printf("%s\n", formatValue(value.Get(), true).c_str());
    }

    void Write(std::string const& domain, std::string const& key, CFTypeRef owned) {
        Ref value(owned);
        Ref name(createString(domain));
        Ref keyRef(createString(key));
        auto domainRef = static_cast<CFStringRef>(name.Get());
        CFPreferencesSetValue(static_cast<CFStringRef>(keyRef.Get()), value.Get(), domainRef,
                              m_user, m_host);
        if (Ref error(VelmoraPreferencesCopyLastError()); error.Get() != nullptr)
            throw Failure{utf8Of(static_cast<CFStringRef>(error.Get()))};
        Synchronize(domainRef, domain);
    }

    void Delete(std::string const& domain, std::string const* key) {
        Ref name(createString(domain));
        auto domainRef = static_cast<CFStringRef>(name.Get());
        std::vector<std::string> keys;
        if (key != nullptr) {
            RequireKey(name, domain, *key);
            keys.push_back(*key);
        } else {
            for (auto const& entry : Entries(name, domain))
                keys.push_back(entry.first);
        }
        for (auto const& k : keys) {
            Ref keyRef(createString(k));
            CFPreferencesSetValue(static_cast<CFStringRef>(keyRef.Get()), nullptr, domainRef,
                                  m_user, m_host);
        }
        Synchronize(domainRef, domain);
    }

    void Domains() {
        Ref list(VelmoraPreferencesCopyDomainList(m_user, m_host));
        auto array = static_cast<CFArrayRef>(list.Get());
        for (CFIndex i = 0; array != nullptr && i < CFArrayGetCount(array); ++i)
            std::printf("%s\n",
                        utf8Of(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, i))).c_str());
    }

private:
    // Every key of the domain with its printed value, sorted by key.
    std::vector<std::pair<std::string, std::string>> Entries(Ref const& name,
                                                             std::string const& domain) {
        auto domainRef = static_cast<CFStringRef>(name.Get());
        Ref list(CFPreferencesCopyKeyList(domainRef, m_user, m_host));
        if (list.Get() == nullptr)
            throw Failure{lastError("domain " + domain + " (" + m_scope + ") does not exist")};
        auto array = static_cast<CFArrayRef>(list.Get());
        std::vector<std::pair<std::string, std::string>> entries;
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
            auto key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, i));
            Ref value(CFPreferencesCopyValue(key, domainRef, m_user, m_host));
            entries.emplace_back(utf8Of(key), formatValue(value.Get(), false));
        }
        std::sort(entries.begin(), entries.end());
        return entries;
    }

    void RequireKey(Ref const& name, std::string const& domain, std::string const& key) {
        for (auto const& entry : Entries(name, domain))
            if (entry.first == key)
                return;
        throw Failure{"key " + quoted(key) + " does not exist in domain " + domain + " (" +
                      m_scope + ")"};
    }

    void Synchronize(CFStringRef domainRef, std::string const& domain) {
        if (!CFPreferencesSynchronize(domainRef, m_user, m_host))
            throw Failure{"could not write domain " + domain + " (" + m_scope +
                          "): " + lastError("unknown error")};
    }

    CFStringRef m_user;
    CFStringRef m_host;
    std::string m_scope;
};

int run(std::vector<std::string> const& args) {
    std::size_t i = 0;
    bool allUsers = false;
    bool currentHost = false;
    for (; i < args.size() && !args[i].empty() && args[i][0] == '-'; ++i) {
        if (args[i] == "--all-users")
            allUsers = true;
        else if (args[i] == "--current-host" || args[i] == "-currentHost")
            currentHost = true;
        else if (args[i] == "--help" || args[i] == "-h") {
            std::printf("%s\n", kUsage);
            return 0;
        } else
            throw UsageError{"unknown option " + args[i]};
    }
    if (i == args.size())
        throw UsageError{"no command given"};
    std::string const command = args[i++];
    std::vector<std::string> const rest(args.begin() + static_cast<std::ptrdiff_t>(i), args.end());
    auto isType = [](std::string const& a) {
        return a == "-string" || a == "-int" || a == "-float" || a == "-data";
    };
    Tool tool(allUsers, currentHost);
    if (command == "read" && rest.size() == 1)
        tool.Read(rest[0]);
    else if (command == "read" && rest.size() == 2)
        tool.Read(rest[0], rest[1]);
    else if (command == "write" && rest.size() == 3 && !isType(rest[2]))
        tool.Write(rest[0], rest[1], parseValue("-string", rest[2]));
    else if (command == "write" && rest.size() == 4 && isType(rest[2]))
        tool.Write(rest[0], rest[1], parseValue(rest[2], rest[3]));
    else if (command == "delete" && (rest.size() == 1 || rest.size() == 2))
        tool.Delete(rest[0], rest.size() == 2 ? &rest[1] : nullptr);
    else if (command == "domains" && rest.empty())
        tool.Domains();
    else if (command == "read" || command == "write" || command == "delete" || command == "domains")
        throw UsageError{"wrong arguments for " + command};
    else
        throw UsageError{"unknown command " + command};
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (UsageError const& e) {
        std::fprintf(stderr, "velmora-defaults: %s\n%s\n", e.message.c_str(), kUsage);
        return 2;
    } catch (Failure const& e) {
        std::fprintf(stderr, "velmora-defaults: %s\n", e.message.c_str());
        return 1;
    }
}
