// CFPreferences on Linux: values and files, several writers, crashes, bad files and names.
#include "test_support.h"

#include <CoreFoundation/CoreFoundation.h>
#include <velmora/platform_testing.h>
#include <velmora/preferences_store.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace velmora_test;

struct Released {
    void operator()(void const* p) const { CFRelease(p); }
};
using Ref = std::unique_ptr<void const, Released>;

Ref Str(std::string const& s) {
    return Ref(CFStringCreateWithCString(nullptr, s.c_str(), kCFStringEncodingUTF8));
}
Ref Int(std::int64_t v) {
    return Ref(CFNumberCreate(nullptr, kCFNumberSInt64Type, &v));
}
std::string Utf8(CFTypeRef s) {
    char buf[4096] = {};
    return s && CFStringGetCString(CFStringRef(s), buf, 4096, kCFStringEncodingUTF8) ? buf : "";
}

// One domain in one scope: the current user's any-host one unless told otherwise.
struct Domain {
    CFStringRef name, user = kCFPreferencesCurrentUser, host = kCFPreferencesAnyHost;

    void Set(CFStringRef key, CFTypeRef value) const {
        CFPreferencesSetValue(key, value, name, user, host);
    }
    Ref Copy(CFStringRef key) const { return Ref(CFPreferencesCopyValue(key, name, user, host)); }
    bool Sync() const { return CFPreferencesSynchronize(name, user, host); }
    std::string File() const {
        return Utf8(Ref(VelmoraPreferencesCopyFilePath(name, user, host)).get());
    }
    Ref Keys() const { return Ref(CFPreferencesCopyKeyList(name, user, host)); }
};

// The file as libplist's plistutil shows it, on one line from the root on ("" when it does not
// parse).
std::string Xml(std::string const& path) {
    std::string xml;
    for (char c : Run({"/usr/bin/plistutil", "-f", "xml", "-i", path}).out)
        xml += c == '\n' || c == '\t' ? "" : std::string(1, c);
    std::size_t const at = xml.find("<plist version=\"1.0\">");
    return at == std::string::npos ? "" : xml.substr(at + 21, xml.size() - at - 29);
}

// Every path below root with its kind and, for files, content: a tree to compare. Lock
// files, which a refused writer may leave, are left out unless withLocks.
std::map<std::string, std::string> Snapshot(std::string const& root, bool withLocks = false) {
    std::map<std::string, std::string> tree;
    for (auto const& entry : fs::recursive_directory_iterator(root))
        if (withLocks || entry.path().extension() != ".lock")
            tree[entry.path()] = entry.is_symlink()     ? "link " + fs::read_symlink(entry).string()
                                 : entry.is_directory() ? "folder"
                                 : entry.is_regular_file() ? "file " + ReadFile(entry.path())
                                                           : "special";
    return tree;
}

