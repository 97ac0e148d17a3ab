// The preference store under abuse: a thousand killed writers, crowds of writers and removers,
// full disks, planted links and FIFOs, a lock held too long, large hostile files and a huge
// domain. Slow, so these carry the ctest label "torture" and run through scripts/torture.
#include "test_support.h"

#include <CoreFoundation/CoreFoundation.h>
#include <velmora/platform_testing.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <pwd.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <future>
#include <set>
#include <sstream>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace velmora_test;
using StoreTorture = StoreTest;

#ifdef VELMORA_SANITIZED
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

TEST_F(StoreTorture, KilledWritersLeaveAWholeFileWithEveryAcknowledgedRound) {
    Domain const d{CFSTR("com.velmora.killed")};
    fs::path const file = d.File();
    int ours = -1; // the last round whose key this process wrote
    for (int round = 0; round < 1000; ++round) {
        std::string const prefix = "r" + std::to_string(round) + ".";
        int out[2];
        ASSERT_EQ(::pipe2(out, O_CLOEXEC), 0);
        pid_t const writer = ::fork();
        if (writer == 0) {
            ::dup2(out[1], 1);
            ::execl(VELMORA_PREFS_HELPER, VELMORA_PREFS_HELPER, "loop", "com.velmora.killed",
                    prefix.c_str(), "0", nullptr);
            ::_exit(127);
        }
        ::close(out[1]);
        // From before its first write to several rounds into its loop.
        ::usleep(useconds_t((round * 7919) % 12000));
        ::kill(writer, SIGKILL);
        ::waitpid(writer, nullptr, 0);
        std::string const acks = ReadAll(out[0]);
        ::close(out[0]);

        SCOPED_TRACE("round " + std::to_string(round) + ", acknowledged:\n" + acks);
        if (!fs::exists(file)) {
            ASSERT_EQ(acks, "");
            continue;
        }
        std::string const xml = Xml(file);
        ASSERT_EQ(xml.rfind("<dict>", 0), 0u) << "plistutil cannot read the file";
        VelmoraResetPreferencesForTesting();
        std::vector<std::string> const keys = d.Keys();
        ASSERT_EQ(LastError(), "");
        ASSERT_TRUE(ours < 0 || d.Has("round", Int(ours).get())) << "our own key was lost";
        std::istringstream lines(acks);
        for (std::string n; std::getline(lines, n);) {
            ASSERT_NE(xml.find("<key>" + prefix + n + "</key>"), std::string::npos) << n;
            ASSERT_TRUE(d.Has(prefix + n, Int(std::stoll(n)).get())) << n;
        }
        // A write of our own replaces whatever the killed writer left; the file stays small.
        for (auto const& key : keys)
            d.Set(key, nullptr);
        d.Set("round", Int(round).get());
        ASSERT_TRUE(d.Sync()) << LastError();
        ours = round;
        ASSERT_EQ(Entries(file.parent_path(), "", ".tmp"), std::vector<fs::path>{});
    }
    EXPECT_EQ(Entries(file.parent_path(), file.filename().string() + ".corrupt"),
              std::vector<fs::path>{});
}

// Helper processes and this process's threads write keys of their own into one domain while
// another process removes keys written before: exactly the others remain, each with its value.
// A writer that merged its whole cached copy of the domain would bring removed keys back.
TEST_F(StoreTorture, CrowdsOfWritersAndARemoverLeaveExactlyTheSurvivors) {
    int const writers = 8, rounds = 500, removed = 300;
    Domain const d{CFSTR("com.velmora.crowd")};
    std::set<std::string> survivors;
    for (int i = 0; i < removed; ++i) {
        d.Set("gone." + std::to_string(i), Int(i).get());
        d.Set("kept." + std::to_string(i), Int(i).get());
        survivors.insert("kept." + std::to_string(i));
    }
    ASSERT_TRUE(d.Sync());

    Child remover([&] {
        for (int i = 0; i < removed; ++i) {
            d.Set("gone." + std::to_string(i), nullptr);
            if (!d.Sync())
                return "removing gone." + std::to_string(i) + " failed: " + LastError();
        }
        return std::string();
    });
    std::vector<std::thread> threads;
    for (int w = 0; w < 2 * writers; ++w) {
        std::string const prefix = (w < writers ? "p" : "t") + std::to_string(w) + ".";
        for (int n = 0; n < rounds; ++n)
            survivors.insert(prefix + std::to_string(n));
        threads.emplace_back([&, w, prefix] {
            if (w < writers) {
                RunResult const r =
                    velmora_test::Run({VELMORA_PREFS_HELPER, "loop", "com.velmora.crowd", prefix,
                                       std::to_string(rounds)});
                EXPECT_EQ(r.exitCode, 0) << prefix;
            }
            for (int n = 0; w >= writers && n < rounds; ++n) {
                d.Set(prefix + std::to_string(n), Int(n).get());
                EXPECT_TRUE(d.Sync()) << LastError();
            }
        });
    }
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(remover.Wait().failure, "");

    VelmoraResetPreferencesForTesting();
    std::vector<std::string> const keys = d.Keys();
    EXPECT_EQ(std::set<std::string>(keys.begin(), keys.end()), survivors);
    for (auto const& key : survivors)
        ASSERT_TRUE(d.Has(key, Int(std::stoll(key.substr(key.find('.') + 1))).get())) << key;
}

