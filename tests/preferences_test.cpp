// CFPreferences on Linux: values and files, threads, bad files and names, modes and users. The
// torture tests (store_torture_test.cpp) take killed writers, crowds and large hostile files.
#include "test_support.h"

#include <CoreFoundation/CoreFoundation.h>
#include <velmora/platform_testing.h>
#include <velmora/preferences_store.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace velmora_test;
using Preferences = StoreTest;

TEST_F(Preferences, ChangesWaitForSynchronizeThenMergeKeyByKeyIntoTheFile) {
    Domain const d{CFSTR("com.velmora.values")};
    std::int32_t const minusOne = -1;
    double const tenth = 0.1;
    UInt8 const bytes[] = {0x00, 0x01, 0xFF};
    std::pair<char const*, Ref> const rows[] = {
        {"text", Str("Grüße ✓ \"quoted\"")},
        {"empty text", Str("")},
        {"int32 -1", Ref(CFNumberCreate(nullptr, kCFNumberSInt32Type, &minusOne))},
        {"int64", Int(std::int64_t(1) << 40)},
        {"real", Ref(CFNumberCreate(nullptr, kCFNumberFloat64Type, &tenth))},
        {"data", Ref(CFDataCreate(nullptr, bytes, sizeof bytes))},
        {"empty data", Ref(CFDataCreate(nullptr, bytes, 0))},
    };
    for (auto const& [key, value] : rows)
        d.Set(key, value.get());
    EXPECT_TRUE(d.Has("text", rows[0].second.get()));
    EXPECT_FALSE(fs::exists(d.File()));

    // Another process's keys written meanwhile survive, those of other kinds untouched; our
    // removal of one of them holds.
    fs::create_directories(d.File().parent_path());
    WriteFile(d.File(), "<plist><dict><key>b</key><string>2</string><key>d</key><date>2020-01-"
                        "02T03:04:05Z</date><key>n</key><integer>-1</integer><key>e</key><array>"
                        "<integer>5</integer></array></dict></plist>");
    d.Set("b", nullptr);
    ASSERT_TRUE(d.Sync());
    EXPECT_EQ(ReadFile(d.File()).substr(0, 8), "bplist00");
    EXPECT_EQ(Xml(d.File()),
              "<dict><key>d</key><date>2020-01-02T03:04:05Z</date><key>n</key><integer>-1</integer>"
              "<key>e</key><array><integer>5</integer></array><key>data</key><data>AAH/</data><key>"
              "empty data</key><data></data><key>empty text</key><string></string><key>int32 -1"
              "</key><integer>-1</integer><key>int64</key><integer>1099511627776</integer><key>"
              "real</key><real>0.10000000000000001</real><key>text</key><string>Grüße ✓ \"quoted\""
              "</string></dict>");

    VelmoraResetPreferencesForTesting();
    for (auto const& [key, value] : rows)
        EXPECT_TRUE(d.Has(key, value.get())) << key;
}

// Threads share this process's view of the store. The torture tests also race them against
// other processes and kill writers; this runs in every build, the sanitizers' included.
TEST_F(Preferences, ThreadsSynchronizingAtOnceLoseNoKey) {
    Domain const d{CFSTR("com.velmora.busy")};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t, d] {
            for (int n = 0; n < 25; ++n) {
                d.Set("t" + std::to_string(t) + "." + std::to_string(n), Int(n).get());
                EXPECT_TRUE(d.Sync()) << LastError();
            }
        });
    for (auto& t : threads)
        t.join();
    VelmoraResetPreferencesForTesting();
    EXPECT_EQ(d.Keys().size(), 100u);
    EXPECT_TRUE(d.Has("t3.24", Int(24).get()));
}

