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
    static inline int result = 0;
    static inline std::pair<int, gid_t> asked; // slots and base group of the last question
    static inline std::vector<char const*> names;
    static inline group record;

    static void answer(int r, std::vector<char const*> n) {
        result = r, names = n, asked = {0, 99};
    }

    static int list(char const*, gid_t base, gid_t* groups, int* count) {
        asked = {*count, base};
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

// Stores value (released here) in one domain for the current host, bypassing ConfigFile.
void put(bool allUsers, char const* key, CFTypeRef value) {
    velmora_test::Ref const domain = velmora_test::Str(kDomain), owned(value);
    velmora_test::Domain const d{CFStringRef(domain.get()),
                                 allUsers ? kCFPreferencesAnyUser : kCFPreferencesCurrentUser,
                                 kCFPreferencesCurrentHost};
    d.Set(key, value);
    EXPECT_TRUE(d.Sync());
}
auto const data = [](Bytes const& b) { return CFDataCreate(nullptr, b.data(), CFIndex(b.size())); };
auto const number = [](long long n) { return CFNumberCreate(nullptr, kCFNumberSInt64Type, &n); };

// Expects a ConfigFile in a new process to read each "KIND:KEY=VALUE" (see prefs_helper.cpp).
void expectReads(std::vector<std::string> const& reads) {
    std::vector<std::string> args = {VELMORA_PREFS_HELPER, "read", kDomain};
    std::string expected;
    for (auto const& read : reads) {
        args.push_back(read.substr(0, read.rfind('=')));
        expected += read.substr(read.rfind('=') + 1) + "\n";
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

// One test's preferences under a private root, with USER unset; USER comes back afterwards.
struct Sandbox {
    Sandbox() {
        setenv("VELMORA_PREFS_ROOT", root.Path().c_str(), 1);
        unsetenv("USER");
        VelmoraResetPreferencesForTesting();
    }
    ~Sandbox() {
        user ? setenv("USER", user->c_str(), 1) : unsetenv("USER");
        VelmoraResetPreferencesForTesting();
    }
    std::optional<std::string> const user =
        std::getenv("USER") ? std::optional<std::string>(std::getenv("USER")) : std::nullopt;
    velmora_test::TempDir root;
};

TEST(ConfigFile, EveryKindAndItsRulesThroughANewProcess) {
    Sandbox sandbox;
    put(false, "2^32", number(4294967296LL)); // not a 32-bit integer: skipped
    put(true, "2^32", number(3));
    put(true, "shadowed", data({7, 8}));
    put(false, "3 bytes", data({0x3F, 0, 0})); // a float of another length than four: skipped
    put(true, "3 bytes", data({0xBF, 0x80, 0, 0}));
    {
        ConfigFile user(kDomain); // USER unset: the current user's domain
        FakeGroups::answer(2, {"root", "admin"});
        setenv("USER", "ed", 1);
        ConfigFile admin(kDomain, kFakeGroups); // the all-users domain
        for (auto [store, where] : {std::pair{&user, " in user"},
                                    {&user, " in both"},
                                    {&admin, " in both"},
                                    {&admin, " in all"}}) {
            bool const u = store == &user;
            std::string const w = where;
            store->SetString(("string" + w).c_str(), u ? "caf\x8E" : "a");
            store->SetInt(("int" + w).c_str(), u ? -5 : 2);
            store->SetUInt(("uint" + w).c_str(), u ? 4000000000u : 2);
            store->SetBool(("bool" + w).c_str(), !u);
            store->SetFloat(("float" + w).c_str(), u ? -1.25f : 2);
            store->SetBinary(("binary" + w).c_str(), Bytes(2, 0xFE + u));
        }
        user.SetInt("minus one", -1);
        user.SetInt("two", 2);
        user.SetFloat("half", 0.5f);
        user.SetBinary("shadowed", {});
        expectReads({"string:string in user=(default)"}); // no write synchronises
    } // each destructor synchronises its own domain
    // Per kind: as read in the current user, in all users and in neither (the helper's default).
    std::string const kinds[][4] = {{"string", "caf\x8E", "a", "(default)"},
                                    {"int", "-5", "2", "7"},
                                    {"uint", "4000000000", "2", "7"},
                                    {"bool", "false", "true", "true"},
                                    {"float", "-1.25", "2", "7"},
                                    {"binary", "ff ff ", "fe fe ", ""}};
    std::vector<std::string> reads = {
        "uint:minus one=4294967295", "int:2^32=3",     "bool:two=true",
        "binary:half=3f 00 00 00 ",  "float:half=0.5", "float:3 bytes=-1",
        "binary:shadowed=07 08 "};
    for (auto const& [kind, inUser, inAll, none] : kinds)
        for (auto const& [where, value] :
             {std::pair{"user", inUser}, {"all", inAll}, {"both", inUser}, {"neither", none}})
            reads.push_back(kind + ":" + kind + " in " + where + "=" + value);
    expectReads(reads);
}

TEST(ConfigFile, ListingMergesBothDomainsAndRemovingActsOnTheWriteDomainOnly) {
    Sandbox sandbox;
    for (char const* key :
         {"Window", "Window/", "Window/Width", "Window/Pos/X", "WindowTitle", "a"})
        put(false, key, number(1));
    put(true, "Window/Width", number(640));
    put(true, "B", number(1));
    std::vector<String> names = {"stale"};
    {
        ConfigFile store(kDomain);
        store.SetBinary("empty", {}); // stored, though it reads as absent
        store.GetValueNames(names, "ignored");
        EXPECT_EQ(joined(names), "B;Window;Window/;Window/Pos/X;Window/Width;WindowTitle;a;empty;");
        store.RemoveKey("Window");
        store.GetKeyNames(names);
        EXPECT_EQ(joined(names), "WindowTitle;a;empty;");
        store.RemoveValue("a");
    }
    expectReads({"int:Window/Width=640", "int:a=7", "int:WindowTitle=1"});
}

TEST(ConfigFile, AdminIsMembershipOfAGroupNamedExactlyAdmin) {
    Sandbox sandbox;
    std::vector<char const*> full(511, "staff");
    full.back() = "admin";
    std::vector<char const*> overfull = full;
    overfull.push_back("staff");
    struct Row {
        char const *name, *user;
        int result; // of getgrouplist
        std::vector<char const*> groups;
        bool admin;
    } const rows[] = {
        {"USER unset", nullptr, 2, {"root", "admin"}, false},
        {"member of admin", "ed", 2, {"root", "admin"}, true},
        {"only look-alike names", "ed", 3, {"root", "administrators", "Admin"}, false},
        {"nameless and missing records skipped", "ed", 3, {nullptr, "-", "admin"}, true},
        {"groups do not fit", "ed", -1, {"root", "admin"}, false},
        {"511 groups", "ed", 511, full, true},
        {"512 groups", "ed", 512, overfull, false},
    };
    for (auto const& row : rows) {
        FakeGroups::answer(row.result, row.groups);
        row.user ? setenv("USER", row.user, 1) : unsetenv("USER");
        EXPECT_EQ(ConfigFile(kDomain, kFakeGroups).IsAdmin(), row.admin) << row.name;
        // getgrouplist is asked with 512 slots and base group 0, unless USER is unset.
        EXPECT_EQ(FakeGroups::asked, row.user ? std::pair(512, gid_t(0)) : std::pair(0, gid_t(99)))
            << row.name;
    }
}

// The system's group database, replaced by a file that only a child process sees.
TEST(ConfigFile, AdminFromTheSystemGroupDatabase) {
    Sandbox sandbox;
    std::string const group = sandbox.root / "group";
    velmora_test::WriteFile(group, "admin:x:4242:velmora-ed\n");
    auto const admin = [&]() -> std::string {
        // Private first, so the bind mount cannot reach the machine's own namespace.
        if ((unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) ||
            mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount(group.c_str(), "/etc/group", nullptr, MS_BIND, nullptr) != 0)
            return "skip: no private mount namespace here";
        setenv("USER", "velmora-ed", 1);
        return ConfigFile(kDomain).IsAdmin() ? "" : "velmora-ed is not in the group admin";
    };
    velmora_test::Outcome const outcome = velmora_test::Child(admin).Wait();
    if (!outcome.skip.empty())
        GTEST_SKIP() << outcome.skip;
    EXPECT_EQ(outcome.failure, "");
}

#ifdef VELMORA_INSTALL_HOST_TOOL
TEST(ConfigFile, ReadsTheLanguageTheInstallerWroteForAllUsers) {
    Sandbox sandbox;
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
