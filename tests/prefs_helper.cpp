// A second process for the preference tests, so that they see what reached the files.
//
//   velmora_prefs_helper loop DOMAIN PREFIX ROUNDS
//     sets PREFIX<n> to n in DOMAIN (current user, any host) and synchronises, for n from 0 up
//     to ROUNDS (0: until killed), printing n on its own line once the synchronisation has
//     returned true; exits 3 when one fails.
//   velmora_prefs_helper read DOMAIN KIND:KEY...
//     prints what a Util::ConfigFile of DOMAIN reads, one line per KIND:KEY: string (default
//     "(default)"), int, uint or float (default 7), bool (default true) or binary (hex bytes).
//
// Exits 0 on success, 2 for bad usage.
#include "Util/ConfigFile.h"

#include <CoreFoundation/CoreFoundation.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

CFStringRef Cf(std::string const& s) {
    return CFStringCreateWithCString(nullptr, s.c_str(), kCFStringEncodingUTF8);
}

int Loop(CFStringRef domain, std::string const& prefix, long rounds) {
    for (std::int64_t n = 0; rounds == 0 || n < rounds; ++n) {
        CFStringRef key = Cf(prefix + std::to_string(n));
        CFNumberRef value = CFNumberCreate(nullptr, kCFNumberSInt64Type, &n);
        CFPreferencesSetValue(key, value, domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
        CFRelease(value);
        CFRelease(key);
        if (!CFPreferencesSynchronize(domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost))
            return 3;
        // Unbuffered, so that a kill right after it cannot lose an acknowledged round.
        std::string const line = std::to_string(n) + "\n";
        if (::write(1, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
            return 3;
    }
    CFRelease(domain);
    return 0;
}

int Read(Util::ConfigFile const& store, int count, char** items) {
    for (int i = 0; i < count; ++i) {
        char const* colon = std::strchr(items[i], ':');
        if (colon == nullptr)
            return 2;
        std::string const kind(items[i], static_cast<std::size_t>(colon - items[i]));
        String const key(colon + 1);
        std::vector<unsigned char> bytes;
        if (kind == "string")
            std::printf("%s\n", store.GetString(key, "(default)").Latin1());
        else if (kind == "int")
            std::printf("%d\n", store.GetInt(key, 7));
        else if (kind == "uint")
            std::printf("%u\n", store.GetUInt(key, 7));
        else if (kind == "float")
            std::printf("%g\n", static_cast<double>(store.GetFloat(key, 7.0f)));
        else if (kind == "bool")
            std::printf("%s\n", store.GetBool(key, true) ? "true" : "false");
        else if (kind == "binary") {
            store.GetBinary(key, bytes);
            for (unsigned char b : bytes)
                std::printf("%02x ", b);
            std::printf("\n");
        } else
            return 2;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 5 && std::strcmp(argv[1], "loop") == 0)
        return Loop(Cf(argv[2]), argv[3], std::strtol(argv[4], nullptr, 10));
    if (argc >= 3 && std::strcmp(argv[1], "read") == 0)
        return Read(Util::ConfigFile(argv[2]), argc - 3, argv + 3);
    std::fprintf(stderr, "usage: %s loop DOMAIN PREFIX ROUNDS | read DOMAIN KIND:KEY...\n",
                 argv[0]);
    return 2;
}
