#include "Util/ConfigFile.h"

#include "test_support.h"

#include <CoreFoundation/CoreFoundation.h>
#include <velmora/platform_testing.h>

#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

using Util::ConfigFile;
using velmora_test::TempDir;

namespace {

char const kDomain[] = "com.velmora.tests.ConfigFile";
using Bytes = std::vector<unsigned char>;

gid_t const kRoot = 0, kStaff = 20, kAdmin = 80, kNameless = 81, kNoRecord = 82,
            kAdministrators = 83, kCapitalAdmin = 84;

group record(char const* name, gid_t gid) {
    return {const_cast<char*>(name), nullptr, gid, {}};
}

// A controlled group database: what getgrouplist answers, and the group records.
struct FakeGroups {
    static inline int result = 0;
    static inline std::vector<gid_t> ids;
    static inline std::map<gid_t, group> records = {
        {kRoot, record("root", kRoot)},
        {kStaff, record("staff", kStaff)},
        {kAdmin, record("admin", kAdmin)},
        {kNameless, record(nullptr, kNameless)},
        {kAdministrators, record("administrators", kAdministrators)},
        {kCapitalAdmin, record("Admin", kCapitalAdmin)}};
    static inline gid_t askedBase = 99;
    static inline int askedCount = 0;

    static int list(char const*, gid_t base, gid_t* groups, int* count) {
        askedBase = base;
        askedCount = *count;
        for (std::size_t i = 0; i < ids.size() && static_cast<int>(i) < *count; ++i)
            groups[i] = ids[i];
        *count = static_cast<int>(ids.size());
        return result;
    }
    static group* get(gid_t gid) {
        auto it = records.find(gid);
        return it != records.end() ? &it->second : nullptr;
    }
};
ConfigFile::GroupDatabase const kFakeGroups = {FakeGroups::list, FakeGroups::get};

void setUser(char const* user) {
    user ? setenv("USER", user, 1) : unsetenv("USER");
}

CFStringRef const kUsers[] = {kCFPreferencesCurrentUser, kCFPreferencesAnyUser};
enum { USER, ALL };

CFStringRef cf(char const* s) {
    return CFStringCreateWithCString(nullptr, s, kCFStringEncodingUTF8);
}
CFTypeRef data(Bytes const& b) {
    return CFDataCreate(nullptr, b.data(), CFIndex(b.size()));
}
CFTypeRef number(long long n) {
    return CFNumberCreate(nullptr, kCFNumberSInt64Type, &n);
}
void release(std::initializer_list<CFTypeRef> refs) {
    for (CFTypeRef r : refs)
        if (r != nullptr)
            CFRelease(r);
}

// Stores value (released here) in one domain and writes it out, bypassing ConfigFile.
void putRaw(int scope, char const* key, CFTypeRef value, char const* domain = kDomain) {
    CFStringRef d = cf(domain), k = cf(key);
    CFPreferencesSetValue(k, value, d, kUsers[scope], kCFPreferencesCurrentHost);
    EXPECT_TRUE(CFPreferencesSynchronize(d, kUsers[scope], kCFPreferencesCurrentHost));
    release({d, k, value});
}

// The data stored under key in one domain, read from the file afresh.
std::optional<Bytes> rawData(int scope, char const* key) {
    VelmoraResetPreferencesForTesting();
    CFStringRef d = cf(kDomain), k = cf(key);
    CFTypeRef v = CFPreferencesCopyValue(k, d, kUsers[scope], kCFPreferencesCurrentHost);
    std::optional<Bytes> result;
    if (v != nullptr && CFGetTypeID(v) == CFDataGetTypeID()) {
        auto const* p = CFDataGetBytePtr(static_cast<CFDataRef>(v));
        result = Bytes(p, p + CFDataGetLength(static_cast<CFDataRef>(v)));
    }
    release({d, k, v});
    return result;
}

// What a ConfigFile in a new process reads (see configfile_probe.cpp).
std::string probe(std::vector<std::string> args, char const* domain = kDomain) {
    args.insert(args.begin(), {VELMORA_CONFIGFILE_PROBE, domain});
    auto const r = velmora_test::Run(args);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    return r.out;
}

std::string joined(std::vector<String> const& names) {
    std::string s;
    for (auto const& n : names)
        s += std::string(n.Latin1()) + ";";
    return s;
}

class ConfigFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (auto& [name, value] : m_saved)
            if (char const* v = std::getenv(name.c_str()))
                value = v;
        setenv("VELMORA_PREFS_ROOT", m_root.Path().c_str(), 1);
        unsetenv("USER");
        VelmoraResetPreferencesForTesting();
    }
    void TearDown() override {
        for (auto const& [name, value] : m_saved)
            value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
        VelmoraResetPreferencesForTesting();
    }
    TempDir m_root;
    std::map<std::string, std::optional<std::string>> m_saved = {{"VELMORA_PREFS_ROOT", {}},
                                                                 {"USER", {}}};
};

