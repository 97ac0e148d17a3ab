// velmora-install-host: loads the installer extension and drives it as a host installer
// would, then reads back what it wrote. --help lists the options and exit statuses.
#include "installer/InstallerExtension.h"
#include "tools/tool_support.h"

#include <CoreFoundation/CoreFoundation.h>
#include <velmora/platform_testing.h>
#include <velmora/preferences_store.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <strings.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace {

using velmora_tool::JsonArray;
using velmora_tool::JsonObject;
using velmora_tool::JsonString;

char const kTool[] = "velmora-install-host";
char const kModuleName[] = "VelmoraInstallerExtension.so";

char const kHelp[] =
    R"(Usage: velmora-install-host --product NAME|CODE --language CODE|NAME|NUMBER [OPTION...]
Load the Velmora installer extension and call it as a host installer does once it has
installed a product, then read back the "Lang" it wrote, for all users on this host, into the
preference domain of each of the product's plug-in formats.

Options:
      --product NAME|CODE
                        the installed product: Harrow (1000), Meridian3 (1100), Gravel
                        (1200), Lattice (1300), Tempest (1400), CadenzaPRO (1500), or any
                        other 32-bit code, for which the extension writes nothing
      --language CODE|NAME|NUMBER
                        the installer's language: a two-letter code (ja), an English name
                        (Japanese) or any 32-bit Mac OS language number (11); the
                        extension writes fr, de, it, es and ja for 1, 2, 3, 6 and 11, and
                        en for every other number
      --direct          call PostInstall instead of MyFactory, QueryInterface and XCodMain
      --dry-run         load nothing and write nothing: show each domain's "Lang" and what
                        the call would write
      --module PATH     the module to load; by default the one beside the tool, in the
                        build tree or in the install prefix
      --record-version N
                        the record's version (default 1000; the extension refuses others)
      --message N       the record's message (default 3, post-install)
      --json            print one JSON document on stdout instead of text; the exit
                        status is the same
  -h, --help            print this help and exit
      --version         print the version and exit

Numbers are decimal: a leading zero does not make them octal (011 is 11).

Exit status:
  0  done, or a dry run
  1  the extension set its failure flag (bit 0 of the flags)
  2  bad arguments, or a module that cannot be loaded or lacks a symbol
  3  a domain does not hold the "Lang" the call should have written (stderr says which
     and why)

Environment:
  VELMORA_PREFS_ROOT=DIR
                        keep the preference store in DIR/user and DIR/system instead of the
                        current user's folder and /etc/velmora/preferences
  VELMORA_ALERTS        how the extension's alerts appear: auto (the default), gui,
                        terminal or none; a prompt takes its answer from stdin only when
                        stdin is a terminal (else the alert counts as not confirmed), so
                        the tool never waits for input in a script
  VELMORA_ALERT_LOG     a file to which every alert is appended as one JSON line
  VELMORA_ALERT_RESOURCES
                        the property list from which StopAlert takes its alerts

Examples:
  velmora-install-host --product Tempest --language ja

  velmora-install-host --product 1200 --language French --dry-run --json
)";

char const kUsage[] = "--product NAME|CODE --language CODE|NAME|NUMBER [--direct] [--dry-run]"
                      " [--module PATH] [--record-version N] [--message N] [--json]";

bool g_json = false;

struct Product {
    std::string name; // empty for a code the tool does not know
    SInt32 code;
    std::vector<char const*> formats;
};

