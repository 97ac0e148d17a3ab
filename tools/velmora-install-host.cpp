// velmora-install-host: loads the installer extension and drives it as a host installer
// would, then reads back what it wrote.
//
//   velmora-install-host --product Tempest --language ja [--direct] [--module PATH]
//                        [--record-version N] [--message N]
//
// Exit status: 0 success; 1 the extension set its failure flag; 2 bad arguments or a module
// that cannot be loaded or lacks a symbol; 3 a "Lang" that does not read back as written.
#include "installer/InstallerExtension.h"

#include <CoreFoundation/CoreFoundation.h>
#include <velmora/platform_testing.h>

#include <dlfcn.h>
#include <limits.h>
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

char const kTool[] = "velmora-install-host";
char const kModuleName[] = "VelmoraInstallerExtension.so";

struct ProductInfo {
    char const* name;
    SInt32 code;
    std::vector<char const*> formats;
};

std::vector<ProductInfo> const kProducts = {
    {"Harrow", 1000, {"AU", "VST", "MAS", "PT"}}, {"Meridian3", 1100, {"AU", "VST", "MAS", "PT"}},
    {"Gravel", 1200, {"AU", "VST", "MAS", "PT"}}, {"Lattice", 1300, {"AU", "VST", "MAS", "PT"}},
    {"Tempest", 1400, {"AU", "PT", "SA"}},        {"CadenzaPRO", 1500, {"AU", "VST"}},
};

// Mac OS language codes 0..11 with their two-letter codes and English names.
struct LanguageInfo {
    char const* code;
    char const* name;
};
LanguageInfo const kLanguages[] = {
    {"en", "English"},    {"fr", "French"},    {"de", "German"},  {"it", "Italian"},
    {"nl", "Dutch"},      {"sv", "Swedish"},   {"es", "Spanish"}, {"da", "Danish"},
    {"pt", "Portuguese"}, {"no", "Norwegian"}, {"he", "Hebrew"},  {"ja", "Japanese"},
};

[[noreturn]] void fail(int status, std::string const& message) {
    std::fprintf(stderr, "%s: %s\n", kTool, message.c_str());
    std::exit(status);
}

[[noreturn]] void usage(std::string const& problem) {
    fail(2, problem + " (usage: " + kTool +
                " --product NAME|CODE --language CODE|NAME|NUMBER [--direct] [--module PATH]"
                " [--record-version N] [--message N])");
}

bool parseInteger(char const* text, long long min, long long max, long long& value) {
    if (text == nullptr || *text == '\0')
        return false;
    errno = 0;
    char* end = nullptr;
    long long const v = std::strtoll(text, &end, 0);
    if (errno != 0 || *end != '\0' || v < min || v > max)
        return false;
    value = v;
    return true;
}

ProductInfo const& parseProduct(char const* text) {
    long long code = 0;
    bool const numeric = parseInteger(text, INT32_MIN, INT32_MAX, code);
    for (auto const& p : kProducts)
        if ((numeric && p.code == code) || (!numeric && strcasecmp(p.name, text) == 0))
            return p;
    std::string known;
    for (auto const& p : kProducts)
        known +=
            std::string(known.empty() ? "" : ", ") + p.name + " (" + std::to_string(p.code) + ")";
    usage(std::string("unknown product \"") + text + "\"; known: " + known);
}

UInt32 parseLanguage(char const* text) {
    long long number = 0;
    if (parseInteger(text, 0, UINT32_MAX, number))
        return static_cast<UInt32>(number);
    for (UInt32 i = 0; i < sizeof kLanguages / sizeof kLanguages[0]; ++i)
        if (strcasecmp(kLanguages[i].code, text) == 0 || strcasecmp(kLanguages[i].name, text) == 0)
            return i;
    usage(std::string("unknown language \"") + text +
          "\"; give a two-letter code, an English name or a Mac OS language code");
}

std::string directoryOfSelf() {
    char path[PATH_MAX];
    ssize_t const n = readlink("/proc/self/exe", path, sizeof path - 1);
    if (n <= 0)
        return ".";
    path[n] = '\0';
    std::string dir(path);
    return dir.substr(0, dir.rfind('/'));
}

// The module beside the tool, in the build tree, or in the install prefix.
std::string findModule() {
    std::string const self = directoryOfSelf();
    for (std::string const& candidate :
         {self + "/" + kModuleName, self + "/../installer/" + kModuleName,
          self + "/../lib/velmora/" + kModuleName, self + "/../lib64/velmora/" + kModuleName})
        if (access(candidate.c_str(), R_OK) == 0) {
            char resolved[PATH_MAX];
            return realpath(candidate.c_str(), resolved) != nullptr ? resolved : candidate;
        }
    fail(2, std::string("cannot find ") + kModuleName + " beside " + self +
                ", in the build tree or in the install prefix; name it with --module PATH");
}

void* requireSymbol(void* module, char const* name) {
    void* const symbol = dlsym(module, name);
    if (symbol == nullptr)
        fail(2, std::string("the module lacks the symbol ") + name);
    return symbol;
}

// Calls the module as a CFPlugIn host does: factory, interface query, XCodMain, releases.
void runThroughFactory(void* module, InstallerParamRecord* record) {
    using Factory = void* (*)(CFAllocatorRef, CFUUIDRef);
    auto const factory = reinterpret_cast<Factory>(requireSymbol(module, "MyFactory"));
    void* const object =
        factory(kCFAllocatorDefault,
                CFUUIDGetConstantUUIDWithBytes(nullptr, kVelmoraInstallerPlugInTypeBytes));
    if (object == nullptr)
        fail(2, "the module's factory refused the installer extension plug-in type");
    auto const* block = *static_cast<XcodFunctionBlock const* const*>(object);
    CFUUIDBytes const interfaceID = {kVelmoraInstallerInterfaceBytes};
    void* extension = nullptr;
    if (block->QueryInterface(object, interfaceID, &extension) != S_OK || extension == nullptr) {
        block->Release(object);
        fail(2, "the plug-in object does not offer the installer extension interface");
    }
    auto const* interface = *static_cast<XcodFunctionBlock const* const*>(extension);
    interface->XCodMain(record);
    interface->Release(extension);
    block->Release(object);
}

