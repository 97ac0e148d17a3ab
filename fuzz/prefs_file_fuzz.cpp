// Any bytes as a preference file, read through the CFPreferences calls: the store must list
// and read it, change one key and write it back without crashing, keep every entry it did not
// change, and set a file it cannot parse aside byte for byte.
#include "fuzz/fuzz_support.h"

#include <CoreFoundation/CoreFoundation.h>
#include <velmora/platform_testing.h>
#include <velmora/preferences_store.h>

#include <sys/stat.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>

namespace {

namespace fs = std::filesystem;

struct Released {
    void operator()(void const* p) const { CFRelease(p); }
};
using Ref = std::unique_ptr<void const, Released>;

CFStringRef domain() {
    return CFSTR("com.velmora.fuzz.Prefs");
}

std::u16string unitsOf(CFStringRef s) {
    std::u16string units(static_cast<std::size_t>(CFStringGetLength(s)), u'\0');
    CFStringGetCharacters(s, CFRangeMake(0, CFStringGetLength(s)),
                          reinterpret_cast<UniChar*>(&units[0]));
    return units;
}

// Equal values; NaNs are equal to each other.
bool sameValue(CFTypeRef a, CFTypeRef b) {
    if (a == nullptr || b == nullptr)
        return a == b;
    if (CFGetTypeID(a) == CFNumberGetTypeID() && CFGetTypeID(b) == CFNumberGetTypeID() &&
        CFNumberIsFloatType(static_cast<CFNumberRef>(a)) &&
        CFNumberIsFloatType(static_cast<CFNumberRef>(b))) {
        double x = 0, y = 0;
        CFNumberGetValue(static_cast<CFNumberRef>(a), kCFNumberFloat64Type, &x);
        CFNumberGetValue(static_cast<CFNumberRef>(b), kCFNumberFloat64Type, &y);
        return (std::isnan(x) && std::isnan(y)) || std::memcmp(&x, &y, sizeof x) == 0;
    }
    return CFEqual(a, b);
}

// Every listed key with its value (null for a type the store does not map).
std::map<std::u16string, Ref> readDomain() {
    std::map<std::u16string, Ref> values;
    Ref const keys(
        CFPreferencesCopyKeyList(domain(), kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    if (keys == nullptr)
        return values;
    auto const list = static_cast<CFArrayRef>(keys.get());
    FUZZ_CHECK(CFArrayGetCount(list) > 0);
    for (CFIndex i = 0; i < CFArrayGetCount(list); ++i) {
        auto const key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(list, i));
        FUZZ_CHECK(key != nullptr && CFGetTypeID(key) == CFStringGetTypeID());
        CFTypeRef const value =
            CFPreferencesCopyValue(key, domain(), kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
        FUZZ_CHECK(value == nullptr || CFGetTypeID(value) == CFStringGetTypeID() ||
                   CFGetTypeID(value) == CFNumberGetTypeID() ||
                   CFGetTypeID(value) == CFDataGetTypeID());
        bool const fresh = values.emplace(unitsOf(key), Ref(value)).second;
        FUZZ_CHECK(fresh); // listed once
        if (i > 0)         // sorted
            FUZZ_CHECK(unitsOf(static_cast<CFStringRef>(CFArrayGetValueAtIndex(list, i - 1))) <
                       unitsOf(key));
    }
    return values;
}

void checkSame(std::map<std::u16string, Ref> const& a,
               std::map<std::u16string, CFTypeRef> const& b) {
    FUZZ_CHECK(a.size() == b.size());
    for (auto const& [key, value] : a) {
        auto const it = b.find(key);
        FUZZ_CHECK(it != b.end() && sameValue(value.get(), it->second));
    }
}

std::string fileOf() {
    Ref const path(
        VelmoraPreferencesCopyFilePath(domain(), kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    FUZZ_CHECK(path != nullptr);
    char buffer[4096];
    FUZZ_CHECK(CFStringGetCString(static_cast<CFStringRef>(path.get()), buffer, sizeof buffer,
                                  kCFStringEncodingUTF8));
    return buffer;
}

std::string contentOf(fs::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    velmora_fuzz::UsePrivatePrefsRoot();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    VelmoraResetPreferencesForTesting();
    fs::path const file = fileOf();
    fs::create_directories(file.parent_path());
    ::chmod(file.parent_path().c_str(), 0700);
    std::string const input(reinterpret_cast<char const*>(data), size);
    std::ofstream(file, std::ios::binary) << input;

    std::map<std::u16string, Ref> const before = readDomain();

    // Change the first listed key, or a new one; a key holding U+0000 is refused.
    std::u16string const key = before.empty() ? u"FuzzKey" : before.begin()->first;
    Ref const keyRef(CFStringCreateWithCharacters(
        nullptr, reinterpret_cast<UniChar const*>(key.data()), static_cast<CFIndex>(key.size())));
    auto const keyString = static_cast<CFStringRef>(keyRef.get());
    CFStringRef const value = CFSTR("written by the fuzzer");
    CFPreferencesSetValue(keyString, value, domain(), kCFPreferencesCurrentUser,
                          kCFPreferencesAnyHost);
    bool const refused = key.find(u'\0') != std::u16string::npos;
    std::map<std::u16string, CFTypeRef> expected;
    for (auto const& [k, v] : before)
        expected[k] = v.get();
    if (!refused)
        expected[key] = value;

    bool const synced =
        CFPreferencesSynchronize(domain(), kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
    if (!synced) {
        Ref const why(VelmoraPreferencesCopyLastError());
        char text[1024] = "?";
        if (why != nullptr)
            CFStringGetCString(static_cast<CFStringRef>(why.get()), text, sizeof text,
                               kCFStringEncodingUTF8);
        std::fprintf(stderr, "synchronize failed: %s\n", text);
    }
    FUZZ_CHECK(synced);
    checkSame(readDomain(), expected);
    // What the file now holds reads back the same in a fresh store.
    VelmoraResetPreferencesForTesting();
    checkSame(readDomain(), expected);

    // A file set aside as corrupt is the input, byte for byte.
    std::string const aside = file.filename().string() + ".corrupt-";
    for (auto const& entry : fs::directory_iterator(file.parent_path()))
        if (entry.path().filename().string().compare(0, aside.size(), aside) == 0)
            FUZZ_CHECK(contentOf(entry.path()) == input);

    VelmoraResetPreferencesForTesting();
    velmora_fuzz::ClearPrefsRoot();
    return 0;
}