// Written by a user's store and an admin's, read back by a new process.
TEST_F(ConfigFileTest, CurrentUserFirstThenAllUsersThenTheDefaultInANewProcess) {
    using Set = void (*)(ConfigFile&, String const&, bool user);
    struct Kind {
        char const* name;
        Set set;
        std::string user, all, def; // as the probe prints them
    } const kinds[] = {
        {"string",
         [](ConfigFile& s, String const& k, bool u) { s.SetString(k, u ? "caf\x8E" : "a"); },
         "caf\x8E", "a", "(default)"},
        {"int", [](ConfigFile& s, String const& k, bool u) { s.SetInt(k, u ? -5 : 2); }, "-5", "2",
         "0"},
        {"uint", [](ConfigFile& s, String const& k, bool u) { s.SetUInt(k, u ? 4000000000u : 2); },
         "4000000000", "2", "0"},
        {"bool", [](ConfigFile& s, String const& k, bool u) { s.SetBool(k, !u); }, "false", "true",
         "false"},
        {"float", [](ConfigFile& s, String const& k, bool u) { s.SetFloat(k, u ? -1.25f : 2); },
         "-1.25", "2", "0"},
        {"binary",
         [](ConfigFile& s, String const& k, bool u) {
             s.SetBinary(k, {0, 0xFF, u});
         },
         "00 ff 01 ", "00 ff 00 ", ""},
    };
    struct Place {
        char const* name;
        bool inUser, inAll;
        std::string Kind::*expected;
    } const places[] = {{"user only", true, false, &Kind::user},
                        {"all users only", false, true, &Kind::all},
                        {"both", true, true, &Kind::user},
                        {"neither", false, false, &Kind::def}};
    std::vector<std::string> args;
    std::string expected;
    {
        ConfigFile user(kDomain); // USER unset: the current user's domain
        FakeGroups::result = 2;
        FakeGroups::ids = {kRoot, kAdmin};
        setUser("ed");
        ConfigFile admin(kDomain, kFakeGroups); // the all-users domain
        ASSERT_TRUE(admin.IsAdmin());
        for (auto const& kind : kinds)
            for (auto const& place : places) {
                std::string const key = std::string(kind.name) + " " + place.name;
                if (place.inUser)
                    kind.set(user, key.c_str(), true);
                if (place.inAll)
                    kind.set(admin, key.c_str(), false);
                args.push_back(std::string(kind.name) + ":" + key);
                expected += kind.*place.expected + "\n";
            }
        EXPECT_EQ(probe({"string:string user only"}), "(default)\n") << "no write synchronises";
    } // each destructor synchronises its own domain
    EXPECT_EQ(probe(args), expected);
}

