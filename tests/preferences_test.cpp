// CFPreferences on Linux: values and files, several writers, crashes, bad files and names.
#include "test_support.h"

#include <CoreFoundation/CoreFoundation.h>
#include <velmora/platform_testing.h>
#include <velmora/preferences_store.h>

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <fcntl.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <thread>

namespace {

namespace fs = std::filesystem;
using velmora_test::ReadFile;
using velmora_test::TempDir;
using velmora_test::WriteFile;

struct Released {
    void operator()(void const* p) const { CFRelease(p); }
};
using Ref = std::unique_ptr<void const, Released>;
using Plist = std::unique_ptr<void, decltype(&plist_free)>;

CFStringRef Str(std::string const& s) {
    return CFStringCreateWithCString(nullptr, s.c_str(), kCFStringEncodingUTF8);
}

Ref Int(std::int64_t v) {
    return Ref(CFNumberCreate(nullptr, kCFNumberSInt64Type, &v));
}

// The file parsed by libplist itself (null when it does not parse).
Plist ParsePlist(std::string const& path) {
    std::string const bytes = ReadFile(path);
    plist_t root = nullptr;
    if (!bytes.empty())
        plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
    return Plist(root, plist_free);
}

// Every path below root with its kind and, for files, content: a tree to compare. Lock
// files, which a refused writer may leave, are left out unless withLocks.
std::map<std::string, std::string> Snapshot(std::string const& root, bool withLocks = false) {
    std::map<std::string, std::string> tree;
    for (auto const& entry : fs::recursive_directory_iterator(root)) {
        std::string const path = entry.path().string();
        if (!withLocks && path.size() > 5 && path.compare(path.size() - 5, 5, ".lock") == 0)
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
std::string ChainedArrays(std::uint32_t levels, std::uint32_t fanout) {
    std::string out = "bplist00";
    std::vector<std::uint32_t> offsets;
    auto put = [&out](std::uint64_t v, int bytes) {
        while (bytes-- > 0)
            out += static_cast<char>(v >> (8 * bytes));
    };
    offsets.push_back(out.size()); // object 0: {object 1: object 2}
    out += '\xD1';
    put(1, 4);
    put(2, 4);
    offsets.push_back(out.size()); // object 1: "a"
    out += "\x51"
           "a";
    for (std::uint32_t i = 0; i < levels; ++i) {
        offsets.push_back(out.size());
        std::uint32_t const n = i + 1 < levels ? fanout : 0;
        out += static_cast<char>(0xA0 | n);
        for (std::uint32_t k = 0; k < n; ++k)
            put(3 + i, 4);
    }
    std::uint64_t const table = out.size();
    for (auto offset : offsets)
        put(offset, 4);
    out += std::string(6, '\0') + "\x04\x04";
    put(offsets.size(), 8);
    put(0, 8);
    put(table, 8);
    return out;
}

class Preferences : public ::testing::Test {
protected:
    void SetUp() override {
        ::setenv("VELMORA_PREFS_ROOT", (m_dir / "root").c_str(), 1);
        VelmoraResetPreferencesForTesting();
    }
    void TearDown() override { VelmoraResetPreferencesForTesting(); }

    std::string FileOf(CFStringRef domain, CFStringRef user = kCFPreferencesCurrentUser,
                       CFStringRef host = kCFPreferencesAnyHost) {
        Ref path(VelmoraPreferencesCopyFilePath(domain, user, host));
        char buffer[4096] = {};
        CFStringGetCString(static_cast<CFStringRef>(path.get()), buffer, sizeof buffer,
                           kCFStringEncodingUTF8);
        return buffer;
    }
    Ref Copy(std::string const& key, CFStringRef domain) {
        Ref name(Str(key));
        return Ref(CFPreferencesCopyValue(static_cast<CFStringRef>(name.get()), domain,
                                          kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    }
    void Set(CFStringRef key, CFTypeRef value, CFStringRef domain) {
        CFPreferencesSetValue(key, value, domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
    }
    bool Sync(CFStringRef domain) {
        return CFPreferencesSynchronize(domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
    }

    TempDir m_dir;
};

TEST_F(Preferences, ValuesSurviveTheFileAndANewCache) {
    std::int32_t const minusOne = -1;
    double const tenth = 0.1;
    UInt8 const bytes[] = {0x00, 0x01, 0xFF};
    struct Row {
        char const* name;
        Ref value;
    } rows[] = {
        {"text", Ref(Str("Grüße ✓ \"quoted\""))},
        {"empty text", Ref(Str(""))},
        {"int32 -1", Ref(CFNumberCreate(nullptr, kCFNumberSInt32Type, &minusOne))},
        {"int64", Int(std::int64_t(1) << 40)},
        {"real", Ref(CFNumberCreate(nullptr, kCFNumberFloat64Type, &tenth))},
        {"data", Ref(CFDataCreate(nullptr, bytes, sizeof bytes))},
        {"empty data", Ref(CFDataCreate(nullptr, bytes, 0))},
    };
    CFStringRef const domain = CFSTR("com.velmora.values");
    for (auto const& row : rows) {
        Ref key(Str(row.name));
        Set(static_cast<CFStringRef>(key.get()), row.value.get(), domain);
    }
    ASSERT_TRUE(Sync(domain));
    EXPECT_EQ(ReadFile(FileOf(domain)).substr(0, 8), "bplist00");

    VelmoraResetPreferencesForTesting();
    for (auto const& row : rows) {
        Ref back = Copy(row.name, domain);
        EXPECT_TRUE(CFEqual(back.get(), row.value.get())) << row.name;
    }
    std::int32_t v = 0;
    EXPECT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(Copy("int32 -1", domain).get()),
                                 kCFNumberSInt32Type, &v));
    EXPECT_EQ(v, -1);
    Plist file = ParsePlist(FileOf(domain));
    uint64_t raw = 0;
    plist_get_uint_val(plist_dict_get_item(file.get(), "int32 -1"), &raw);
    EXPECT_EQ(raw, ~uint64_t(0)) << "stored sign-extended";
}

TEST_F(Preferences, AFreshProcessReadsWhatAnotherSynchronised) {
#ifdef VELMORA_DEFAULTS_TOOL
    auto const written = velmora_test::Run(
        {VELMORA_DEFAULTS_TOOL, "write", "com.velmora.shared", "n", "-int", "-7"});
    ASSERT_EQ(written.exitCode, 0) << written.err;
    CFStringRef const domain = CFSTR("com.velmora.shared");
    EXPECT_EQ(ReadFile(FileOf(domain)).substr(0, 8), "bplist00");
    EXPECT_TRUE(CFEqual(Copy("n", domain).get(), Int(-7).get()));

    Set(CFSTR("s"), CFSTR("from the test"), domain);
    ASSERT_TRUE(Sync(domain));
    auto const read = velmora_test::Run({VELMORA_DEFAULTS_TOOL, "read", "com.velmora.shared"});
    EXPECT_EQ(read.out, "n = -7\ns = \"from the test\"\n") << read.err;
#else
    GTEST_SKIP() << "velmora-defaults is not built";
#endif
}

TEST_F(Preferences, ChangesWaitForSynchronizeAndMergeKeyByKey) {
    CFStringRef const domain = CFSTR("com.velmora.pending");
    Set(CFSTR("a"), CFSTR("1"), domain);
    EXPECT_TRUE(CFEqual(Copy("a", domain).get(), CFSTR("1")));
    EXPECT_FALSE(fs::exists(FileOf(domain)));

    // Another process's keys written meanwhile survive; our removal of one of them holds.
    fs::create_directories(fs::path(FileOf(domain)).parent_path());
    WriteFile(FileOf(domain), "<plist><dict><key>b</key><string>2</string>"
                              "<key>c</key><true/><key>d</key><date>2020-01-02T03:04:05Z</date>"
                              "<key>n</key><integer>-1</integer>"
                              "<key>e</key><array><integer>5</integer></array></dict></plist>");
    Set(CFSTR("b"), nullptr, domain);
    ASSERT_TRUE(Sync(domain));

    Ref keys(CFPreferencesCopyKeyList(domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    std::vector<std::string> names;
    for (CFIndex i = 0; i < CFArrayGetCount(static_cast<CFArrayRef>(keys.get())); ++i) {
        char name[16] = {};
        CFStringGetCString(static_cast<CFStringRef>(
                               CFArrayGetValueAtIndex(static_cast<CFArrayRef>(keys.get()), i)),
                           name, sizeof name, kCFStringEncodingUTF8);
        names.push_back(name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"a", "c", "d", "e", "n"}));
    EXPECT_TRUE(CFEqual(Copy("n", domain).get(), Int(-1).get()));
    EXPECT_TRUE(CFEqual(Copy("c", domain).get(), Int(1).get())) << "a boolean reads as 1";
    EXPECT_EQ(Copy("d", domain), nullptr);

    Plist file = ParsePlist(FileOf(domain));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(plist_dict_get_item(file.get(), "b"), nullptr);
    EXPECT_EQ(plist_get_node_type(plist_dict_get_item(file.get(), "c")), PLIST_BOOLEAN);
    int32_t seconds = 0, micros = 0;
    plist_get_date_val(plist_dict_get_item(file.get(), "d"), &seconds, &micros);
    EXPECT_EQ(seconds, 1577934245 - 978307200) << "the date is kept as it was";
    plist_t array = plist_dict_get_item(file.get(), "e");
    EXPECT_EQ(plist_array_get_size(array), 1u);
}

TEST_F(Preferences, ConcurrentProcessesAndThreadsLoseNoKey) {
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
        workers.emplace_back([this, t] {
            for (int n = 0; n < threadRounds; ++n) {
                Ref key(Str("t" + std::to_string(t) + "." + std::to_string(n)));
                Set(static_cast<CFStringRef>(key.get()), Int(n).get(), CFSTR("com.velmora.busy"));
                EXPECT_TRUE(Sync(CFSTR("com.velmora.busy")));
            }
        });
    for (auto& w : workers)
        w.join();

    VelmoraResetPreferencesForTesting();
    Ref keys(CFPreferencesCopyKeyList(CFSTR("com.velmora.busy"), kCFPreferencesCurrentUser,
                                      kCFPreferencesAnyHost));
    EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(keys.get())),
              processes * rounds + threads * threadRounds);
    EXPECT_TRUE(CFEqual(Copy("p2.149", CFSTR("com.velmora.busy")).get(), Int(149).get()));
}

TEST_F(Preferences, AKilledWriterLeavesAWholeFileWithEveryConfirmedKey) {
    std::string const path = FileOf(CFSTR("com.velmora.crash"));
    std::set<std::string> confirmed;
    for (int round = 0; round < 20; ++round) {
        int out[2];
        ASSERT_EQ(::pipe(out), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        std::string const prefix = "r" + std::to_string(round) + ".";
        char const* argv[] = {VELMORA_PREFS_HELPER, "loop", "com.velmora.crash",
                              prefix.c_str(),       "0",    nullptr};
        pid_t pid = 0;
        ASSERT_EQ(
            ::posix_spawn(&pid, argv[0], &actions, nullptr, const_cast<char**>(argv), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        ::close(out[1]);
        // Kill at a different moment each round, once the writer is in its loop.
        std::string acks;
        char buffer[4096];
        ssize_t n = ::read(out[0], buffer, sizeof buffer);
        acks.append(buffer, n > 0 ? static_cast<std::size_t>(n) : 0);
        ::usleep(static_cast<useconds_t>(1000 + (round * 7919) % 15000));
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
        while ((n = ::read(out[0], buffer, sizeof buffer)) > 0)
            acks.append(buffer, static_cast<std::size_t>(n));
        ::close(out[0]);
        for (std::size_t pos = 0, end; (end = acks.find('\n', pos)) != std::string::npos;
             pos = end + 1)
            confirmed.insert(prefix + acks.substr(pos, end - pos));

        Plist file = ParsePlist(path);
        ASSERT_NE(file, nullptr) << "round " << round;
        ASSERT_EQ(plist_get_node_type(file.get()), PLIST_DICT) << "round " << round;
        for (auto const& key : confirmed)
            ASSERT_NE(plist_dict_get_item(file.get(), key.c_str()), nullptr)
                << "round " << round << " lost " << key;
    }
    for (auto const& entry : fs::directory_iterator(fs::path(path).parent_path()))
        EXPECT_EQ(entry.path().string().find(".corrupt-"), std::string::npos) << entry.path();
}

TEST_F(Preferences, ABadFileIsSetAsideByteForByte) {
    CFStringRef const domain = CFSTR("com.velmora.bad");
    Set(CFSTR("k"), CFSTR("v"), domain);
    ASSERT_TRUE(Sync(domain));
    std::string const good = ReadFile(FileOf(domain));
    std::string const xml = "<?xml version=\"1.0\"?><plist><dict><key>k</key><string>v</string>"
                            "</dict></plist>";
    auto const repeat = [](std::string const& s, int n) {
        std::string out;
        while (n-- > 0)
            out += s;
        return out;
    };
    struct Row {
        char const* name;
        std::string bytes;
    } const rows[] = {
        {"garbage", "\x01this is not a property list\xff"},
        {"truncated binary", good.substr(0, good.size() / 2)},
        {"truncated XML", xml.substr(0, xml.size() / 2)},
        {"array root", "<plist><array><string>k</string></array></plist>"},
        {"empty file", ""},
        {"XML nested 300 deep", "<plist><dict><key>a</key>" + repeat("<array>", 300) +
                                    repeat("</array>", 300) + "</dict></plist>"},
        {"binary nested 300 deep", ChainedArrays(300, 1)},
        {"binary expanding to 2^40 values", ChainedArrays(40, 2)},
    };
    std::string const path = FileOf(domain);
    for (auto const& row : rows) {
        fs::remove_all(fs::path(path).parent_path());
        fs::create_directories(fs::path(path).parent_path());
        WriteFile(path, row.bytes);
        VelmoraResetPreferencesForTesting();
        EXPECT_EQ(Copy("k", domain), nullptr) << row.name;
        Set(CFSTR("new"), CFSTR("1"), domain);
        ASSERT_TRUE(Sync(domain)) << row.name;

        std::vector<std::string> aside;
        for (auto const& entry : fs::directory_iterator(fs::path(path).parent_path()))
            if (entry.path().string().rfind(path + ".corrupt-", 0) == 0)
                aside.push_back(ReadFile(entry.path()));
        EXPECT_EQ(aside, std::vector<std::string>{row.bytes}) << row.name;
        EXPECT_TRUE(CFEqual(Copy("new", domain).get(), CFSTR("1"))) << row.name;
    }
}

TEST_F(Preferences, AFileThatCannotBeReadIsNeverOverwritten) {
    CFStringRef const domain = CFSTR("com.velmora.locked");
    std::string const path = FileOf(domain);
    fs::create_directories(fs::path(path).parent_path());
    ASSERT_EQ(::chmod(m_dir.Path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod((m_dir / "root").c_str(), 0755), 0);
    ASSERT_EQ(::chmod(fs::path(path).parent_path().c_str(), 0777), 0);
    struct Row {
        char const* name;
        bool asNobody;
        std::function<void()> plant;
    } const rows[] = {
        {"a folder", false, [&] { fs::create_directory(path); }},
        {"a FIFO", false, [&] { ::mkfifo(path.c_str(), 0666); }},
        {"over 16 MiB", false, [&] { WriteFile(path, std::string(16 * 1024 * 1024 + 1, '\0')); }},
        {"no read permission", true,
         [&] {
             WriteFile(path, "secret");
             ::chmod(path.c_str(), 0);
         }},
    };
    for (auto const& row : rows) {
        fs::remove_all(path);
        // A lock file left by an earlier row's user would stop this row's writer early.
        fs::remove(fs::path(path).parent_path() /
                   ("." + fs::path(path).filename().string() + ".lock"));
        row.plant();
        auto const before = Snapshot(m_dir.Path());
        int const result = InChild(row.asNobody, [&] {
            Set(CFSTR("k"), CFSTR("v"), domain);
            if (Sync(domain))
                return 1;
            // Failed on the file itself (not on its lock), and the change is still pending.
            Ref error(VelmoraPreferencesCopyLastError());
            char text[4096] = {};
            CFStringGetCString(static_cast<CFStringRef>(error.get()), text, sizeof text,
                               kCFStringEncodingUTF8);
            if (std::string(text).find("/com.velmora.locked.plist:") == std::string::npos)
                return 2;
            return CFEqual(Copy("k", domain).get(), CFSTR("v")) ? 0 : 3;
        });
        if (result == kNoNobody) {
            std::printf("[ SKIPPED  ] %s: cannot switch to the user nobody\n", row.name);
            continue;
        }
        EXPECT_EQ(result, 0) << row.name;
        EXPECT_EQ(Snapshot(m_dir.Path()), before) << row.name;
    }
}

TEST_F(Preferences, AnUnwritableFolderFailsAndKeepsPendingChanges) {
    CFStringRef const domain = CFSTR("com.velmora.readonly");
    auto const set = [domain](CFStringRef value, CFStringRef host) {
        CFPreferencesSetValue(CFSTR("k"), value, domain, kCFPreferencesAnyUser, host);
        return CFPreferencesSynchronize(domain, kCFPreferencesAnyUser, host);
    };
    ASSERT_TRUE(set(CFSTR("old"), kCFPreferencesAnyHost));
    std::string const folder = fs::path(FileOf(domain, kCFPreferencesAnyUser)).parent_path();

    // A file standing where the current-host folder belongs.
    WriteFile(folder + "/ByHost", "x");
    EXPECT_FALSE(set(CFSTR("v"), kCFPreferencesCurrentHost));
    EXPECT_NE(Ref(VelmoraPreferencesCopyLastError()), nullptr);
    EXPECT_EQ(ReadFile(folder + "/ByHost"), "x");

    // A folder this user may read but not write: the file is read, the new one not written.
    ASSERT_EQ(::chmod(m_dir.Path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod((m_dir / "root").c_str(), 0755), 0);
    ASSERT_EQ(::chmod(folder.c_str(), ::geteuid() == 0 ? 0755 : 0555), 0);
    auto const before = Snapshot(m_dir.Path(), true);
    int const result = InChild(true, [&] {
        if (set(CFSTR("new"), kCFPreferencesAnyHost))
            return 1;
        Ref value(CFPreferencesCopyValue(CFSTR("k"), domain, kCFPreferencesAnyUser,
                                         kCFPreferencesAnyHost));
        return CFEqual(value.get(), CFSTR("new")) ? 0 : 2; // still pending
    });
    ::chmod(folder.c_str(), 0755);
    if (result == kNoNobody)
        GTEST_SKIP() << "cannot switch to the user nobody";
    EXPECT_EQ(result, 0);
    EXPECT_EQ(Snapshot(m_dir.Path(), true), before);
}

TEST_F(Preferences, RefusedNamesAndScopesTouchNothing) {
    WriteFile(m_dir / "evil.plist", "outside");
    struct Row {
        std::string domain;
        CFStringRef user;
        CFStringRef host;
        bool accepted;
    } const rows[] = {
        {"", kCFPreferencesCurrentUser, kCFPreferencesAnyHost, false},
        {std::string(151, 'a'), kCFPreferencesCurrentUser, kCFPreferencesAnyHost, false},
        {"../evil", kCFPreferencesCurrentUser, kCFPreferencesAnyHost, false},
        {"a/b", kCFPreferencesAnyUser, kCFPreferencesAnyHost, false},
        {".hidden", kCFPreferencesCurrentUser, kCFPreferencesCurrentHost, false},
        {"-dash", kCFPreferencesCurrentUser, kCFPreferencesAnyHost, false},
        {"with space", kCFPreferencesCurrentUser, kCFPreferencesAnyHost, false},
        {"caf\xc3\xa9", kCFPreferencesCurrentUser, kCFPreferencesAnyHost, false},
        {"com.ok", CFSTR("root"), kCFPreferencesAnyHost, false},
        {"com.ok", kCFPreferencesAnyUser, CFSTR("otherhost"), false},
        {"com.ok", kCFPreferencesCurrentHost, kCFPreferencesAnyHost, false},
        {std::string(150, 'b'), kCFPreferencesCurrentUser, kCFPreferencesCurrentHost, true},
        {"0a_b-c.D", kCFPreferencesAnyUser, kCFPreferencesAnyHost, true},
    };
    for (auto const& row : rows) {
        Ref domain(Str(row.domain));
        auto name = static_cast<CFStringRef>(domain.get());
        auto const before = Snapshot(m_dir.Path(), true);
        CFPreferencesSetValue(CFSTR("k"), CFSTR("v"), name, row.user, row.host);
        EXPECT_EQ(CFPreferencesSynchronize(name, row.user, row.host), row.accepted) << row.domain;
        Ref value(CFPreferencesCopyValue(CFSTR("k"), name, row.user, row.host));
        Ref keys(CFPreferencesCopyKeyList(name, row.user, row.host));
        EXPECT_EQ(value != nullptr, row.accepted) << row.domain;
        EXPECT_EQ(keys != nullptr, row.accepted) << row.domain;
        if (!row.accepted) {
            EXPECT_NE(Ref(VelmoraPreferencesCopyLastError()), nullptr) << row.domain;
            EXPECT_EQ(Snapshot(m_dir.Path(), true), before) << row.domain;
        }
    }
    EXPECT_EQ(ReadFile(m_dir / "evil.plist"), "outside");
}

TEST_F(Preferences, SymbolicLinksInTheStoreAreNotFollowed) {
    CFStringRef const domain = CFSTR("com.velmora.link");
    WriteFile(m_dir / "target", "untouched");
    fs::create_directory(m_dir / "elsewhere");
    std::string const file = FileOf(domain);
    std::string const byHost =
        fs::path(FileOf(domain, kCFPreferencesAnyUser, kCFPreferencesCurrentHost)).parent_path();
    struct Row {
        char const* name;
        std::string link;
        std::string target;
        CFStringRef user;
        CFStringRef host;
    } const rows[] = {
        {"file", file, m_dir / "target", kCFPreferencesCurrentUser, kCFPreferencesAnyHost},
        {"ByHost folder", byHost, m_dir / "elsewhere", kCFPreferencesAnyUser,
         kCFPreferencesCurrentHost},
    };
    for (auto const& row : rows) {
        fs::create_directories(fs::path(row.link).parent_path());
        fs::create_symlink(row.target, row.link);
        auto const before = Snapshot(m_dir.Path());
        EXPECT_EQ(Ref(CFPreferencesCopyValue(CFSTR("k"), domain, row.user, row.host)), nullptr);
        CFPreferencesSetValue(CFSTR("k"), CFSTR("v"), domain, row.user, row.host);
        EXPECT_FALSE(CFPreferencesSynchronize(domain, row.user, row.host)) << row.name;
        EXPECT_EQ(Snapshot(m_dir.Path()), before) << row.name;
    }
}

TEST_F(Preferences, ModesDoNotDependOnTheUmask) {
    for (mode_t const mask : {mode_t(0), mode_t(077)}) {
        for (bool const allUsers : {false, true}) {
            fs::remove_all(m_dir / "root");
            VelmoraResetPreferencesForTesting();
            mode_t const old = ::umask(mask);
            CFStringRef const user = allUsers ? kCFPreferencesAnyUser : kCFPreferencesCurrentUser;
            CFPreferencesSetValue(CFSTR("k"), CFSTR("v"), CFSTR("com.velmora.mode"), user,
                                  kCFPreferencesCurrentHost);
            bool const synced = CFPreferencesSynchronize(CFSTR("com.velmora.mode"), user,
                                                         kCFPreferencesCurrentHost);
            ::umask(old);
            ASSERT_TRUE(synced);
            fs::path const file =
                FileOf(CFSTR("com.velmora.mode"), user, kCFPreferencesCurrentHost);
            auto const modeOf = [](fs::path const& p) {
                struct stat st {};
                ::lstat(p.c_str(), &st);
                return st.st_mode & 07777;
            };
            std::string const row = "umask " + std::to_string(mask) + (allUsers ? " all" : " user");
            mode_t const folderMode = allUsers ? 0755 : 0700, fileMode = allUsers ? 0644 : 0600;
            EXPECT_EQ(modeOf(file), fileMode) << row;
            EXPECT_EQ(modeOf(file.parent_path() / ("." + file.filename().string() + ".lock")),
                      fileMode)
                << row;
            EXPECT_EQ(modeOf(file.parent_path()), folderMode) << row;
            EXPECT_EQ(modeOf(file.parent_path().parent_path()), folderMode) << row;
        }
    }
}

TEST_F(Preferences, TheObserverSeesEveryCallWithItsArguments) {
    std::vector<std::string> calls;
    VelmoraSetPreferencesObserver(
        [](void* context, char const* call, CFStringRef key, CFPropertyListRef value,
           CFStringRef app, CFStringRef user, CFStringRef host) {
            std::string line = call;
            line += key != nullptr && CFEqual(key, CFSTR("Lang")) ? " Lang" : "";
            line += value != nullptr && CFEqual(value, CFSTR("ja")) ? " ja" : "";
            line += CFEqual(app, CFSTR("com.velmora.seen")) ? " app" : " other";
            line += CFEqual(user, kCFPreferencesAnyUser) ? " any" : "";
            line += CFEqual(host, kCFPreferencesCurrentHost) ? " here" : "";
            static_cast<std::vector<std::string>*>(context)->push_back(line);
        },
        &calls);
    CFStringRef const app = CFSTR("com.velmora.seen");
    CFPreferencesSetValue(CFSTR("Lang"), CFSTR("ja"), app, kCFPreferencesAnyUser,
                          kCFPreferencesCurrentHost);
    CFPreferencesSynchronize(app, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
    Ref value(CFPreferencesCopyValue(CFSTR("Lang"), app, kCFPreferencesAnyUser,
                                     kCFPreferencesCurrentHost));
    Ref keys(CFPreferencesCopyKeyList(CFSTR("bad/name"), kCFPreferencesAnyUser,
                                      kCFPreferencesCurrentHost));
    VelmoraSetPreferencesObserver(nullptr, nullptr);
    CFPreferencesSynchronize(app, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
    EXPECT_EQ(calls, (std::vector<std::string>{
                         "CFPreferencesSetValue Lang ja app any here",
                         "CFPreferencesSynchronize app any here",
                         "CFPreferencesCopyValue Lang app any here",
                         "CFPreferencesCopyKeyList other any here",
                     }));
}

} // namespace