std::vector<Product> const kProducts = {
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

// Says why on stderr (and, with --json, as the document on stdout) and exits with status.
[[noreturn]] void fail(int status, std::string const& message, std::string const& hint = "") {
    std::fprintf(stderr, "%s: %s%s\n", kTool, message.c_str(), hint.c_str());
    if (g_json)
        std::printf("%s\n",
                    JsonObject().Number("exit", status).String("error", message).Text().c_str());
    std::exit(status);
}

[[noreturn]] void usage(std::string const& problem) {
    fail(2, problem, std::string(" (usage: ") + kTool + " " + kUsage + ")");
}

// Any 32-bit number, signed or unsigned, as the record's fields hold both.
bool parse32(std::string const& text, long long& value) {
    return velmora_tool::ParseDecimal(text, INT32_MIN, UINT32_MAX, value);
}

Product parseProduct(std::string const& text) {
    long long code = 0;
    bool const numeric = parse32(text, code);
    for (auto const& p : kProducts)
        if ((numeric && p.code == code) ||
            (!numeric && strcasecmp(p.name.c_str(), text.c_str()) == 0))
            return p;
    if (numeric)
        return {"", static_cast<SInt32>(static_cast<UInt32>(code)), {}};
    std::string known;
    for (auto const& p : kProducts)
        known += (known.empty() ? "" : ", ") + p.name + " (" + std::to_string(p.code) + ")";
    usage("unknown product \"" + text + "\"; known: " + known + ", or any 32-bit code");
}

// The language number as given (negative ones stand for the same 32 bits).
long long parseLanguage(std::string const& text) {
    long long number = 0;
    if (parse32(text, number))
        return number;
    for (long long i = 0; i < 12; ++i)
        if (strcasecmp(kLanguages[i].code, text.c_str()) == 0 ||
            strcasecmp(kLanguages[i].name, text.c_str()) == 0)
            return i;
    usage("unknown language \"" + text +
          "\"; give a two-letter code, an English name or a Mac OS language number");
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

// The module beside the tool, in the build tree, or in the install prefix (where this build
// installs it, or lib/velmora).
std::string findModule() {
    std::string const self = directoryOfSelf();
    for (std::string const& candidate :
         {self + "/" + kModuleName, self + "/../installer/" + kModuleName,
          self + "/../" VELMORA_MODULE_INSTALL_DIR "/" + kModuleName,
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

std::string utf8Of(CFStringRef s) {
    char buffer[1024];
    return CFStringGetCString(s, buffer, sizeof buffer, kCFStringEncodingUTF8) ? buffer : "";
}

// Why the calling thread's last CFPreferences call failed, or "".
std::string lastError() {
    CFStringRef const error = VelmoraPreferencesCopyLastError();
    std::string text = error != nullptr ? utf8Of(error) : "";
    if (error != nullptr)
        CFRelease(error);
    return text;
}

// One domain's "Lang" (all users, this host) and why the file could not be read, if it could
// not.
struct Lang {
    std::optional<std::string> value;
    std::string error;
};

Lang readLang(std::string const& domainName) {
    CFStringRef const domain =
        CFStringCreateWithCString(nullptr, domainName.c_str(), kCFStringEncodingUTF8);
    CFPropertyListRef const value = CFPreferencesCopyValue(
        CFSTR("Lang"), domain, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
    Lang lang{std::nullopt, lastError()};
    if (value != nullptr && CFGetTypeID(value) == CFStringGetTypeID())
        lang.value = utf8Of(static_cast<CFStringRef>(value));
    if (value != nullptr)
        CFRelease(value);
    CFRelease(domain);
    return lang;
}

// The human-readable report; --json replaces it.
__attribute__((format(printf, 1, 2))) void say(char const* format, ...) {
    if (g_json)
        return;
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
}

std::string jsonOrNull(std::optional<std::string> const& text) {
    return text ? JsonString(*text) : "null";
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const args(argv + 1, argv + argc);
    auto const takesValue = [](std::string const& a) {
        return a == "--product" || a == "--language" || a == "--module" ||
               a == "--record-version" || a == "--message";
    };
    // Known first, so that even bad usage answers in JSON.
    for (std::size_t i = 0; i < args.size(); i += takesValue(args[i]) ? 2 : 1)
        g_json = g_json || args[i] == "--json";

    std::optional<Product> product;
    std::optional<long long> languageNumber;
    bool direct = false;
    bool dryRun = false;
    std::string modulePath;
    long long version = installer::kRecordVersion;
    long long message = installer::kPostInstallMessage;
    for (std::size_t i = 0; i < args.size(); ++i) {
        std::string const& arg = args[i];
        auto value = [&]() -> std::string const& {
            if (i + 1 >= args.size())
                usage(arg + " needs a value");
            return args[++i];
        };
        if (arg == "--product") {
            product = parseProduct(value());
        } else if (arg == "--language") {
            languageNumber = parseLanguage(value());
        } else if (arg == "--direct") {
            direct = true;
        } else if (arg == "--dry-run") {
            dryRun = true;
        } else if (arg == "--json") {
            g_json = true;
        } else if (arg == "--module") {
            modulePath = value();
        } else if (arg == "--record-version" || arg == "--message") {
            std::string const& text = value();
            if (!velmora_tool::ParseDecimal(text, INT16_MIN, INT16_MAX,
                                            arg == "--message" ? message : version))
                usage(arg + " takes a decimal 16-bit integer, not \"" + text + "\"");
        } else if (arg == "--help" || arg == "-h") {
            std::fputs(kHelp, stdout);
            return 0;
        } else if (arg == "--version") {
            std::printf("%s (Velmora) %s\n", kTool, VELMORA_VERSION);
            return 0;
        } else {
            usage("unknown argument \"" + arg + "\"");
        }
    }
    if (!product || !languageNumber)
        usage("--product and --language are required");
    auto const language = static_cast<UInt32>(*languageNumber);
    std::string const expected = expectedLang(language);
    bool const known = !product->name.empty();
    // What the extension does with this record: the version test comes first on both paths,
    // and XCodMain passes on the post-install message only.
    bool const expectWrites = known && version == installer::kRecordVersion &&
                              (direct || message == installer::kPostInstallMessage);

    std::vector<std::string> domains;
    for (char const* format : product->formats)
        domains.push_back("com.velmora.audioplugins." + product->name + "." + format);
    std::vector<Lang> before;
    for (auto const& d : domains)
        before.push_back(readLang(d));

    char const* const languageCode =
        *languageNumber >= 0 && *languageNumber < 12 ? kLanguages[*languageNumber].code : "?";
    std::string const note =
        known ? ""
              : "the extension writes nothing for product code " + std::to_string(product->code);

    std::optional<SInt32> flags;
    std::vector<Lang> after;
    std::string moduleError;
    if (dryRun) {
        say("record:   version %lld, message %lld, product %d (%s), language %lld (%s)\n", version,
            message, product->code, known ? product->name.c_str() : "unknown", *languageNumber,
            languageCode);
        say("call:     none (dry run)\n");
        for (std::size_t i = 0; i < domains.size(); ++i) {
            after.push_back({expectWrites ? std::optional(expected) : before[i].value, ""});
            say("%-42s Lang = %s, would be %s\n", domains[i].c_str(),
                before[i].value.value_or("(not set)").c_str(),
                after[i].value.value_or("(not set)").c_str());
        }
    } else {
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

        say("module:   %s (procinfo 0x%08X)\n", modulePath.c_str(), *procinfo);
        say("record:   version %lld, message %lld, product %d (%s), language %lld (%s)\n", version,
            message, product->code, known ? product->name.c_str() : "unknown", *languageNumber,
            languageCode);
        say("call:     %s\n", direct ? "PostInstall" : "MyFactory -> QueryInterface -> XCodMain");
        // What comes before the call is out before anything the module says or asks; with
        // --json, stdout is kept for the document alone.
        std::fflush(stdout);
        int const savedStdout = g_json ? dup(STDOUT_FILENO) : -1;
        if (savedStdout >= 0)
            dup2(STDERR_FILENO, STDOUT_FILENO);
        // An alert may prompt on the terminal; from anything else it reads no answer, so
        // that a script never waits on it.
        if (isatty(STDIN_FILENO) != 1) {
            int const devNull = open("/dev/null", O_RDONLY);
            if (devNull >= 0 && devNull != STDIN_FILENO) {
                dup2(devNull, STDIN_FILENO);
                close(devNull);
            }
        }
        // The module starts with the store as a fresh host process would find it.
        VelmoraResetPreferencesForTesting();
        if (direct)
            postInstall(&record);
        else
            runThroughFactory(module, &record);
        // The module shares the store: this is why its last synchronisation failed, if it did.
        moduleError = lastError();
        std::fflush(stdout);
        if (savedStdout >= 0) {
            dup2(savedStdout, STDOUT_FILENO);
            close(savedStdout);
        }

        flags = ReadInt32(&record, kFlagsOffset);
        say("flags:    0x%08X%s\n", static_cast<UInt32>(*flags),
            (*flags & kFailedFlag) != 0 ? " (the extension reported failure)" : "");
        say("product:  g_vlPluginID = %d\n", *productID);
        // Read from the files, not from this process's cache, so a write that did not reach
        // the store shows up.
        VelmoraResetPreferencesForTesting();
        for (auto const& d : domains) {
            after.push_back(readLang(d));
            say("%-42s Lang = %s\n", d.c_str(), after.back().value.value_or("(not set)").c_str());
        }
        dlclose(module);
    }
    if (!note.empty())
        say("note:     %s\n", note.c_str());

    int status = 0;
    std::string error;
    if (flags && (*flags & installer::kFailedFlag) != 0) {
        status = 1;
        char word[16];
        std::snprintf(word, sizeof word, "0x%08X", static_cast<UInt32>(*flags));
        error = std::string("the extension reported failure (flags ") + word + ")";
    } else if (!dryRun && expectWrites) {
        // Each domain that missed the value, grouped by the store's reason.
        std::vector<std::pair<std::string, std::string>> reasons;
        for (std::size_t i = 0; i < domains.size(); ++i) {
            if (after[i].value == expected)
                continue;
            std::string reason = !after[i].error.empty() ? after[i].error : moduleError;
            if (reason.empty())
                reason = after[i].value ? "it reads back as \"" + *after[i].value + "\""
                                        : "it is not set, and the store gave no reason";
            auto it = reasons.begin();
            while (it != reasons.end() && it->second != reason)
                ++it;
            if (it == reasons.end())
                reasons.emplace_back(domains[i], reason);
            else
                it->first += ", " + domains[i];
        }
        for (auto const& [names, reason] : reasons)
            error += (error.empty() ? "" : "; ") + names + ": " + reason;
        if (!error.empty()) {
            status = 3;
            error =
                "the preference store does not hold \"Lang\" = \"" + expected + "\" in " + error;
            std::fprintf(stderr, "%s: %s\n", kTool, error.c_str());
        }
    }

    if (g_json) {
        std::vector<std::string> entries;
        for (std::size_t i = 0; i < domains.size(); ++i)
            entries.push_back(JsonObject()
                                  .String("domain", domains[i])
                                  .Raw("before", jsonOrNull(before[i].value))
                                  .Raw("after", jsonOrNull(after[i].value))
                                  .Bool("changed", before[i].value != after[i].value)
                                  .Text());
        JsonObject doc;
        doc.Raw("product", JsonObject()
                               .Raw("name", known ? JsonString(product->name) : "null")
                               .Number("code", product->code)
                               .Text());
        doc.Raw("language",
                JsonObject().Number("number", *languageNumber).String("lang", expected).Text());
        doc.Bool("dry_run", dryRun);
        doc.Raw("call", dryRun ? "null" : direct ? "\"direct\"" : "\"factory\"");
        doc.Raw("flags", flags ? std::to_string(*flags) : "null");
        doc.Raw("domains", JsonArray(entries));
        doc.Raw("note", note.empty() ? "null" : JsonString(note));
        doc.Number("exit", status);
        doc.Raw("error", error.empty() ? "null" : JsonString(error));
        std::printf("%s\n", doc.Text().c_str());
    }
    return status;
}
