// The installer extension on arbitrary parameter records. The input, zero-padded or cut to
// the size of the host's record, is given to XCodMain through the factory as a host does, and
// then, afresh, to PostInstall directly. The installer sources are linked in, so the fuzzer
// sees their coverage; preferences go to a private folder and alerts are off.
#include "fuzz/fuzz_support.h"
#include "installer/InstallerExtension.h"

#include <velmora/platform_testing.h>
#include <velmora/preferences_store.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace installer;

struct Product {
    std::int32_t code;
    std::vector<char const*> domains;
};

// The products and their plug-in formats' domains, sorted.
std::vector<Product> const kProducts = {
    {1000,
     {"com.velmora.audioplugins.Harrow.AU", "com.velmora.audioplugins.Harrow.MAS",
      "com.velmora.audioplugins.Harrow.PT", "com.velmora.audioplugins.Harrow.VST"}},
    {1100,
     {"com.velmora.audioplugins.Meridian3.AU", "com.velmora.audioplugins.Meridian3.MAS",
      "com.velmora.audioplugins.Meridian3.PT", "com.velmora.audioplugins.Meridian3.VST"}},
    {1200,
     {"com.velmora.audioplugins.Gravel.AU", "com.velmora.audioplugins.Gravel.MAS",
      "com.velmora.audioplugins.Gravel.PT", "com.velmora.audioplugins.Gravel.VST"}},
    {1300,
     {"com.velmora.audioplugins.Lattice.AU", "com.velmora.audioplugins.Lattice.MAS",
      "com.velmora.audioplugins.Lattice.PT", "com.velmora.audioplugins.Lattice.VST"}},
    {1400,
     {"com.velmora.audioplugins.Tempest.AU", "com.velmora.audioplugins.Tempest.PT",
      "com.velmora.audioplugins.Tempest.SA"}},
    {1500, {"com.velmora.audioplugins.CadenzaPRO.AU", "com.velmora.audioplugins.CadenzaPRO.VST"}},
};

char const* language(std::uint32_t code) {
    switch (code) {
    case 1:
        return "fr";
    case 2:
        return "de";
    case 3:
        return "it";
    case 6:
        return "es";
    case 11:
        return "ja";
    default:
        return "en";
    }
}

std::string utf8(CFTypeRef value) {
    char buffer[1024];
    if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID() ||
        !CFStringGetCString(static_cast<CFStringRef>(value), buffer, sizeof buffer,
                            kCFStringEncodingUTF8))
        return "<none>";
    return buffer;
}

// The domains that have a file for all users of this host, as the store lists them.
std::vector<std::string> writtenDomains() {
    std::vector<std::string> names;
    CFArrayRef const list =
        VelmoraPreferencesCopyDomainList(kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
    if (list == nullptr)
        return names;
    for (CFIndex i = 0; i < CFArrayGetCount(list); ++i)
        names.push_back(utf8(CFArrayGetValueAtIndex(list, i)));
    CFRelease(list);
    return names;
}

void runXCodMain(InstallerParamRecord* record) {
    void* const object = MyFactory(
        nullptr, CFUUIDGetConstantUUIDWithBytes(nullptr, kVelmoraInstallerPlugInTypeBytes));
    FUZZ_CHECK(object != nullptr);
    XcodFunctionBlock const& block = **static_cast<XcodFunctionBlock const* const*>(object);
    void* extension = nullptr;
    FUZZ_CHECK(block.QueryInterface(object, CFUUIDBytes{kVelmoraInstallerInterfaceBytes},
                                    &extension) == S_OK &&
               extension == object);
    block.XCodMain(record);
    FUZZ_CHECK(block.Release(extension) == 1 && block.Release(object) == 0);
}

void check(InstallerParamRecord const& input, bool direct) {
    VelmoraResetPreferencesForTesting();
    InstallerParamRecord record = input;
    std::int16_t const version = ReadInt16(&input, kVersionOffset);
    std::int16_t const message = ReadInt16(&input, kMessageOffset);
    std::int32_t const product = ReadInt32(&input, kProductCodeOffset);
    std::int32_t const flags = ReadInt32(&input, kFlagsOffset);
    SInt32 const unset = ~product;
    g_vlPluginID = unset;

    if (direct)
        PostInstall(&record);
    else
        runXCodMain(&record);

    // Only the flag word may change, and only by the failure bit for another version.
    bool const known = version == kRecordVersion;
    FUZZ_CHECK(ReadInt32(&record, kFlagsOffset) == (known ? flags : flags | kFailedFlag));
    std::memcpy(record.bytes + kFlagsOffset, input.bytes + kFlagsOffset, 4);
    FUZZ_CHECK(std::memcmp(record.bytes, input.bytes, sizeof record.bytes) == 0);

    // XCodMain passes only a post-install message of the known version on to PostInstall.
    bool const posted = direct || (known && message == kPostInstallMessage);
    FUZZ_CHECK(g_vlPluginID == (posted ? product : unset));

    // "Lang" is written for every format of a known product, and nothing else anywhere.
    std::vector<std::string> expected;
    for (Product const& p : kProducts)
        if (posted && known && p.code == product)
            expected.assign(p.domains.begin(), p.domains.end());
    VelmoraResetPreferencesForTesting(); // read what the files hold
    FUZZ_CHECK(writtenDomains() == expected);
    std::string const lang = language(ReadUInt32(&input, kLanguageCodeOffset));
    for (std::string const& domain : expected) {
        CFStringRef const name =
            CFStringCreateWithCString(nullptr, domain.c_str(), kCFStringEncodingUTF8);
        CFPropertyListRef const value = CFPreferencesCopyValue(
            CFSTR("Lang"), name, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
        CFArrayRef const keys =
            CFPreferencesCopyKeyList(name, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
        FUZZ_CHECK(utf8(value) == lang);
        FUZZ_CHECK(keys != nullptr && CFArrayGetCount(keys) == 1);
        CFRelease(keys);
        CFRelease(value);
        CFRelease(name);
    }
    VelmoraResetPreferencesForTesting();
    velmora_fuzz::ClearPrefsRoot();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    velmora_fuzz::UsePrivatePrefsRoot();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    InstallerParamRecord record{};
    if (size != 0)
        std::memcpy(record.bytes, data, std::min(size, sizeof record.bytes));
    check(record, false);
    check(record, true);
    return 0;
}
