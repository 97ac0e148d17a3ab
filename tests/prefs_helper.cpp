// A child process for the preference store's multi-process tests.
//
//   velmora_prefs_helper loop DOMAIN PREFIX ROUNDS
//
// sets PREFIX<n> to n in DOMAIN (current user, any host) and synchronises, for n from 0 up
// to ROUNDS (0: until killed), printing n on its own line once the synchronisation has
// returned true. Exits 0, 2 for bad usage, 3 when a synchronisation fails.
#include <CoreFoundation/CoreFoundation.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

int main(int argc, char** argv) {
    if (argc != 5 || std::strcmp(argv[1], "loop") != 0) {
        std::fprintf(stderr, "usage: velmora_prefs_helper loop DOMAIN PREFIX ROUNDS\n");
        return 2;
    }
    CFStringRef domain = CFStringCreateWithCString(nullptr, argv[2], kCFStringEncodingUTF8);
    long const rounds = std::strtol(argv[4], nullptr, 10);
    for (std::int64_t n = 0; rounds == 0 || n < rounds; ++n) {
        std::string const key = argv[3] + std::to_string(n);
        CFStringRef keyRef = CFStringCreateWithCString(nullptr, key.c_str(), kCFStringEncodingUTF8);
        CFNumberRef value = CFNumberCreate(nullptr, kCFNumberSInt64Type, &n);
        CFPreferencesSetValue(keyRef, value, domain, kCFPreferencesCurrentUser,
                              kCFPreferencesAnyHost);
        CFRelease(value);
        CFRelease(keyRef);
        if (!CFPreferencesSynchronize(domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost)) {
            std::fprintf(stderr, "velmora_prefs_helper: synchronisation %lld failed\n",
                         static_cast<long long>(n));
            return 3;
        }
        // Unbuffered, so that a kill right after it cannot lose an acknowledged round.
        std::string const line = std::to_string(n) + "\n";
        if (::write(1, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
            return 3;
    }
    CFRelease(domain);
    return 0;
}