// A file that does not parse or breaks the reader's bounds is set aside byte for byte and the
// domain reads as empty; an odd but well-formed one is kept, what cannot be shown (text
// holding U+0000) staying in the file unlisted. The torture tests take the large hostile files.
TEST_F(Preferences, BadFilesAreSetAsideByteForByteAndOddOnesKept) {
    Domain const d{CFSTR("com.velmora.bad")};
    fs::path const path = d.File();
    d.Set("k", CFSTR("v"));
    ASSERT_TRUE(d.Sync());
    std::string const good = ReadFile(path), xml = "<?xml version=\"1.0\"?><plist><dict><key>k"
                                                   "</key><string>v</string></dict></plist>";
    std::string const nulKey("\x62\x00\xE9\x00\x00", 5), nulValue = Ascii(std::string("v\0", 2));
    Bplist const b;
    struct Row {
        char const* name;
        std::string bytes;
        std::vector<std::string> keys = {}; // listed, "new" aside
        char const* k = "";                 // the text "k" reads
        std::string kept = "";              // bytes the rewritten file holds; "": set aside
    } const rows[] = {
        {"garbage", "\x01this is not a property list\xff"},
        {"truncated binary", good.substr(0, good.size() / 2)},
        {"truncated XML", xml.substr(0, xml.size() / 2)},
        {"array root", "<plist><array><string>k</string></array></plist>"},
        // Deeper than the store accepts, so a parser that recurses cannot be driven too far.
        {"nested 300 deep", "<plist><dict><key>k</key>" + Repeat("<array>", 300) +
                                Repeat("</array>", 300) + "</dict></plist>"},
        {"binary cycle", b.KeyK({b.Array({2})})},
        {"binary key that is a number", b.File({b.Dict({1}, {2}), "\x10\x05", "\x09"})},
        {"binary offset past the objects",
         good.substr(0, good.size() - 33) + "\x7F" + good.substr(good.size() - 32)},
        {"binary trailer counting 2^60 objects", good.substr(0, good.size() - 24) +
                                                     BigEndian(1ull << 60, 8) +
                                                     good.substr(good.size() - 16)},
        // {"\u00e9\0": "x", "k": "v"}: a key libplist 2.2 aborts on.
        {"binary key holding U+0000",
         b.File({b.Dict({1, 2}, {3, 4}), nulKey, Ascii("k"), Ascii("x"), Ascii("v")}),
         {"k"},
         "v",
         nulKey},
        {"binary value holding U+0000", b.KeyK({nulValue}), {"k"}, "", nulValue},
    };
    for (auto const& row : rows) {
        fs::remove_all(path.parent_path());
        fs::create_directories(path.parent_path());
        WriteFile(path, row.bytes);
        VelmoraResetPreferencesForTesting();
        EXPECT_EQ(std::pair(d.Keys(), Utf8(d.Copy("k").get())),
                  std::pair(row.keys, std::string(row.k)))
            << row.name;
        d.Set("new", CFSTR("1"));
        ASSERT_TRUE(d.Sync()) << row.name;
        std::vector<std::string> aside;
        for (auto const& file : Entries(path.parent_path(), path.filename().string() + ".corrupt-"))
            aside.push_back(ReadFile(file));
        EXPECT_EQ(aside, row.kept.empty() ? std::vector{row.bytes} : std::vector<std::string>{})
            << row.name;
        EXPECT_NE(ReadFile(path).find(row.kept), std::string::npos) << row.name;
        VelmoraResetPreferencesForTesting();
        std::vector<std::string> keys = row.keys;
        keys.push_back("new");
        EXPECT_TRUE(d.Keys() == keys && d.Has("new", CFSTR("1"))) << row.name;
    }
}

// XML as other tools write it: every form of text, number and data the format allows.
TEST_F(Preferences, XmlOfEveryFormReadsAsItsValue) {
    Domain const d{CFSTR("com.velmora.xml")};
    UInt8 const bytes[] = {'a', 'b', 'c', 'd'};
    double const real = -2.5e-3;
    std::tuple<char const*, std::string, Ref> const rows[] = {
        {"entities", "<string>&lt;a&amp;b&gt; &quot;&apos; &#233;&#x1F600;</string>",
         Str("<a&b> \"' é😀")},
        {"cdata and comment", "<string>x<![CDATA[<&>]]><!-- c -->y</string>", Str("x<&>y")},
        {"empty", "<string/>", Str("")},
        {"hex", "<integer> 0x7f </integer>", Int(127)},
        {"signed", "<integer>-9223372036854775808</integer>", Int(INT64_MIN)},
        {"real", "<real>-2.5e-3</real>", Ref(CFNumberCreate(nullptr, kCFNumberFloat64Type, &real))},
        {"true", "<true/>", Int(1)},
        {"data", "<data>\n\tYWJj\n\tZA==\n</data>",
         Ref(CFDataCreate(nullptr, bytes, sizeof bytes))},
    };
    std::string xml =
        "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- made by hand -->"
        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"x.dtd\">"
        "<plist version='1.0' note=\"a>b\"><dict>";
    for (auto const& [key, value, expected] : rows)
        xml += std::string("<key>") + key + "</key>\n  " + value;
    fs::create_directories(d.File().parent_path());
    WriteFile(d.File(), xml + "</dict></plist>\n");
    // Exported as XML and binary and imported into another domain, every value stays the same;
    // an import of nothing removes the domain's file.
    Domain const copies[] = {{CFSTR("com.velmora.xml2")}, {CFSTR("com.velmora.bin")}};
    for (Domain const& copy : copies) {
        Ref const data(
            VelmoraPreferencesCopyDomainData(d.name, d.user, d.host, &copy == &copies[0]));
        ASSERT_TRUE(VelmoraPreferencesReplaceDomain(copy.name, copy.user, copy.host,
                                                    static_cast<CFDataRef>(data.get())));
    }
    for (Domain const& domain : {d, copies[0], copies[1]})
        for (auto const& [key, value, expected] : rows)
            EXPECT_TRUE(domain.Has(key, expected.get())) << key << " in " << Utf8(domain.name);
    EXPECT_TRUE(VelmoraPreferencesReplaceDomain(copies[0].name, d.user, d.host, nullptr));
    EXPECT_FALSE(fs::exists(copies[0].File()));
}