// On a small tmpfs in this process's own mount namespace, filled up to its last block or its
// last inode, whichever its options make run out first.
std::string WriteOnAFullDisk(fs::path const& mountPoint, char const* options) {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return std::string("skip: no private mount namespace here: ") + std::strerror(errno);
    if (::mount("tmpfs", mountPoint.c_str(), "tmpfs", 0, options) != 0)
        return std::string("skip: cannot mount a tmpfs here: ") + std::strerror(errno);
    ::setenv("VELMORA_PREFS_ROOT", (mountPoint / "root").c_str(), 1);
    VelmoraResetPreferencesForTesting();

    Domain const d{CFSTR("com.velmora.full")};
    d.Set("old", CFSTR("1"));
    if (!d.Sync())
        return "the first write failed: " + LastError();
    std::string const before = ReadFile(d.File());
    std::string const block(65536, 'x');
    for (int i = 0;; ++i) {
        int const fd = ::open((mountPoint / ("fill" + std::to_string(i))).c_str(),
                              O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        bool const full =
            fd < 0 || ::write(fd, block.data(), block.size()) != ssize_t(block.size());
        ::close(fd);
        if (full)
            break;
    }

    d.Set("new", CFSTR("2"));
    if (d.Sync())
        return "the synchronisation succeeded on a full disk";
    if (LastError().find(std::strerror(ENOSPC)) == std::string::npos)
        return "the error does not say the disk is full: " + LastError();
    if (ReadFile(d.File()) != before)
        return "the old file changed";
    if (fs::exists(fs::symlink_status(d.Beside(".tmp"))))
        return "a temporary file was left";
    if (!d.Has("new", CFSTR("2")))
        return "the pending change was lost";
    for (auto const& fill : Entries(mountPoint, "fill"))
        fs::remove(fill);
    if (!d.Sync())
        return "the synchronisation failed once there was room: " + LastError();
    VelmoraResetPreferencesForTesting();
    return d.Has("old", CFSTR("1")) && d.Has("new", CFSTR("2")) ? "" : "a key is missing";
}

TEST_F(StoreTorture, AFullDiskFailsTheSynchronisationAndLosesNothing) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to mount a small tmpfs in a private mount namespace";
    fs::path const mountPoint = m_dir / "disk";
    fs::create_directory(mountPoint);
    for (char const* options : {"size=512k,nr_inodes=1000", "size=8m,nr_inodes=12"}) {
        Outcome const outcome = Child([&] { return WriteOnAFullDisk(mountPoint, options); }).Wait();
        if (!outcome.skip.empty())
            GTEST_SKIP() << outcome.skip;
        EXPECT_EQ(outcome.failure, "") << options;
    }
}

