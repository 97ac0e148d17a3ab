// Util::ConfigFile: the read order, the rules of each kind, listing and removing, and the admin
// test; values are read back by a second process, so the files are what is tested.
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
#include <optional>
#include <string>
#include <vector>

using Util::ConfigFile;

namespace {

char const kDomain[] = "com.velmora.tests.ConfigFile";
using Bytes = std::vector<unsigned char>;

// A controlled group database: getgrouplist answers result and one group per name (gid 100
// and up), where a null name stands for a record without a name and "-" for no record.
struct FakeGroups {
    static inline int result = 0, askedCount = 0;
    static inline gid_t askedBase = 99;
    static inline std::vector<char const*> names;
    static inline group record;

    static int list(char const*, gid_t base, gid_t* groups, int* count) {
        askedBase = base;
        askedCount = *count;
        for (int i = 0; i < static_cast<int>(names.size()) && i < *count; ++i)
            groups[i] = static_cast<gid_t>(100 + i);
        *count = static_cast<int>(names.size());
        return result;
    }
    static group* get(gid_t gid) {
        record = {const_cast<char*>(names.at(gid - 100)), nullptr, gid, nullptr};
        return record.gr_name != nullptr && record.gr_name == std::string("-") ? nullptr : &record;
    }
};
ConfigFile::GroupDatabase const kFakeGroups = {FakeGroups::list, FakeGroups::get};

enum Scope { USER, ALL };

// Stores value in one domain (current host, as ConfigFile does) and writes it out, bypassing
// ConfigFile.
void putRaw(Scope scope, char const* key, CFTypeRef value) {
    CFStringRef d = CFStringCreateWithCString(nullptr, kDomain, kCFStringEncodingUTF8);
    CFStringRef k = CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8);
    CFStringRef const user = scope == USER ? kCFPreferencesCurrentUser : kCFPreferencesAnyUser;
    CFPreferencesSetValue(k, value, d, user, kCFPreferencesCurrentHost);
    EXPECT_TRUE(CFPreferencesSynchronize(d, user, kCFPreferencesCurrentHost));
    for (CFTypeRef r : {CFTypeRef(d), CFTypeRef(k), value})
        CFRelease(r);
}
void putData(Scope scope, char const* key, Bytes const& b) {
    putRaw(scope, key, CFDataCreate(nullptr, b.data(), CFIndex(b.size())));
}
void putNumber(Scope scope, char const* key, long long n) {
    putRaw(scope, key, CFNumberCreate(nullptr, kCFNumberSInt64Type, &n));
}

// Expects a ConfigFile in a new process to read each KIND:KEY as the value beside it (see
// prefs_helper.cpp).
void expectReads(std::vector<std::pair<std::string, std::string>> const& reads) {
    std::vector<std::string> args = {VELMORA_PREFS_HELPER, "read", kDomain};
    std::string expected;
    for (auto const& [kindKey, value] : reads) {
        args.push_back(kindKey);
        expected += value + "\n";
    }
    auto const r = velmora_test::Run(args);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, expected);
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
        setenv("VELMORA_PREFS_ROOT", m_root.Path().c_str(), 1);
        unsetenv("USER");
        VelmoraResetPreferencesForTesting();
    }
    void TearDown() override {
        m_user ? setenv("USER", m_user->c_str(), 1) : unsetenv("USER");
        VelmoraResetPreferencesForTesting();
    }
    velmora_test::TempDir m_root;
    std::optional<std::string> const m_user =
        std::getenv("USER") ? std::optional<std::string>(std::getenv("USER")) : std::nullopt;
};

// Written by a user's store and an admin's, read back in the current user, then all users,
// then default order by a new process.
TEST_F(ConfigFileTest, EveryKindAndItsRulesThroughANewProcess) {
    struct Kind {
        char const* name;
        void (*set)(ConfigFile&, String const&, bool user);
        std::string user, all, def; // as the helper prints them
    } const kinds[] = {
        {"string", [](auto& s, auto& k, bool u) { s.SetString(k, u ? "caf\x8E" : "a"); }, "caf\x8E",
         "a", "(default)"},
        {"int", [](auto& s, auto& k, bool u) { s.SetInt(k, u ? -5 : 2); }, "-5", "2", "7"},
        {"uint", [](auto& s, auto& k, bool u) { s.SetUInt(k, u ? 4000000000u : 2); }, "4000000000",
         "2", "7"},
        {"bool", [](auto& s, auto& k, bool u) { s.SetBool(k, !u); }, "false", "true", "true"},
        {"float", [](auto& s, auto& k, bool u) { s.SetFloat(k, u ? -1.25f : 2); }, "-1.25", "2",
         "7"},
        {"binary", [](auto& s, auto& k, bool u) { s.SetBinary(k, Bytes(2, 0xFE + u)); }, "ff ff ",
         "fe fe ", ""},
    };
    std::vector<std::pair<std::string, std::string>> reads;
    {
        ConfigFile user(kDomain); // USER unset: the current user's domain
        FakeGroups::result = 2;
        FakeGroups::names = {"root", "admin"};
        setenv("USER", "ed", 1);
        ConfigFile admin(kDomain, kFakeGroups); // the all-users domain
        ASSERT_TRUE(admin.IsAdmin());
        for (auto const& kind : kinds) {
            std::string const k = kind.name;
            kind.set(user, (k + " in user").c_str(), true);
            kind.set(user, (k + " in both").c_str(), true);
            kind.set(admin, (k + " in both").c_str(), false);
            kind.set(admin, (k + " in all").c_str(), false);
            reads.insert(reads.end(), {{k + ":" + k + " in user", kind.user},
                                       {k + ":" + k + " in all", kind.all},
                                       {k + ":" + k + " in both", kind.user},
                                       {k + ":" + k + " in neither", kind.def}});
        }
        // The rules of each kind.
        user.SetInt("minus one", -1);
        user.SetUInt("max", 4294967295u);
        user.SetInt("two", 2);
        user.SetInt("zero", 0);
        user.SetFloat("half", 0.5f);
        user.SetBinary("shadowed", {});
        user.SetBinary("alone", {});
        EXPECT_FALSE(user.GetBool("absent", false));
        expectReads({{"string:string in user", "(default)"}}); // no write synchronises
    } // each destructor synchronises its own domain
    expectReads(reads);
    putNumber(USER, "2^32", 4294967296LL); // not a 32-bit integer: skipped
    putNumber(ALL, "2^32", 3);
    putData(ALL, "shadowed", {7, 8});
    // Floats: data of another length than four is skipped.
    putData(USER, "3 bytes", {0x3F, 0, 0});
    putData(ALL, "3 bytes", {0xBF, 0x80, 0, 0});
    putData(USER, "8 bytes", {0x3F, 0, 0, 0, 0, 0, 0, 0});
    expectReads({{"uint:minus one", "4294967295"},
                 {"int:max", "-1"},
                 {"int:2^32", "3"},
                 {"bool:two", "true"},
                 {"bool:zero", "false"},
                 {"binary:half", "3f 00 00 00 "},
                 {"float:half", "0.5"},
                 {"float:3 bytes", "-1"},
                 {"float:8 bytes", "7"},
                 {"binary:shadowed", "07 08 "},
                 {"binary:alone", ""}});
    // The empty data is stored, though it reads as absent.
    std::vector<String> names;
    VelmoraResetPreferencesForTesting();
    ConfigFile(kDomain).GetKeyNames(names);
    EXPECT_NE(joined(names).find(";alone;"), std::string::npos) << joined(names);
}

