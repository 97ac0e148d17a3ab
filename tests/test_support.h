// Helpers shared by the tests: temporary folders, child processes, the preference store and
// property lists built byte by byte.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmora_test {

// A fresh folder under the system's temporary folder, removed with everything in it when the
// object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(TempDir const&) = delete;
    TempDir& operator=(TempDir const&) = delete;

    std::string const& Path() const { return m_path; }
    // Path() + "/" + name.
    std::string operator/(std::string const& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

// The result of a finished child process.
struct RunResult {
    int exitCode = -1; // -1 when the child did not exit normally
    std::string out;   // standard output
    std::string err;   // standard error
};

// Runs argv[0] with the given arguments and extra "NAME=value" environment entries, feeding
// it no input, and waits for it.
RunResult Run(std::vector<std::string> const& argv, std::vector<std::string> const& env = {});

// The whole content of a file ("" when it cannot be read).
std::string ReadFile(std::string const& path);
void WriteFile(std::string const& path, std::string const& content);
// What can be read from fd now (all of it when fd blocks).
std::string ReadAll(int fd);

// A CoreFoundation object, released when the Ref goes.
struct Released {
    void operator()(void const* object) const { CFRelease(object); }
};
using Ref = std::unique_ptr<void const, Released>;
Ref Str(std::string const& utf8);
Ref Int(std::int64_t value);
// The text of a CFString as UTF-8 ("" for null or another type).
std::string Utf8(CFTypeRef string);
// Why the preference store's last call failed.
std::string LastError();

// One domain in one scope: the current user's any-host one unless told otherwise.
struct Domain {
    CFStringRef name, user = kCFPreferencesCurrentUser, host = kCFPreferencesAnyHost;

    // Sets key to value (null removes it) until Sync().
    void Set(std::string const& key, CFTypeRef value) const {
        CFPreferencesSetValue(CFStringRef(Str(key).get()), value, name, user, host);
    }
    Ref Copy(std::string const& key) const {
        return Ref(CFPreferencesCopyValue(CFStringRef(Str(key).get()), name, user, host));
    }
    bool Has(std::string const& key, CFTypeRef value) const {
        Ref const v = Copy(key);
        return v != nullptr && CFEqual(v.get(), value);
    }
    bool Sync() const { return CFPreferencesSynchronize(name, user, host); }
    std::vector<std::string> Keys() const;
    std::filesystem::path File() const;
    // The hidden file beside File() with this suffix: ".lock" or ".tmp".
    std::filesystem::path Beside(std::string const& suffix) const {
        return File().parent_path() / ("." + File().filename().string() + suffix);
    }
};

// Each test's preferences under a private root, which the store reads afresh.
class StoreTest : public ::testing::Test {
protected:
    void SetUp() override;
    TempDir m_dir;
};

// The root element of a property list as libplist's plistutil shows it, on one line ("" when
// it does not parse).
std::string Xml(std::filesystem::path const& file);
// The entries of folder whose names start with prefix and end with suffix.
std::vector<std::filesystem::path> Entries(std::filesystem::path const& folder,
                                           std::string const& prefix,
                                           std::string const& suffix = "");
// Every path below root with its mode, kind and content or link target: a tree to compare.
// Lock files, which a refused writer may leave, are left out unless withLocks.
std::map<std::string, std::string> Snapshot(std::filesystem::path const& root,
                                            bool withLocks = true);

struct Limits {
    double seconds = 60;          // killed after this long
    long maxKiB = 0;              // killed when its resident memory grows by more; 0: unbounded
    uid_t uid = 0;                // when not 0 and this process is root, the child runs as uid
    std::vector<gid_t> gids = {}; // with these groups, the first one its primary group
};
// Limits that make the child "nobody" where this process is root.
Limits AsNobody(double seconds = 10);

struct Outcome {
    std::string failure; // what the body reported, or how the child ended; "" when all went well
    std::string skip;    // why the body could not run here
    long grownKiB = 0;   // its peak resident memory beyond what it shared with this process
};

// A forked copy of this process running body with a fresh view of the store, so that a crash
// or a hang is one failure rather than the end of the suite. body answers "" when all went
// well, "skip: why" when it cannot run here, else what went wrong.
class Child {
public:
    Child(std::function<std::string()> const& body, Limits limits = {});
    Outcome Wait();

private:
    Limits m_limits;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    long m_baseKiB = 0;
    pid_t m_pid = -1;
    int m_fd = -1;
};

// Binary property lists, built byte by byte: numbers are big-endian, an object's marker holds
// its kind in the high nibble and its count in the low one or, when it does not fit, in an
// integer object after it.
std::string BigEndian(std::uint64_t value, int bytes);
std::string Repeat(std::string const& text, std::size_t times);
std::string Marker(int kind, std::size_t count);
std::string Ascii(std::string const& text);

// Objects referring to each other by refSize-byte indices.
struct Bplist {
    using Refs = std::vector<std::uint64_t>;
    int refSize = 1;

    std::string Array(Refs const& refs) const { return Marker(0xA, refs.size()) + Join(refs); }
    std::string Dict(Refs const& keys, Refs const& values) const {
        return Marker(0xD, keys.size()) + Join(keys) + Join(values);
    }
    // The file of these objects, object 0 being the root.
    std::string File(std::vector<std::string> const& objects) const;
    // {"k": values[0]}, the other values following it as objects 3 and up.
    std::string KeyK(std::vector<std::string> const& values) const;

private:
    std::string Join(Refs const& refs) const;
};

} // namespace velmora_test