// Objects planted at the file's, the lock's and the temporary file's names, by the writer's own
// user (root, and nobody where this runs as root): no link is followed or written through and
// nothing waits on a FIFO. The file and the lock cannot be used, so the synchronisation fails
// and leaves the tree as it was; a stale temporary name is replaced.
TEST_F(StoreTorture, PlantedLinksAndFifosAreNeitherFollowedNorWaitedFor) {
    enum Name { File, Lock, Temp };
    enum Kind { LinkToFile, DanglingLink, Fifo };
    char const* const names[] = {"file", "lock", "temporary file"};
    char const* const kinds[] = {"a link to a file", "a dangling link", "a FIFO"};
    passwd const* nobody = ::geteuid() == 0 ? ::getpwnam("nobody") : nullptr;
    fs::permissions(m_dir.Path(), fs::perms(0755));
    fs::path const home = m_dir / "home";
    ::setenv("VELMORA_PREFS_ROOT", (home / "root").c_str(), 1);
    for (bool const asNobody : {false, true})
        for (Name const name : {File, Lock, Temp})
            for (Kind const kind : {LinkToFile, DanglingLink, Fifo}) {
                if (asNobody && nobody == nullptr)
                    continue;
                fs::remove_all(home);
                fs::create_directory(home);
                if (asNobody) {
                    ASSERT_EQ(::chown(home.c_str(), nobody->pw_uid, nobody->pw_gid), 0);
                }
                auto const attempt = [&]() -> std::string {
                    Domain const d{CFSTR("com.velmora.planted")};
                    d.Set("old", CFSTR("1"));
                    if (!d.Sync())
                        return "the first write failed: " + LastError();
                    fs::path const at = name == File   ? d.File()
                                        : name == Lock ? d.Beside(".lock")
                                                       : d.Beside(".tmp");
                    fs::remove(at);
                    WriteFile(home / "victim", "untouched");
                    if (kind == Fifo
                            ? ::mkfifo(at.c_str(), 0666) != 0
                            : ::symlink(kind == LinkToFile ? "../../victim" : "../../nowhere",
                                        at.c_str()) != 0)
                        return std::string("cannot plant: ") + std::strerror(errno);
                    auto const before = Snapshot(home);
                    d.Set("k", CFSTR("v"));
                    bool const synced = d.Sync();
                    std::string const error = LastError();
                    // The reason names the path, and for the file says what is wrong with it.
                    std::string const why = at.string() + (name != File   ? ""
                                                           : kind == Fifo ? ": not a regular file"
                                                                          : ": is a symbolic link");
                    if (fs::exists(fs::symlink_status(home / "nowhere")) ||
                        ReadFile(home / "victim") != "untouched")
                        return "written through the link";
                    if (name != Temp)
                        return synced                     ? "the synchronisation succeeded"
                               : Snapshot(home) != before ? "the tree changed"
                               : !d.Has("k", CFSTR("v"))  ? "the pending change was lost"
                               : error.find(why) == std::string::npos ? "the reason was: " + error
                                                                      : "";
                    if (!synced)
                        return "the synchronisation failed: " + error;
                    VelmoraResetPreferencesForTesting();
                    return fs::exists(fs::symlink_status(at)) ? "the temporary name is still there"
                           : !d.Has("k", CFSTR("v"))          ? "the change did not land"
                                                              : "";
                };
                Limits const as = asNobody ? AsNobody() : Limits{10};
                EXPECT_EQ(Child(attempt, as).Wait().failure, "")
                    << (asNobody ? "as nobody, " : "") << kinds[kind] << " at the " << names[name]
                    << "'s name";
            }
}

TEST_F(StoreTorture, ALockHeldTooLongFailsTheSynchronisationAndKeepsTheChange) {
    Domain const d{CFSTR("com.velmora.held")};
    d.Set("first", CFSTR("1"));
    ASSERT_TRUE(d.Sync());
    // flock binds an open file, not a process, so the store's own opening of the lock waits.
    int const holder = ::open(d.Beside(".lock").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(holder, LOCK_EX), 0) << std::strerror(errno);
    // Held until the writer gives up, or for 5 s against one that waits forever.
    std::promise<void> gaveUp;
    std::thread release([&holder, done = gaveUp.get_future()] {
        done.wait_for(std::chrono::seconds(5));
        ::close(holder);
    });

    VelmoraSetPreferencesLockTimeoutForTesting(1.0);
    d.Set("second", CFSTR("2"));
    auto const start = std::chrono::steady_clock::now();
    bool const synced = d.Sync();
    std::chrono::duration<double> const seconds = std::chrono::steady_clock::now() - start;
    std::string const error = LastError();
    gaveUp.set_value();
    release.join();

    EXPECT_FALSE(synced);
    EXPECT_GT(seconds.count(), 0.5);
    EXPECT_LT(seconds.count(), 2.0);
    EXPECT_NE(error.find(d.Beside(".lock").string() + ": locked by another process"),
              std::string::npos)
        << error;
    EXPECT_TRUE(d.Has("second", CFSTR("2")));
    EXPECT_TRUE(d.Sync()) << LastError();
    VelmoraSetPreferencesLockTimeoutForTesting(-1);
    VelmoraResetPreferencesForTesting();
    EXPECT_TRUE(d.Has("first", CFSTR("1")) && d.Has("second", CFSTR("2")));
}

std::string XmlDict(std::string const& value) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict><key>k</key>" +
           value + "</dict></plist>\n";
}