// Runs body in a forked copy of this process, as user uid with the groups gids (the first one
// primary) when uid is not 0 and this process is root (so that permission bits bind it); the
// result is body's value, 120 when the switch failed, or -1 when the child did not exit.
int InChild(uid_t uid, std::vector<gid_t> const& gids, std::function<int()> const& body) {
    pid_t const pid = ::fork();
    if (pid == 0) {
        if (uid != 0 && ::geteuid() == 0 &&
            (::setgroups(gids.size(), gids.data()) != 0 || ::setgid(gids.at(0)) != 0 ||
             ::setuid(uid) != 0))
            ::_exit(120);
        VelmoraResetPreferencesForTesting();
        ::_exit(body());
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int InChild(bool asNobody, std::function<int()> const& body) {
    passwd const* nobody = ::getpwnam("nobody");
    if (!asNobody || nobody == nullptr)
        return asNobody ? 120 : InChild(0, {}, body);
    return InChild(nobody->pw_uid, {nobody->pw_gid}, body);
}

class Preferences : public ::testing::Test {
protected:
    void SetUp() override {
        ::setenv("VELMORA_PREFS_ROOT", (m_dir / "root").c_str(), 1);
        VelmoraResetPreferencesForTesting();
    }

    TempDir m_dir;
};

TEST_F(Preferences, ChangesWaitForSynchronizeThenMergeKeyByKeyIntoTheFile) {
    Domain const d{CFSTR("com.velmora.values")};
    std::int32_t const minusOne = -1;
    double const tenth = 0.1;
    UInt8 const bytes[] = {0x00, 0x01, 0xFF};
    std::pair<CFStringRef, Ref> const rows[] = {
        {CFSTR("text"), Str("Grüße ✓ \"quoted\"")},
        {CFSTR("empty text"), Str("")},
        {CFSTR("int32 -1"), Ref(CFNumberCreate(nullptr, kCFNumberSInt32Type, &minusOne))},
        {CFSTR("int64"), Int(std::int64_t(1) << 40)},
        {CFSTR("real"), Ref(CFNumberCreate(nullptr, kCFNumberFloat64Type, &tenth))},
        {CFSTR("data"), Ref(CFDataCreate(nullptr, bytes, sizeof bytes))},
        {CFSTR("empty data"), Ref(CFDataCreate(nullptr, bytes, 0))},
    };
    for (auto const& [key, value] : rows)
        d.Set(key, value.get());
    EXPECT_TRUE(CFEqual(d.Copy(CFSTR("text")).get(), rows[0].second.get()));
    EXPECT_FALSE(fs::exists(d.File()));

    // Another process's keys written meanwhile survive, those of other kinds untouched; our
    // removal of one of them holds.
    fs::create_directories(fs::path(d.File()).parent_path());
    WriteFile(d.File(), "<plist><dict><key>b</key><string>2</string><key>d</key><date>2020-01-"
                        "02T03:04:05Z</date><key>n</key><integer>-1</integer><key>e</key><array>"
                        "<integer>5</integer></array></dict></plist>");
    d.Set(CFSTR("b"), nullptr);
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
        EXPECT_TRUE(CFEqual(d.Copy(key).get(), value.get())) << Utf8(key);
}

TEST_F(Preferences, ConcurrentProcessesAndThreadsLoseNoKey) {
    Domain const d{CFSTR("com.velmora.busy")};
    int const processes = 3, rounds = 150, threads = 3, threadRounds = 30;
    std::vector<std::thread> workers;
    for (int p = 0; p < processes; ++p)
        workers.emplace_back([p] {
            auto const r =
                velmora_test::Run({VELMORA_PREFS_HELPER, "loop", "com.velmora.busy",
                                   "p" + std::to_string(p) + ".", std::to_string(rounds)});
            EXPECT_EQ(r.exitCode, 0) << r.err;
        });
    for (int t = 0; t < threads; ++t)
        workers.emplace_back([t, d] {
            for (int n = 0; n < threadRounds; ++n) {
                d.Set(CFStringRef(Str("t" + std::to_string(t * 100 + n)).get()), Int(n).get());
                EXPECT_TRUE(d.Sync());
            }
        });
    for (auto& w : workers)
        w.join();

    VelmoraResetPreferencesForTesting();
    EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(d.Keys().get())),
              processes * rounds + threads * threadRounds);
    EXPECT_TRUE(CFEqual(d.Copy(CFSTR("p2.149")).get(), Int(149).get()));
}

TEST_F(Preferences, AKilledWriterLeavesAWholeFileWithEveryConfirmedKey) {
    std::string const path = Domain{CFSTR("com.velmora.crash")}.File();
    std::vector<std::string> confirmed;
    for (int round = 0; round < 20; ++round) {
        std::string const prefix = "r" + std::to_string(round) + ".";
        // The shell prints its pid, which the writer keeps (an emulator, in a cross build, runs
        // in that same process), and the writer each confirmed key.
        std::string const writer = "echo $$; exec $VELMORA_TEST_EMULATOR " VELMORA_PREFS_HELPER
                                   " loop com.velmora.crash " +
                                   prefix + " 0";
        FILE* const acks = ::popen(writer.c_str(), "r");
        long pid = 0, n = 0;
        ASSERT_EQ(std::fscanf(acks, "%ld %ld", &pid, &n), 2);
        // Kill at a different moment each round, once the writer is in its loop.
        ::usleep(static_cast<useconds_t>(1000 + (round * 7919) % 15000));
        ::kill(pid_t(pid), SIGKILL);
        for (confirmed.push_back(prefix + "0"); std::fscanf(acks, "%ld", &n) == 1;)
            confirmed.push_back(prefix + std::to_string(n));
        ::pclose(acks);

        std::string const xml = Xml(path);
        ASSERT_EQ(xml.substr(0, 6), "<dict>") << "round " << round;
        for (auto const& key : confirmed)
            ASSERT_NE(xml.find("<key>" + key + "</key>"), std::string::npos)
                << "round " << round << " lost " << key;
    }
}