// What the store must refuse (a domain name breaking one of its rules, an unknown user or host)
// or can neither read nor replace safely: the synchronisation fails saying why, nothing in the
// tree changes (not even a lock file for a refused domain), and a refused domain reads and lists
// nothing while a valid one keeps its change pending. Links and FIFOs at the file's, lock's and
// temporary file's names are the torture tests'.
TEST_F(Preferences, WhatIsRefusedOrUnsafeIsLeftAlone) {
    Domain const user{CFSTR("com.velmora.locked")}, all{user.name, kCFPreferencesAnyUser},
        byHost{user.name, kCFPreferencesAnyUser, kCFPreferencesCurrentHost};
    fs::path const file = user.File(), hostDir = byHost.File().parent_path(),
                   sys = hostDir.parent_path();
    Ref const tooLong = Str(std::string(151, 'a'));
    struct Row {
        Domain domain;
        char const* error;                     // a part of the reason given
        std::function<void()> plant = nullptr; // none: refused outright
        bool asNobody = false;
    } const rows[] = {
        {{CFSTR("")}, "\"\" is not a valid domain name"},
        {{static_cast<CFStringRef>(tooLong.get())}, "is not a valid domain name"},
        {{CFSTR("a/b"), kCFPreferencesAnyUser}, "\"a/b\" is not a valid domain name"},
        {{CFSTR("../evil"), user.user, kCFPreferencesCurrentHost}, "\"../evil\" is not a valid"},
        {{user.name, CFSTR("root")}, "the user must be"},
        {{user.name, kCFPreferencesAnyUser, CFSTR("otherhost")}, "the host must be"},
        {user, "larger than 16 MiB", [&] { WriteFile(file, std::string((16 << 20) + 1, 0)); }},
        {user, "locked.plist: Permission denied",
         [&] { ::close(::open(file.c_str(), O_CREAT, 0)); }, true},
        {byHost, "ByHost: not a folder", [&] { fs::create_symlink(m_dir / "elsewhere", hostDir); }},
        {all, "Permission denied", // a folder only readable, holding a file
         [&] { WriteFile(all.File(), "<plist><dict/></plist>"), ::chmod(sys.c_str(), 0555); },
         true},
    };
    fs::create_directory(m_dir / "elsewhere");
    fs::permissions(m_dir.Path(), fs::perms(0755));
    for (auto const& row : rows) {
        fs::remove_all(m_dir / "root");
        for (fs::path const& folder : {file.parent_path(), sys})
            fs::create_directories(folder), fs::permissions(folder, fs::perms::all);
        bool const refused = !row.plant;
        if (!refused)
            row.plant();
        auto const before = Snapshot(m_dir.Path(), refused);
        auto const attempt = [&] {
            Domain const& d = row.domain;
            d.Set("k", CFSTR("v"));
            std::string const error = d.Sync() ? "" : LastError();
            return error.find(row.error) == std::string::npos ? "the reason was: " + error
                   : refused ? (d.Copy("k") || !d.Keys().empty() ? "it reads a value" : "")
                   : d.Has("k", CFSTR("v")) ? ""
                                            : "the pending change was lost";
        };
        EXPECT_EQ(Child(attempt, row.asNobody ? AsNobody() : Limits{}).Wait().failure, "")
            << row.error;
        EXPECT_EQ(Snapshot(m_dir.Path(), refused), before) << row.error;
    }
    ::chmod(sys.c_str(), 0755);
}