// Large files that a reader which recursed, or copied shared objects out, could not survive:
// the store either sets one aside (it breaks the reader's bounds) or keeps it as it is. Small
// bad files are Preferences.BadFilesAreSetAsideAndOddOnesKept's, which runs in every build.
struct Hostile {
    char const* name;
    bool setAside;
    std::function<std::string()> make;
} const kHostile[] = {
    // A scanner that skips comments naively sees one level; the parser sees 500,000.
    {"XML closing tags hidden in comments", true,
     [] { return XmlDict(Repeat("<array><!--</array>-->", 500000) + Repeat("</array>", 500000)); }},
    {"XML nested 100,000 deep", true,
     [] { return XmlDict(Repeat("<array>", 100000) + Repeat("</array>", 100000)); }},
    {"binary reference out of range after 200,000 nested arrays", true,
     [] {
         Bplist const b{4};
         std::vector<std::string> objects = {b.Dict({1, 2}, {3, 0xFFFFFFF0}), Ascii("a"),
                                             Ascii("b")};
         for (std::uint64_t i = 0; i < 200000; ++i)
             objects.push_back(i + 1 < 200000 ? b.Array({objects.size() + 1}) : b.Array({}));
         return b.File(objects);
     }},
    {"binary arrays sharing their elements 14 times over, 150 deep (2.6 KB)", false,
     [] {
         Bplist const b;
         std::vector<std::string> levels;
         for (std::uint64_t i = 0; i < 150; ++i)
             levels.push_back(b.Array(std::vector<std::uint64_t>(14, 3 + i)));
         levels.push_back(Ascii("leaf"));
         return b.KeyK(levels);
     }},
    {"binary megabyte of data shared 1,000 times", false,
     [] {
         Bplist const b{2};
         return b.KeyK({b.Array(std::vector<std::uint64_t>(1000, 3)),
                        Marker(0x4, 1000000) + std::string(1000000, 'x')});
     }},
};

// Each hostile file is read and then rewritten by one child and read back by another: neither
// may crash, hang or take more memory than a few times the file. A file set aside is moved
// byte for byte and reads as empty; one kept keeps its key and is rewritten with its shared
// objects still shared.
TEST_F(StoreTorture, HostileFilesTakeBoundedTimeAndMemory) {
    Domain const d{CFSTR("com.velmora.hostile")};
    fs::path const file = d.File();
    for (auto const& row : kHostile) {
        SCOPED_TRACE(row.name);
        fs::remove_all(m_dir / "root");
        fs::create_directories(file.parent_path());
        std::size_t size = 0;
        {
            std::string const bytes = row.make();
            size = bytes.size();
            WriteFile(file, bytes);
        }
        long const boundKiB = (long(8 * size / 1024) + 64 * 1024) * (kSanitized ? 4 : 1);
        Limits const limits{kSanitized ? 30.0 : 10.0, boundKiB};
        // Runs body in a child within the bounds; true when all went well.
        auto const bounded = [&](std::function<std::string()> const& body) {
            Outcome const outcome = Child(body, limits).Wait();
            EXPECT_EQ(outcome.failure, "");
            EXPECT_LE(outcome.grownKiB, boundKiB) << "KiB at most";
            return outcome.failure.empty();
        };
        std::vector<std::string> keys;
        if (!row.setAside)
            keys.push_back("k");
        if (!bounded([&]() -> std::string {
                if (d.Keys() != keys)
                    return "other keys were read from it";
                d.Set("written", CFSTR("yes"));
                return d.Sync() ? "" : "not rewritten: " + LastError();
            }))
            continue; // what is left may still be hostile
        keys.push_back("written");
        bounded([&] {
            return d.Keys() == keys && d.Has("written", CFSTR("yes")) ? "" : "read back wrong";
        });

        auto const aside = Entries(file.parent_path(), file.filename().string() + ".corrupt-");
        if (!row.setAside) {
            EXPECT_EQ(aside, std::vector<fs::path>{});
            EXPECT_LT(fs::file_size(file), size + 64);
            continue;
        }
        EXPECT_TRUE(aside.size() == 1 && ReadFile(aside[0]) == row.make())
            << aside.size() << " files set aside";
        // libplist aborts on or expands the files kept, so only those of our own are shown to it.
        EXPECT_NE(Xml(file).find("<key>written</key><string>yes</string>"), std::string::npos);
    }
}

// Nothing is timed: a writer quadratic in the number of keys simply does not finish.
TEST_F(StoreTorture, TwoHundredThousandKeysInOneSynchronisation) {
    Domain const d{CFSTR("com.velmora.huge")};
    int const count = 200000;
    auto const write = [&] {
        for (int i = 0; i < count; ++i)
            d.Set("key." + std::to_string(i), Int(i).get());
        return d.Sync() ? "" : "not written: " + LastError();
    };
    ASSERT_EQ(Child(write, {120}).Wait().failure, "");
    auto const read = [&]() -> std::string {
        if (d.Keys().size() != std::size_t(count))
            return std::to_string(d.Keys().size()) + " keys read back";
        for (int i = 0; i < count; ++i)
            if (!d.Has("key." + std::to_string(i), Int(i).get()))
                return "key." + std::to_string(i) + " is wrong";
        return "";
    };
    EXPECT_EQ(Child(read, {120}).Wait().failure, "");
}

} // namespace