TEST_F(ConfigFileTest, ListingMergesBothDomainsAndRemovingActsOnTheWriteDomainOnly) {
    for (char const* key :
         {"Window", "Window/", "Window/Width", "Window/Pos/X", "WindowTitle", "a"})
        putNumber(USER, key, 1);
    putNumber(ALL, "Window/Width", 640);
    putNumber(ALL, "B", 1);
    std::vector<String> names = {"stale"};
    {
        ConfigFile store(kDomain);
        store.GetValueNames(names, "ignored");
        EXPECT_EQ(joined(names), "B;Window;Window/;Window/Pos/X;Window/Width;WindowTitle;a;");
        store.RemoveKey("Window");
        store.GetKeyNames(names);
        EXPECT_EQ(joined(names), "WindowTitle;a;");
        store.RemoveValue("a");
        store.RemoveValue("never stored");
    }
    expectReads({{"int:Window/Width", "640"}, {"int:a", "7"}, {"int:WindowTitle", "1"}});
    ConfigFile store(kDomain);
    store.RemoveKey("");
    store.GetKeyNames(names);
    EXPECT_TRUE(names.empty());
    store.GetValueNames(names, "");
    EXPECT_EQ(joined(names), "B;Window/Width;");
    ConfigFile("com.velmora.tests.Empty").GetValueNames(names, "");
    EXPECT_TRUE(names.empty());
}

TEST_F(ConfigFileTest, AdminIsMembershipOfAGroupNamedExactlyAdmin) {
    std::vector<char const*> full(511, "staff");
    full.back() = "admin";
    std::vector<char const*> overfull = full;
    overfull.push_back("staff");
    struct Row {
        char const* name;
        char const* user;
        int result; // of getgrouplist
        std::vector<char const*> groups;
        bool admin;
    } const rows[] = {
        {"USER unset", nullptr, 2, {"root", "admin"}, false},
        {"member of admin", "ed", 2, {"root", "admin"}, true},
        {"only look-alike names", "ed", 3, {"root", "administrators", "Admin"}, false},
        {"nameless and missing records skipped", "ed", 3, {nullptr, "-", "admin"}, true},
        {"groups do not fit", "ed", -1, {"root", "admin"}, false},
        {"no groups", "ed", 0, {}, false},
        {"511 groups", "ed", 511, full, true},
        {"512 groups", "ed", 512, overfull, false},
    };
    for (auto const& row : rows) {
        FakeGroups::result = row.result;
        FakeGroups::names = row.groups;
        FakeGroups::askedCount = 0;
        FakeGroups::askedBase = 99;
        row.user ? setenv("USER", row.user, 1) : unsetenv("USER");
        EXPECT_EQ(ConfigFile(kDomain, kFakeGroups).IsAdmin(), row.admin) << row.name;
        // getgrouplist is asked with 512 slots and base group 0, unless USER is unset.
        EXPECT_EQ(std::pair(FakeGroups::askedCount, FakeGroups::askedBase),
                  row.user ? std::pair(512, gid_t(0)) : std::pair(0, gid_t(99)))
            << row.name;
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

#ifdef VELMORA_INSTALL_HOST_TOOL
TEST_F(ConfigFileTest, ReadsTheLanguageTheInstallerWroteForAllUsers) {
    auto const r = velmora_test::Run({VELMORA_INSTALL_HOST_TOOL, "--product", "Tempest",
                                      "--language", "ja", "--module", VELMORA_INSTALLER_MODULE},
                                     {"VELMORA_ALERTS=none"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    VelmoraResetPreferencesForTesting();
    for (auto const& [domain, lang] : {std::pair{"com.velmora.audioplugins.Tempest.AU", "ja"},
                                       {"com.velmora.audioplugins.Tempest.VST", "en"}})
        EXPECT_STREQ(ConfigFile(domain).GetString("Lang", "en").Latin1(), lang) << domain;
}
#endif

} // namespace