std::string repeat(std::string const& text, int times) {
    std::string out;
    while (times-- > 0)
        out += text;
    return out;
}

std::string bigEndian(std::uint64_t v, int bytes) {
    std::string out;
    while (bytes-- > 0)
        out += char((v >> (8 * bytes)) & 0xFF);
    return out;
}
std::string ref(std::uint64_t object) {
    return bigEndian(object, 2);
}

// A binary property list of these objects, object 0 the root, with 2-byte references.
std::string binaryPlist(std::vector<std::string> const& objects) {
    std::string out = "bplist00", table;
    for (auto const& object : objects)
        table += bigEndian(out.size(), 4), out += object;
    return out + table + std::string(6, '\0') + "\x04\x02" + bigEndian(objects.size(), 8) +
           bigEndian(0, 8) + bigEndian(out.size(), 8);
}

// A dictionary {k: arrays nested depth deep, l: a reference past the last object}.
std::string deepThenOutOfRange(int depth) {
    std::vector<std::string> objects = {"\xD2" + ref(1) + ref(2) + ref(3) + ref(0xFFFF), "\x51k",
                                        "\x51l"};
    for (int i = 0; i < depth; ++i)
        objects.push_back("\xA1" + ref(objects.size() + 1));
    objects.push_back("\x09");
    return binaryPlist(objects);
}