// Modes are set explicitly, so that only the owner can write (or, for a lock, open) a file.
TEST_F(Preferences, ModesDoNotDependOnTheUmask) {
    Ref const name = Str("0a_b-c.D" + std::string(142, 'b'));
    for (mode_t const mask : {mode_t(0), mode_t(077)})
        for (CFStringRef const user : {kCFPreferencesCurrentUser, kCFPreferencesAnyUser}) {
            fs::remove_all(m_dir / "root");
            VelmoraResetPreferencesForTesting();
            // A name at the limit with every kind of byte allowed.
            Domain const d{static_cast<CFStringRef>(name.get()), user, kCFPreferencesCurrentHost};
            mode_t const old = ::umask(mask);
            d.Set("k", CFSTR("v"));
            bool const synced = d.Sync();
            ::umask(old);
            ASSERT_TRUE(synced);
            // The file and its lock file, the ByHost folder and the scope's folder.
            fs::path const folder = d.File().parent_path();
            std::vector<unsigned> modes;
            for (fs::path const& p : {d.File(), d.Beside(".lock"), folder, folder.parent_path()})
                modes.push_back(unsigned(fs::symlink_status(p).permissions()));
            EXPECT_EQ(modes, (user == kCFPreferencesAnyUser
                                  ? std::vector<unsigned>{0644, 0600, 0755, 0755}
                                  : std::vector<unsigned>{0600, 0600, 0700, 0700}))
                << "umask " << mask << " " << Utf8(user);
            // A lock file that an older writer left open to all is tightened by the next one.
            fs::permissions(d.Beside(".lock"), fs::perms(0666));
            d.Set("k", CFSTR("w"));
            EXPECT_TRUE(d.Sync());
            EXPECT_EQ(unsigned(fs::status(d.Beside(".lock")).permissions()), 0600u) << Utf8(user);
        }
}

// The package makes the all-users folder setgid and writable by the administrators' group:
// every member can then write every domain, one after the other, and nobody else can.
TEST_F(Preferences, ASharedFolderLetsEveryMemberOfItsGroupWrite) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to play several users";
    gid_t const admins = 4242;
    Domain const d{CFSTR("com.velmora.shared"), kCFPreferencesAnyUser, kCFPreferencesCurrentHost};
    fs::path const file = d.File(), byHost = file.parent_path(), system = byHost.parent_path();
    fs::create_directories(system);
    fs::permissions(m_dir.Path(), fs::perms(0755));
    fs::permissions(m_dir / "root", fs::perms(0755));
    ASSERT_EQ(::chown(system.c_str(), 0, admins), 0);
    ASSERT_EQ(::chmod(system.c_str(), 02775), 0);
    auto const write = [&](std::string const& key, uid_t uid, std::vector<gid_t> const& groups) {
        auto const body = [&] {
            d.Set(key, CFSTR("v"));
            return d.Sync() ? "" : "not written: " + LastError();
        };
        return Child(body, {60, 0, uid, groups}).Wait().failure;
    };
    EXPECT_EQ(write("first", 4243, {4243, admins}), "");
    EXPECT_EQ(write("second", 4244, {4244, admins}), "");
    EXPECT_EQ(write("outsider", 4245, {4245}).rfind("not written: ", 0), 0u);
    VelmoraResetPreferencesForTesting();
    EXPECT_TRUE(d.Copy("first") && d.Copy("second") && !d.Copy("outsider"));
    struct stat folder {
    }, data{}, lock{};
    ::stat(byHost.c_str(), &folder);
    ::stat(file.c_str(), &data);
    ::stat(d.Beside(".lock").c_str(), &lock);
    EXPECT_EQ(std::tuple(folder.st_mode & 07777, folder.st_gid, data.st_mode & 07777, data.st_gid,
                         lock.st_mode & 07777),
              std::tuple(02775u, admins, 0664u, admins, 0660u));
}

TEST_F(Preferences, TheObserverSeesEveryCallWithItsArguments) {
    std::string calls;
    VelmoraSetPreferencesObserver(
        [](void* context, char const* call, CFStringRef key, CFPropertyListRef value,
           CFStringRef app, CFStringRef user, CFStringRef host) {
            *static_cast<std::string*>(context) += std::string(call) + " " + Utf8(key) + " " +
                                                   Utf8(value) + " " + Utf8(app) + " " +
                                                   Utf8(user) + " " + Utf8(host) + "\n";
        },
        &calls);
    Domain const d{CFSTR("com.velmora.seen"), kCFPreferencesAnyUser, kCFPreferencesCurrentHost};
    d.Set("Lang", CFSTR("ja"));
    d.Sync();
    d.Copy("Lang");
    EXPECT_EQ(CFPreferencesCopyKeyList(CFSTR("bad/name"), d.user, d.host), nullptr);
    VelmoraSetPreferencesObserver(nullptr, nullptr);
    d.Sync();
    std::string const scope = " kCFPreferencesAnyUser kCFPreferencesCurrentHost\n";
    EXPECT_EQ(calls, "CFPreferencesSetValue Lang ja com.velmora.seen" + scope +
                         "CFPreferencesSynchronize   com.velmora.seen" + scope +
                         "CFPreferencesCopyValue Lang  com.velmora.seen" + scope +
                         "CFPreferencesCopyKeyList   bad/name" + scope);
}

} // namespace