// The value the extension writes for a Mac OS language code.
char const* expectedLang(UInt32 language) {
    switch (language) {
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

std::string readBackLang(CFStringRef domain) {
    CFPropertyListRef const value = CFPreferencesCopyValue(
        CFSTR("Lang"), domain, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
    std::string text;
    if (value != nullptr && CFGetTypeID(value) == CFStringGetTypeID()) {
        char buffer[256];
        if (CFStringGetCString(static_cast<CFStringRef>(value), buffer, sizeof buffer,
                               kCFStringEncodingUTF8))
            text = buffer;
    }
    if (value != nullptr)
        CFRelease(value);
    return text;
}

} // namespace

int main(int argc, char** argv) {
    ProductInfo const* product = nullptr;
    UInt32 language = 0;
    bool haveLanguage = false;
    bool direct = false;
    std::string modulePath;
    long long version = installer::kRecordVersion;
    long long message = installer::kPostInstallMessage;

    for (int i = 1; i < argc; ++i) {
        std::string const arg = argv[i];
        auto value = [&]() -> char const* {
            if (i + 1 >= argc)
                usage(arg + " needs a value");
            return argv[++i];
        };
        if (arg == "--product") {
            product = &parseProduct(value());
        } else if (arg == "--language") {
            language = parseLanguage(value());
            haveLanguage = true;
        } else if (arg == "--direct") {
            direct = true;
        } else if (arg == "--module") {
            modulePath = value();
        } else if (arg == "--record-version" || arg == "--message") {
            char const* text = value();
            long long& target = arg == "--message" ? message : version;
            if (!parseInteger(text, INT16_MIN, INT16_MAX, target))
                usage(arg + " takes a 16-bit integer, not \"" + text + "\"");
        } else if (arg == "--help" || arg == "-h") {
            std::printf("usage: %s --product NAME|CODE --language CODE|NAME|NUMBER [--direct]"
                        " [--module PATH] [--record-version N] [--message N]\n",
                        kTool);
            return 0;
        } else {
            usage("unknown argument \"" + arg + "\"");
        }
    }
    if (product == nullptr || !haveLanguage)
        usage("--product and --language are required");
    if (modulePath.empty())
        modulePath = findModule();

    void* const module = dlopen(modulePath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr)
        fail(2, std::string("cannot load the module: ") + dlerror());
    auto const* procinfo = static_cast<UInt32 const*>(requireSymbol(module, "__procinfo"));
    auto const* productID = static_cast<SInt32 const*>(requireSymbol(module, "g_vlPluginID"));
    requireSymbol(module, "_CHAR_CATEGORIES");
    using Entry = void (*)(InstallerParamRecord*);
    auto const postInstall = reinterpret_cast<Entry>(requireSymbol(module, "PostInstall"));

    InstallerParamRecord record{};
    using namespace installer;
    WriteInt16(&record, kVersionOffset, static_cast<std::int16_t>(version));
    WriteInt16(&record, kMessageOffset, static_cast<std::int16_t>(message));
    WriteInt32(&record, kProductCodeOffset, product->code);
    WriteUInt32(&record, kLanguageCodeOffset, language);

    char const* const languageCode = language < 12 ? kLanguages[language].code : "?";
    std::printf("module:   %s (procinfo 0x%08X)\n", modulePath.c_str(), *procinfo);
    std::printf("record:   version %lld, message %lld, product %d (%s), language %u (%s)\n",
                version, message, product->code, product->name, language, languageCode);
    std::printf("call:     %s\n",
                direct ? "PostInstall" : "MyFactory -> QueryInterface -> XCodMain");
    if (direct)
        postInstall(&record);
    else
        runThroughFactory(module, &record);

    SInt32 const flags = ReadInt32(&record, kFlagsOffset);
    std::printf("flags:    0x%08X%s\n", static_cast<UInt32>(flags),
                (flags & kFailedFlag) != 0 ? " (the extension reported failure)" : "");
    std::printf("product:  g_vlPluginID = %d\n", *productID);

    // Read from the files, not from this process's cache, so a write that did not reach the
    // store shows up.
    VelmoraResetPreferencesForTesting();
    bool allWritten = true;
    for (char const* format : product->formats) {
        std::string const name =
            std::string("com.velmora.audioplugins.") + product->name + "." + format;
        CFStringRef const domain =
            CFStringCreateWithCString(nullptr, name.c_str(), kCFStringEncodingUTF8);
        std::string const lang = readBackLang(domain);
        CFRelease(domain);
        std::printf("%-42s Lang = %s\n", name.c_str(), lang.empty() ? "(not set)" : lang.c_str());
        allWritten = allWritten && lang == expectedLang(language);
    }
    dlclose(module);

    if ((flags & kFailedFlag) != 0)
        return 1;
    bool const expectWrites =
        version == kRecordVersion && (direct || message == kPostInstallMessage);
    if (expectWrites && !allWritten) {
        std::fprintf(stderr,
                     "%s: the preference store does not hold \"Lang\" = \"%s\" in every domain\n",
                     kTool, expectedLang(language));
        return 3;
    }
    return 0;
}