TEST_F(Preferences, ABadFileIsSetAsideByteForByte) {
    Domain const d{CFSTR("com.velmora.bad")};
    std::string const path = d.File();
    d.Set(CFSTR("k"), CFSTR("v"));
    ASSERT_TRUE(d.Sync());
    std::string const good = ReadFile(path), xml = "<?xml version=\"1.0\"?><plist><dict><key>k"
                                                   "</key><string>v</string></dict></plist>";
    std::pair<char const*, std::string> const rows[] = {
        {"garbage", "\x01this is not a property list\xff"},
        {"truncated binary", good.substr(0, good.size() / 2)},
        {"truncated XML", xml.substr(0, xml.size() / 2)},
        {"array root", "<plist><array><string>k</string></array></plist>"},
        // Deeper than the store accepts, so a parser that recurses cannot be driven too far.
        {"nested 300 deep", "<plist><dict><key>k</key>" + repeat("<array>", 300) +
                                repeat("</array>", 300) + "</dict></plist>"},
        {"nested 300 deep behind comments", "<plist><dict><key>k</key>" +
                                                repeat("<array><!--</array>-->", 300) +
                                                repeat("</array>", 300) + "</dict></plist>"},
        {"binary nested 300 deep, then a reference out of range", deepThenOutOfRange(300)},
        {"binary cycle", binaryPlist({"\xD1" + ref(1) + ref(2), "\x51k", "\xA1" + ref(2)})},
        {"binary key that is a number",
         binaryPlist({"\xD1" + ref(1) + ref(2), "\x10\x05", "\x09"})},
        {"binary offset past the objects",
         good.substr(0, good.size() - 33) + "\x7F" + good.substr(good.size() - 32)},
        {"binary trailer counting 2^60 objects", good.substr(0, good.size() - 24) +
                                                     bigEndian(1ull << 60, 8) +
                                                     good.substr(good.size() - 16)},
    };
    for (auto const& [name, bytes] : rows) {
        fs::remove_all(fs::path(path).parent_path());
        fs::create_directories(fs::path(path).parent_path());
        WriteFile(path, bytes);
        VelmoraResetPreferencesForTesting();
        EXPECT_EQ(d.Copy(CFSTR("k")), nullptr) << name;
        d.Set(CFSTR("new"), CFSTR("1"));
        ASSERT_TRUE(d.Sync()) << name;
        std::vector<std::string> aside;
        for (auto const& entry : fs::directory_iterator(fs::path(path).parent_path()))
            if (entry.path().string().rfind(path + ".corrupt-", 0) == 0)
                aside.push_back(ReadFile(entry.path()));
        EXPECT_EQ(aside, std::vector<std::string>{bytes}) << name;
        EXPECT_TRUE(CFEqual(d.Copy(CFSTR("new")).get(), CFSTR("1"))) << name;
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
    fs::create_directories(fs::path(d.File()).parent_path());
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
            EXPECT_TRUE(CFEqual(domain.Copy(CFStringRef(Str(key).get())).get(), expected.get()))
                << key << " in " << Utf8(domain.name);
    EXPECT_TRUE(VelmoraPreferencesReplaceDomain(copies[0].name, d.user, d.host, nullptr));
    EXPECT_FALSE(fs::exists(copies[0].File()));
}

// Files the store reads but libplist does not: what it can map reads as usual, the rest is
// written back unchanged, and shared objects stay shared instead of being copied out.
TEST_F(Preferences, HostileButWellFormedFilesAreKeptAsTheyAre) {
    Domain const d{CFSTR("com.velmora.odd")};
    std::string const path = d.File();
    std::string shared = "\xA8" + repeat(ref(4), 8); // 8^40 values once expanded
    std::vector<std::string> exponential = {"\xD2" + ref(1) + ref(2) + ref(3) + ref(4), "\x51k",
                                            "\x51l", "\x51v"};
    for (int level = 0; level < 40; ++level)
        exponential.push_back("\xA8" + repeat(ref(exponential.size() + 1), 8));
    exponential.push_back("\x09");
    struct Row {
        char const* name;
        std::string bytes;
        CFStringRef k;    // the value of "k"
        CFIndex keys;     // the keys listed once "new" is written
        std::string kept; // bytes the rewritten file still holds
    } const rows[] = {
        // {"\u00e9\0": "x", "k": "v"}: a key libplist 2.2 aborts on.
        {"key holding U+0000",
         binaryPlist({"\xD2" + ref(1) + ref(2) + ref(3) + ref(4),
                      std::string("\x62\x00\xE9\x00\x00", 5), "\x51k", "\x51x", "\x51v"}),
         CFSTR("v"), 2, std::string("\x62\x00\xE9\x00\x00", 5)},
        {"shared arrays", binaryPlist(exponential), CFSTR("v"), 3, ""},
    };
    for (auto const& row : rows) {
        fs::remove_all(fs::path(path).parent_path());
        fs::create_directories(fs::path(path).parent_path());
        WriteFile(path, row.bytes);
        VelmoraResetPreferencesForTesting();
        EXPECT_TRUE(CFEqual(d.Copy(CFSTR("k")).get(), row.k)) << row.name;
        d.Set(CFSTR("new"), CFSTR("1"));
        ASSERT_TRUE(d.Sync()) << row.name;
        std::string const written = ReadFile(path);
        EXPECT_LT(written.size(), row.bytes.size() + 64) << row.name;
        EXPECT_NE(written.find(row.kept), std::string::npos) << row.name;
        // Nothing set aside: the folder holds the file and its lock.
        fs::directory_iterator const folder(fs::path(path).parent_path());
        EXPECT_EQ(std::distance(folder, fs::directory_iterator()), 2) << row.name;
        VelmoraResetPreferencesForTesting();
        EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(d.Keys().get())), row.keys) << row.name;
    }
}

// What the store must refuse (a domain name breaking one of its rules, an unknown user or host)
// or can neither read nor replace safely: the synchronisation fails saying why, nothing in the
// tree changes (not even a lock file for a refused domain), and a refused domain reads and lists
// nothing while a valid one keeps its change pending.
TEST_F(Preferences, WhatIsRefusedOrUnsafeIsLeftAlone) {
    Domain const user{CFSTR("com.velmora.locked")}, all{user.name, kCFPreferencesAnyUser},
        byHost{user.name, kCFPreferencesAnyUser, kCFPreferencesCurrentHost};
    fs::path const file = user.File(), hostDir = fs::path(byHost.File()).parent_path(),
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
        {user, "locked.plist: not a regular file", [&] { ::mkfifo(file.c_str(), 0666); }},
        {user, "larger than 16 MiB", [&] { WriteFile(file, std::string((16 << 20) + 1, 0)); }},
        {user, "locked.plist: Permission denied",
         [&] { ::close(::open(file.c_str(), O_CREAT, 0)); }, true},
        {user, "is a symbolic link", [&] { fs::create_symlink(m_dir / "target", file); }},
        {byHost, "ByHost: not a folder", [&] { fs::create_symlink(m_dir / "elsewhere", hostDir); }},
        {all, "Permission denied", // a folder only readable, holding a file
         [&] { WriteFile(all.File(), "<plist><dict/></plist>"), ::chmod(sys.c_str(), 0555); },
         true},
    };
    WriteFile(m_dir / "target", "untouched");
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
            row.domain.Set(CFSTR("k"), CFSTR("v"));
            std::string const error =
                row.domain.Sync() ? "" : Utf8(Ref(VelmoraPreferencesCopyLastError()).get());
            Ref const value = row.domain.Copy(CFSTR("k"));
            return error.find(row.error) != std::string::npos &&
                   (refused ? !value && !row.domain.Keys()
                            : value && CFEqual(value.get(), CFSTR("v")));
        };
        EXPECT_EQ(InChild(row.asNobody, attempt), 1) << row.error;
        EXPECT_EQ(Snapshot(m_dir.Path(), refused), before) << row.error;
    }
    ::chmod(sys.c_str(), 0755);
}