TEST_F(ConfigFileTest, IntegersShareTheirBitsAndBoolIsNonZero) {
    ConfigFile store(kDomain);
    store.SetInt("minus one", -1);
    store.SetUInt("max", 4294967295u);
    store.SetInt("two", 2);
    store.SetInt("zero", 0);
    putRaw(USER, "2^32", number(4294967296LL)); // no 32-bit integer: skipped
    putRaw(ALL, "2^32", number(3));
    EXPECT_EQ(store.GetUInt("minus one", 0), 4294967295u);
    EXPECT_EQ(store.GetInt("max", 0), -1);
    EXPECT_EQ(store.GetInt("2^32", 0), 3);
    EXPECT_TRUE(store.GetBool("two", false));
    EXPECT_FALSE(store.GetBool("zero", true));
    EXPECT_TRUE(store.GetBool("absent", true));
    EXPECT_FALSE(store.GetBool("absent", false));
}

TEST_F(ConfigFileTest, AFloatIsFourBigEndianBytes) {
    ConfigFile(kDomain).SetFloat("Gain", 0.5f);
    EXPECT_EQ(rawData(USER, "Gain"), Bytes({0x3F, 0x00, 0x00, 0x00}));

    struct Row {
        char const* name;
        std::optional<Bytes> user, all;
        float expected;
    } const rows[] = {
        {"3 bytes, nothing else", Bytes{0x3F, 0, 0}, std::nullopt, 7.0f},
        {"8 bytes, nothing else", Bytes{0x3F, 0, 0, 0, 0, 0, 0, 0}, std::nullopt, 7.0f},
        {"3 bytes, then 4 for all users", Bytes{0x3F, 0, 0}, Bytes{0x3F, 0, 0, 0}, 0.5f},
        {"8 bytes, then 4 for all users", Bytes(8, 0x40), Bytes{0xBF, 0x80, 0, 0}, -1.0f},
        {"4 bytes in both", Bytes{0x40, 0x20, 0, 0}, Bytes{0x3F, 0, 0, 0}, 2.5f},
    };
    for (auto const& row : rows) {
        if (row.user)
            putRaw(USER, row.name, data(*row.user));
        if (row.all)
            putRaw(ALL, row.name, data(*row.all));
    }
    ConfigFile const store(kDomain);
    for (auto const& row : rows)
        EXPECT_EQ(store.GetFloat(row.name, 7.0f), row.expected) << row.name;
}

TEST_F(ConfigFileTest, EmptyBinaryReadsAsAbsent) {
    putRaw(ALL, "shadowed", data({7, 8}));
    {
        ConfigFile store(kDomain);
        store.SetBinary("shadowed", {});
        store.SetBinary("alone", {});
    }
    EXPECT_EQ(rawData(USER, "alone"), Bytes()) << "the empty data is stored";
    ConfigFile const store(kDomain);
    Bytes out = {1, 2, 3};
    store.GetBinary("shadowed", out);
    EXPECT_EQ(out, Bytes({7, 8}));
    store.GetBinary("alone", out);
    EXPECT_EQ(out, Bytes());
}

TEST_F(ConfigFileTest, ValueNamesMergeBothDomainsSortedOnce) {
    for (char const* key : {"b", "a"})
        putRaw(USER, key, number(1));
    for (char const* key : {"a", "c", "B"})
        putRaw(ALL, key, number(1));
    std::vector<String> names = {"stale"};
    ConfigFile(kDomain).GetValueNames(names, "ignored");
    EXPECT_EQ(joined(names), "B;a;b;c;");
    ConfigFile("com.velmora.tests.Empty").GetValueNames(names, "");
    EXPECT_TRUE(names.empty());
}

TEST_F(ConfigFileTest, RemovingActsOnTheWriteDomainOnly) {
    for (char const* key :
         {"Window", "Window/", "Window/Width", "Window/Pos/X", "WindowTitle", "Lang"})
        putRaw(USER, key, number(1));
    putRaw(ALL, "Window/Width", number(640));
    std::vector<String> names;
    {
        ConfigFile store(kDomain);
        store.RemoveKey("Window");
        store.GetKeyNames(names);
        EXPECT_EQ(joined(names), "Lang;WindowTitle;");
        EXPECT_EQ(store.GetInt("Window/Width", 0), 640) << "the all-users value shows through";
        store.RemoveValue("Lang");
        store.RemoveValue("never stored");
    }
    EXPECT_EQ(probe({"int:Window/Width", "int:Lang", "int:WindowTitle"}), "640\n0\n1\n");
    ConfigFile store(kDomain);
    store.RemoveKey("");
    store.GetKeyNames(names);
    EXPECT_TRUE(names.empty());
    store.GetValueNames(names, "");
    EXPECT_EQ(joined(names), "Window/Width;");
}

