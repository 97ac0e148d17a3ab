// CFPreferences on Linux: values and files, several writers, crashes, bad files and names.
#include "test_support.h"

#include <CoreFoundation/CoreFoundation.h>
#include <velmora/platform_testing.h>
#include <velmora/preferences_store.h>

#include <gtest/gtest.h>

#include <fcntl.h>
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
#include <tuple>

namespace {

namespace fs = std::filesystem;
using velmora_test::ReadFile;
using velmora_test::WriteFile;

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
std::string Utf8(CFTypeRef string) {
    char buffer[4096] = {};
    if (string != nullptr)
        CFStringGetCString(static_cast<CFStringRef>(string), buffer, sizeof buffer,
                           kCFStringEncodingUTF8);
    return buffer;
}

// One domain in one scope: the current user's any-host one unless told otherwise.
struct Domain {
    CFStringRef name;
    CFStringRef user = kCFPreferencesCurrentUser, host = kCFPreferencesAnyHost;

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
    for (char c : velmora_test::Run({"/usr/bin/plistutil", "-f", "xml", "-i", path}).out)
        xml += c == '\n' || c == '\t' ? "" : std::string(1, c);
    std::size_t const at = xml.find("<plist version=\"1.0\">");
    return at == std::string::npos ? "" : xml.substr(at + 21, xml.size() - at - 29);
}

// Every path below root with its kind and, for files, content: a tree to compare. Lock
// files, which a refused writer may leave, are left out unless withLocks.
std::map<std::string, std::string> Snapshot(std::string const& root, bool withLocks = false) {
    std::map<std::string, std::string> tree;
    for (auto const& entry : fs::recursive_directory_iterator(root)) {
        std::string const path = entry.path().string();
        if (!withLocks && entry.path().extension() == ".lock")
            continue;
        tree[path] = entry.is_symlink()        ? "link " + fs::read_symlink(entry.path()).string()
                     : entry.is_directory()    ? "folder"
                     : entry.is_regular_file() ? "file " + ReadFile(path)
                                               : "special";
    }
    return tree;
}

constexpr int kNoNobody = 120;

// Runs body in a forked copy of this process, as the user nobody when asked and this process
// is root (so that permission bits bind it); the result is body's value, kNoNobody when the
// switch failed, or -1 when the child did not exit.
int InChild(bool asNobody, std::function<int()> const& body) {
    pid_t const pid = ::fork();
    if (pid == 0) {
        passwd const* nobody = ::getpwnam("nobody");
        if (asNobody && ::geteuid() == 0 &&
            (nobody == nullptr || ::setgid(nobody->pw_gid) != 0 || ::setuid(nobody->pw_uid) != 0))
            ::_exit(kNoNobody);
        VelmoraResetPreferencesForTesting();
        ::_exit(body());
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A binary property list {"a": chain}, chain being levels arrays that each hold fanout
// references to the next: deep, or small but huge once its shared arrays are expanded.
std::string ChainedArrays(int levels, int fanout) {
    auto const two = [](std::size_t v) { return std::string{char(v >> 8), char(v)}; };
    std::string out = "bplist00\xD1" + two(1) + two(2) + "Qa", table = two(8) + two(13);
    for (int i = 0; i < levels; ++i) {
        table += two(out.size());
        out += char(0xA0 | (i + 1 < levels ? fanout : 0));
        for (int k = 0; i + 1 < levels && k < fanout; ++k)
            out += two(3 + i);
    }
    // Trailer: 2-byte offsets and references, the object count, object 0 on top, the table.
    return out + table + std::string(6, '\0') + "\2\2" + std::string(6, '\0') + two(levels + 2) +
           std::string(14, '\0') + two(out.size());
}

class Preferences : public ::testing::Test {
protected:
    void SetUp() override {
        ::setenv("VELMORA_PREFS_ROOT", (m_dir / "root").c_str(), 1);
        VelmoraResetPreferencesForTesting();
    }

    velmora_test::TempDir m_dir;
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
    WriteFile(d.File(), "<plist><dict><key>b</key><string>2</string><key>c</key><true/>"
                        "<key>d</key><date>2020-01-02T03:04:05Z</date>"
                        "<key>n</key><integer>-1</integer>"
                        "<key>e</key><array><integer>5</integer></array></dict></plist>");
    d.Set(CFSTR("b"), nullptr);
    ASSERT_TRUE(d.Sync());
    EXPECT_EQ(ReadFile(d.File()).substr(0, 8), "bplist00");
    EXPECT_EQ(Xml(d.File()),
              "<dict><key>c</key><true/><key>d</key><date>2020-01-02T03:04:05Z</date><key>n</key>"
              "<integer>-1</integer><key>e</key><array><integer>5</integer></array><key>data</key>"
              "<data>AAH/</data><key>empty data</key><data></data><key>empty text</key><string>"
              "</string><key>int32 -1</key><integer>-1</integer><key>int64</key><integer>"
              "1099511627776</integer><key>real</key><real>0.10000000000000001</real><key>text"
              "</key><string>Grüße ✓ \"quoted\"</string></dict>");

    VelmoraResetPreferencesForTesting();
    for (auto const& [key, value] : rows)
        EXPECT_TRUE(CFEqual(d.Copy(key).get(), value.get())) << Utf8(key);
#ifdef VELMORA_DEFAULTS_TOOL // a fresh process reads the same
    auto const read = velmora_test::Run({VELMORA_DEFAULTS_TOOL, "read", "com.velmora.values"});
    EXPECT_EQ(read.out, "c = 1\nd = (unsupported type)\ndata = <0001ff>\ne = (unsupported type)\n"
                        "\"empty data\" = <>\n\"empty text\" = \"\"\n\"int32 -1\" = -1\n"
                        "int64 = 1099511627776\nn = -1\nreal = 0.1\n"
                        "text = \"Grüße ✓ \\\"quoted\\\"\"\n")
        << read.err;
#endif
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
                Ref const key = Str("t" + std::to_string(t) + "." + std::to_string(n));
                d.Set(static_cast<CFStringRef>(key.get()), Int(n).get());
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
    std::string const path = Domain{CFSTR("com.velmora.crash")}.File(), acks = m_dir / "acks";
    std::vector<std::string> confirmed;
    for (int round = 0; round < 20; ++round) {
        std::string const prefix = "r" + std::to_string(round) + ".";
        WriteFile(acks, "");
        pid_t const pid = ::fork();
        if (pid == 0) {
            ::dup2(::open(acks.c_str(), O_WRONLY | O_APPEND), 1);
            ::execl(VELMORA_PREFS_HELPER, VELMORA_PREFS_HELPER, "loop", "com.velmora.crash",
                    prefix.c_str(), "0", nullptr);
            ::_exit(127);
        }
        // Kill at a different moment each round, once the writer is in its loop.
        for (int wait = 0; wait < 10000 && ReadFile(acks).empty(); ++wait)
            ::usleep(500);
        ::usleep(static_cast<useconds_t>(1000 + (round * 7919) % 15000));
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
        std::string const acked = ReadFile(acks);
        for (long n = 0; n < std::count(acked.begin(), acked.end(), '\n'); ++n)
            confirmed.push_back(prefix + std::to_string(n));

        std::string const xml = Xml(path);
        ASSERT_EQ(xml.substr(0, 6), "<dict>") << "round " << round;
        for (auto const& key : confirmed)
            ASSERT_NE(xml.find("<key>" + key + "</key>"), std::string::npos)
                << "round " << round << " lost " << key;
    }
    for (auto const& entry : fs::directory_iterator(fs::path(path).parent_path()))
        EXPECT_EQ(entry.path().string().find(".corrupt-"), std::string::npos) << entry.path();
}

TEST_F(Preferences, ABadFileIsSetAsideByteForByte) {
    Domain const d{CFSTR("com.velmora.bad")};
    std::string const path = d.File();
    d.Set(CFSTR("k"), CFSTR("v"));
    ASSERT_TRUE(d.Sync());
    std::string const good = ReadFile(path);
    std::string const xml = "<?xml version=\"1.0\"?><plist><dict><key>k</key><string>v</string>"
                            "</dict></plist>";
    std::string nest;
    for (int i = 0; i < 300; ++i)
        nest = "<array>" + nest + "</array>";
    std::pair<char const*, std::string> const rows[] = {
        {"garbage", "\x01this is not a property list\xff"},
        {"truncated binary", good.substr(0, good.size() / 2)},
        {"truncated XML", xml.substr(0, xml.size() / 2)},
        {"array root", "<plist><array><string>k</string></array></plist>"},
        {"empty file", ""},
        {"XML nested 300 deep", "<plist><dict><key>a</key>" + nest + "</dict></plist>"},
        {"binary nested 300 deep", ChainedArrays(300, 1)},
        {"binary expanding to 2^40 values", ChainedArrays(40, 2)},
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

// What the store can neither read nor replace safely: the synchronisation fails saying where,
// the change stays pending, and nothing in the tree changes.
TEST_F(Preferences, WhatCannotBeReadOrReplacedIsLeftAlone) {
    Domain const user{CFSTR("com.velmora.locked")}, all{user.name, kCFPreferencesAnyUser},
        byHost{user.name, kCFPreferencesAnyUser, kCFPreferencesCurrentHost};
    fs::path const file = user.File(), byHostFolder = fs::path(byHost.File()).parent_path();
    struct Row {
        char const* name;
        Domain const& domain;
        bool asNobody;
        std::function<void()> plant;
        char const* error; // a part of the reason given
    } const rows[] = {
        {"a folder", user, false, [&] { fs::create_directory(file); },
         "locked.plist: not a regular file"},
        {"a FIFO", user, false, [&] { ::mkfifo(file.c_str(), 0666); },
         "locked.plist: not a regular file"},
        {"over 16 MiB", user, false,
         [&] { WriteFile(file, std::string(16 * 1024 * 1024 + 1, '\0')); },
         "locked.plist: larger than 16 MiB"},
        {"no read permission", user, true,
         [&] { ::close(::open(file.c_str(), O_CREAT | O_WRONLY, 0)); },
         "locked.plist: Permission denied"},
        {"a link at the file's name", user, false,
         [&] { fs::create_symlink(m_dir / "target", file); }, "locked.plist: is a symbolic link"},
        {"a link at the ByHost folder", byHost, false,
         [&] { fs::create_symlink(m_dir / "elsewhere", byHostFolder); }, "ByHost: not a folder"},
        {"a file at the ByHost folder", byHost, false, [&] { WriteFile(byHostFolder, "x"); },
         "ByHost: not a folder"},
        {"a folder only readable", all, true,
         [&] {
             all.Set(CFSTR("k"), CFSTR("old"));
             all.Sync();
             fs::permissions(byHostFolder.parent_path(), fs::perms(0555));
         },
         "Permission denied"},
    };
    WriteFile(m_dir / "target", "untouched");
    fs::create_directory(m_dir / "elsewhere");
    fs::permissions(m_dir.Path(), fs::perms(0755));
    for (auto const& row : rows) {
        fs::remove_all(m_dir / "root");
        fs::create_directories(byHostFolder.parent_path());
        fs::create_directories(file.parent_path());
        fs::permissions(file.parent_path(), fs::perms::all);
        row.plant();
        auto const before = Snapshot(m_dir.Path());
        int const result = InChild(row.asNobody, [&] {
            row.domain.Set(CFSTR("k"), CFSTR("v"));
            if (row.domain.Sync())
                return 1;
            if (Utf8(Ref(VelmoraPreferencesCopyLastError()).get()).find(row.error) ==
                std::string::npos)
                return 2;
            return CFEqual(row.domain.Copy(CFSTR("k")).get(), CFSTR("v")) ? 0 : 3;
        });
        if (result == kNoNobody)
            std::printf("[ SKIPPED  ] %s: cannot switch to the user nobody\n", row.name);
        else
            EXPECT_EQ(result, 0) << row.name;
        EXPECT_EQ(Snapshot(m_dir.Path()), before) << row.name;
    }
    fs::permissions(byHostFolder.parent_path(), fs::perms(0755));
}

TEST_F(Preferences, RefusedNamesAndScopesTouchNothing) {
    WriteFile(m_dir / "evil.plist", "outside");
    CFStringRef const me = kCFPreferencesCurrentUser, all = kCFPreferencesAnyUser,
                      any = kCFPreferencesAnyHost, here = kCFPreferencesCurrentHost;
    std::tuple<std::string, CFStringRef, CFStringRef, bool> const rows[] = {
        {"", me, any, false},
        {std::string(151, 'a'), me, any, false},
        {"../evil", me, any, false},
        {"a/b", all, any, false},
        {".hidden", me, here, false},
        {"-dash", me, any, false},
        {"with space", me, any, false},
        {"caf\xc3\xa9", me, any, false},
        {"com.ok", CFSTR("root"), any, false},
        {"com.ok", all, CFSTR("otherhost"), false},
        {"com.ok", here, any, false},
        {std::string(150, 'b'), me, here, true},
        {"0a_b-c.D", all, any, true},
    };
    for (auto const& [domain, user, host, accepted] : rows) {
        Ref const name = Str(domain);
        Domain const d{static_cast<CFStringRef>(name.get()), user, host};
        auto const before = Snapshot(m_dir.Path(), true);
        d.Set(CFSTR("k"), CFSTR("v"));
        std::string done = d.Sync() ? "written " : "";
        done += d.Copy(CFSTR("k")) ? "read " : "";
        done += d.Keys() ? "listed " : "";
        done += Ref(VelmoraPreferencesCopyLastError()) ? "refused" : "";
        EXPECT_EQ(done, accepted ? "written read listed " : "refused") << domain;
        if (!accepted) {
            EXPECT_EQ(Snapshot(m_dir.Path(), true), before) << domain;
        }
    }
    EXPECT_EQ(ReadFile(m_dir / "evil.plist"), "outside");
}

TEST_F(Preferences, ModesDoNotDependOnTheUmask) {
    for (mode_t const mask : {mode_t(0), mode_t(077)})
        for (CFStringRef const user : {kCFPreferencesCurrentUser, kCFPreferencesAnyUser}) {
            fs::remove_all(m_dir / "root");
            VelmoraResetPreferencesForTesting();
            Domain const d{CFSTR("com.velmora.mode"), user, kCFPreferencesCurrentHost};
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
                                  ? std::vector<unsigned>{0644, 0644, 0755, 0755}
                                  : std::vector<unsigned>{0600, 0600, 0700, 0700}))
                << "umask " << mask << " " << Utf8(user);
        }
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