TEST_F(Preferences, ModesDoNotDependOnTheUmask) {
    Ref const name = Str("0a_b-c.D" + std::string(142, 'b'));
    for (mode_t const mask : {mode_t(0), mode_t(077)})
        for (CFStringRef const user : {kCFPreferencesCurrentUser, kCFPreferencesAnyUser}) {
            fs::remove_all(m_dir / "root");
            VelmoraResetPreferencesForTesting();
            // A name at the limit with every kind of byte allowed.
            Domain const d{static_cast<CFStringRef>(name.get()), user, kCFPreferencesCurrentHost};
            mode_t const old = ::umask(mask);
            d.Set(CFSTR("k"), CFSTR("v"));
            bool const synced = d.Sync();
            ::umask(old);
            ASSERT_TRUE(synced);
            // The file and its lock file, the ByHost folder and the scope's folder.
            fs::path const file = d.File(), folder = file.parent_path();
            std::vector<unsigned> modes;
            for (fs::path const& p : {file, folder / ("." + file.filename().string() + ".lock"),
                                      folder, folder.parent_path()})
                modes.push_back(unsigned(fs::symlink_status(p).permissions()));
            EXPECT_EQ(modes, (user == kCFPreferencesAnyUser
                                  ? std::vector<unsigned>{0644, 0600, 0755, 0755}
                                  : std::vector<unsigned>{0600, 0600, 0700, 0700}))
                << "umask " << mask << " " << Utf8(user);
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
    auto const write = [&](std::string const& key) {
        return [&d, key] {
            d.Set(CFStringRef(Str(key).get()), CFSTR("v"));
            return d.Sync() ? 0 : 2;
        };
    };
    EXPECT_EQ(InChild(4243, {4243, admins}, write("first")), 0);
    EXPECT_EQ(InChild(4244, {4244, admins}, write("second")), 0);
    EXPECT_EQ(InChild(4245, {4245}, write("outsider")), 2);
    VelmoraResetPreferencesForTesting();
    EXPECT_TRUE(d.Copy(CFSTR("first")) && d.Copy(CFSTR("second")) && !d.Copy(CFSTR("outsider")));
    struct stat folder {
    }, data{}, lock{};
    ::stat(byHost.c_str(), &folder);
    ::stat(file.c_str(), &data);
    ::stat((byHost / ("." + file.filename().string() + ".lock")).c_str(), &lock);
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
    d.Set(CFSTR("Lang"), CFSTR("ja"));
    d.Sync();
    d.Copy(CFSTR("Lang"));
    EXPECT_EQ((Domain{CFSTR("bad/name"), d.user, d.host}.Keys()), nullptr);
    VelmoraSetPreferencesObserver(nullptr, nullptr);
    d.Sync();
    std::string const scope = " kCFPreferencesAnyUser kCFPreferencesCurrentHost\n";
    EXPECT_EQ(calls, "CFPreferencesSetValue Lang ja com.velmora.seen" + scope +
                         "CFPreferencesSynchronize   com.velmora.seen" + scope +
                         "CFPreferencesCopyValue Lang  com.velmora.seen" + scope +
                         "CFPreferencesCopyKeyList   bad/name" + scope);
}

} // namespace