TEST_F(ConfigFileTest, AdminIsMembershipOfAGroupNamedExactlyAdmin) {
    std::vector<gid_t> full(511, kStaff);
    full.back() = kAdmin;
    std::vector<gid_t> overfull = full;
    overfull.push_back(kStaff);
    struct Row {
        char const* name;
        char const* user;
        int result; // of getgrouplist
        std::vector<gid_t> ids;
        bool admin;
    } const rows[] = {
        {"USER unset", nullptr, 2, {kRoot, kAdmin}, false},
        {"member of admin", "ed", 2, {kRoot, kAdmin}, true},
        {"only look-alike names", "ed", 3, {kRoot, kAdministrators, kCapitalAdmin}, false},
        {"nameless and missing records skipped", "ed", 3, {kNameless, kNoRecord, kAdmin}, true},
        {"groups do not fit", "ed", -1, {kRoot, kAdmin}, false},
        {"no groups", "ed", 0, {}, false},
        {"511 groups", "ed", 511, full, true},
        {"512 groups", "ed", 512, overfull, false},
    };
    for (auto const& row : rows) {
        FakeGroups::result = row.result;
        FakeGroups::ids = row.ids;
        FakeGroups::askedCount = 0;
        FakeGroups::askedBase = 99;
        setUser(row.user);
        EXPECT_EQ(ConfigFile(kDomain, kFakeGroups).IsAdmin(), row.admin) << row.name;
        EXPECT_EQ(FakeGroups::askedCount, row.user ? 512 : 0) << row.name;
        EXPECT_EQ(FakeGroups::askedBase, row.user ? 0u : 99u) << row.name;
    }
}

// The system's group database, replaced by a file that only a child process sees.
TEST_F(ConfigFileTest, AdminFromTheSystemGroupDatabase) {
    velmora_test::WriteFile(m_root / "group", "root:x:0:\nadmin:x:4242:velmora-ed\n"
                                              "administrators:x:4243:velmora-guest\n");
    pid_t const child = fork();
    if (child == 0) {
        bool const isolated =
            unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0;
        // Private first, so the bind mount cannot reach the machine's own namespace.
        if (!isolated || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount((m_root / "group").c_str(), "/etc/group", nullptr, MS_BIND, nullptr) != 0)
            _exit(77);
        setenv("USER", "velmora-ed", 1);
        bool const ed = ConfigFile(kDomain).IsAdmin();
        setenv("USER", "velmora-guest", 1);
        bool const guest = ConfigFile(kDomain).IsAdmin();
        _exit((ed ? 1 : 0) | (guest ? 2 : 0));
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 77)
        GTEST_SKIP() << "no private mount namespace here";
    EXPECT_EQ(WEXITSTATUS(status), 1) << "velmora-ed (admin) yes, velmora-guest no";
}

TEST_F(ConfigFileTest, ReadsTheLanguageTheInstallerWroteForAllUsers) {
    char const tempest[] = "com.velmora.audioplugins.Tempest.AU";
    putRaw(ALL, "Lang", cf("ja"), tempest);
    VelmoraResetPreferencesForTesting();
    EXPECT_STREQ(ConfigFile(tempest).GetString("Lang", "en").Latin1(), "ja");
    EXPECT_STREQ(
        ConfigFile("com.velmora.audioplugins.Tempest.VST").GetString("Lang", "en").Latin1(), "en");
    EXPECT_EQ(probe({"string:Lang"}, tempest), "ja\n");
}

} // namespace
