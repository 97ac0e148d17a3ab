// This file reads and writes the preference files. Writers serialise on a lock file and
// replace the file by renaming a synced temporary one over it, so a reader or a crash sees
// the old file or the new one, never a torn one.
#include "platform/prefs_files.h"

#include <velmora/platform_testing.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <thread>
#include <tuple>

namespace velmora::prefs {

namespace {

class Fd {
public:
    explicit Fd(int fd = -1) : m_fd(fd) {}
    ~Fd() { Reset(); }
    Fd(Fd const&) = delete;
    Fd& operator=(Fd const&) = delete;
    Fd(Fd&& other) noexcept : m_fd(other.m_fd) { other.m_fd = -1; }
    Fd& operator=(Fd&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }

    int Get() const { return m_fd; }
    bool Valid() const { return m_fd >= 0; }
    void Reset(int fd = -1) {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = fd;
    }
    int Release() {
        int const fd = m_fd;
        m_fd = -1;
        return fd;
    }

private:
    int m_fd;
};

std::string describe(std::string const& path, int err) {
    return path + ": " + std::strerror(err);
}

// Creates base and its missing parents (mode for those it creates).
bool makeBase(std::string const& base, mode_t mode, std::string& error) {
    for (std::size_t pos = 1; pos <= base.size(); ++pos) {
        if (pos != base.size() && base[pos] != '/')
            continue;
        std::string const prefix = base.substr(0, pos);
        if (::mkdir(prefix.c_str(), mode) == 0) {
            if (::chmod(prefix.c_str(), mode) != 0) {
                error = describe(prefix, errno);
                return false;
            }
        } else if (errno != EEXIST) {
            error = describe(prefix, errno);
            return false;
        }
    }
    return true;
}

// A folder shared with its group: setgid, so that what is made in it gets the folder's group,
// and group-writable. The package makes the all-users store so for its administrators' group.
bool isShared(struct stat const& st) {
    return (st.st_mode & (S_ISGID | S_IWGRP)) == (S_ISGID | S_IWGRP);
}

bool inGroup(gid_t gid) {
    if (gid == ::getegid())
        return true;
    gid_t groups[256];
    int const n = ::getgroups(256, groups);
    return std::find(groups, groups + std::max(n, 0), gid) != groups + std::max(n, 0);
}

// Opens the scope's folder. Without create, a missing folder gives an invalid Fd with
// missing set. With create, missing folders are made with the scope's mode whatever the
// umask (shared like their parent when it is shared), and every store folder must belong to
// this user or root, or be shared with a group this user is in.
Fd openFolder(Folder const& folder, bool create, bool& missing, std::string& error) {
    missing = false;
    if (folder.base.empty() || folder.base[0] != '/') {
        error = "the preferences folder is unknown (no home folder)";
        return Fd();
    }
    if (create && !makeBase(folder.base, folder.folderMode, error))
        return Fd();
    Fd dir(::open(folder.base.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!dir.Valid()) {
        missing = errno == ENOENT;
        error = describe(folder.base, errno);
        return Fd();
    }
    std::string path = folder.base;
    struct stat parent {};
    for (auto const& name : folder.components) {
        path += "/" + name;
        int const flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
        bool made = false;
        Fd next(::openat(dir.Get(), name.c_str(), flags));
        if (!next.Valid() && errno == ENOENT && create) {
            if (::mkdirat(dir.Get(), name.c_str(), folder.folderMode) == 0)
                made = true;
            else if (errno != EEXIST) {
                error = describe(path, errno);
                return Fd();
            }
            next.Reset(::openat(dir.Get(), name.c_str(), flags));
        }
        if (!next.Valid()) {
            int const err = errno;
            missing = err == ENOENT;
            error = err == ELOOP || err == ENOTDIR ? path + ": not a folder (symbolic links are "
                                                            "not followed)"
                                                   : describe(path, err);
            return Fd();
        }
        if (create) {
            bool const sharedParent = &name != &folder.components.front() && isShared(parent);
            mode_t const mode = folder.folderMode | (sharedParent ? S_ISGID | S_IRWXG : 0);
            struct stat st {};
            if (made && ::fchmod(next.Get(), mode) != 0) {
                error = describe(path, errno);
                return Fd();
            }
            if (::fstat(next.Get(), &st) != 0 || !(st.st_uid == ::geteuid() || st.st_uid == 0 ||
                                                   (isShared(st) && inGroup(st.st_gid)))) {
                error = path + ": the folder belongs to another user";
                return Fd();
            }
            parent = st;
        }
        dir = std::move(next);
    }
    return dir;
}

ReadStatus readAt(int dir, std::string const& path, std::string const& name, std::string& bytes,
                  std::string& error) {
    // O_NONBLOCK keeps a FIFO planted at the name from blocking the open.
    Fd fd(::openat(dir, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!fd.Valid()) {
        if (errno == ENOENT)
            return ReadStatus::Missing;
        error = errno == ELOOP ? path + ": is a symbolic link, which is not followed"
                               : describe(path, errno);
        return ReadStatus::Unreadable;
    }
    struct stat st {};
    if (::fstat(fd.Get(), &st) != 0) {
        error = describe(path, errno);
        return ReadStatus::Unreadable;
    }
    if (!S_ISREG(st.st_mode)) {
        error = path + ": not a regular file";
        return ReadStatus::Unreadable;
    }
    if (static_cast<std::size_t>(st.st_size) > kMaxFileSize) {
        error = path + ": larger than 16 MiB";
        return ReadStatus::Unreadable;
    }
    bytes.clear();
    char buffer[65536];
    for (;;) {
        ssize_t const n = ::read(fd.Get(), buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            error = describe(path, errno);
            return ReadStatus::Unreadable;
        }
        if (n == 0)
            break;
        bytes.append(buffer, static_cast<std::size_t>(n));
        if (bytes.size() > kMaxFileSize) {
            error = path + ": larger than 16 MiB";
            return ReadStatus::Unreadable;
        }
    }
    return ReadStatus::Ok;
}

ReadStatus parseInto(std::string const& bytes, plist::Dictionary& dict) {
    return dict.Parse(bytes) == plist::Dictionary::ParseResult::Ok ? ReadStatus::Ok
                                                                   : ReadStatus::Corrupt;
}

// Renames a corrupt file aside, never over an earlier one.
bool setAside(int dir, std::string const& folderPath, std::string const& name, std::string& error) {
    char stamp[32];
    std::time_t const now = std::time(nullptr);
    std::tm utc{};
    ::gmtime_r(&now, &utc);
    std::strftime(stamp, sizeof stamp, "%Y%m%dT%H%M%SZ", &utc);
    std::string const stem = name + ".corrupt-" + stamp + "-" + std::to_string(::getpid());
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string const aside = attempt == 0 ? stem : stem + "-" + std::to_string(attempt);
        if (::renameat2(dir, name.c_str(), dir, aside.c_str(), RENAME_NOREPLACE) == 0)
            return true;
        if (errno == EEXIST)
            continue;
        if (errno == EINVAL) {
            // No RENAME_NOREPLACE on this file system; the lock keeps our own writers out.
            if (::faccessat(dir, aside.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0)
                continue;
            if (::renameat(dir, name.c_str(), dir, aside.c_str()) == 0)
                return true;
        }
        error = describe(folderPath + "/" + name, errno) + " (setting the corrupt file aside)";
        return false;
    }
    error = folderPath + "/" + name + ": too many corrupt copies to set another aside";
    return false;
}

bool writeAll(int fd, std::string const& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t const n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (n == 0)
                errno = EIO;
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}

// Writes bytes to a fresh temporary file beside name and renames it over name.
bool replaceFile(int dir, std::string const& folderPath, std::string const& name, mode_t mode,
                 std::string const& bytes, std::string& error) {
    // Only lock holders write temporaries, so one left here belongs to a writer that died.
    std::string const temp = "." + name + ".tmp";
    std::string const tempPath = folderPath + "/" + temp;
    if (::unlinkat(dir, temp.c_str(), 0) != 0 && errno != ENOENT) {
        error = describe(tempPath, errno);
        return false;
    }
    Fd fd(::openat(dir, temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (!fd.Valid()) {
        error = describe(tempPath, errno);
        return false;
    }
    int err = 0;
    if (::fchmod(fd.Get(), mode) != 0 || !writeAll(fd.Get(), bytes) || ::fsync(fd.Get()) != 0)
        err = errno != 0 ? errno : EIO;
    if (::close(fd.Release()) != 0 && err == 0)
        err = errno;
    if (err == 0 && ::renameat(dir, temp.c_str(), dir, name.c_str()) != 0)
        err = errno;
    if (err != 0) {
        ::unlinkat(dir, temp.c_str(), 0);
        error = describe(folderPath + "/" + name, err);
        return false;
    }
    if (::fsync(dir) != 0) {
        error = describe(folderPath, errno);
        return false;
    }
    return true;
}

// Only those who may write the file may open its lock: anyone who could open it could hold
// flock on it and stall every writer. So the lock keeps the file's permission classes that
// can write (0644 gives 0600, 0664 gives 0660) and belongs to the folder's owner.
mode_t lockModeOf(mode_t fileMode) {
    mode_t mode = 0;
    for (mode_t const write : {S_IWUSR, S_IWGRP, S_IWOTH})
        if (fileMode & write)
            mode |= write | (write << 1); // the class's read and write bits
    return mode;
}

std::atomic<double> g_lockTimeout{kLockTimeoutSeconds};

// Locks the lock file name beside fileName, the file it guards.
Fd lockFile(int dir, std::string const& path, std::string const& name, std::string const& fileName,
            mode_t fileMode, std::string& error) {
    mode_t const mode = lockModeOf(fileMode);
    int const flags = O_RDONLY | O_NOFOLLOW | O_CLOEXEC;
    Fd fd(::openat(dir, name.c_str(), flags | O_CREAT | O_EXCL, mode));
    if (!fd.Valid() && errno == EEXIST)
        fd.Reset(::openat(dir, name.c_str(), flags | O_NONBLOCK));
    struct stat st {};
    struct stat folder {};
    if (!fd.Valid() || ::fstat(fd.Get(), &st) != 0 || ::fstat(dir, &folder) != 0) {
        error = describe(path, errno);
        return Fd();
    }
    if (!S_ISREG(st.st_mode)) {
        error = path + ": not a regular file";
        return Fd();
    }
    // Set on every use, so that a lock file left with a looser mode is tightened.
    bool const mine = st.st_uid == ::geteuid();
    if (((st.st_mode & 07777) != mode && (mine || ::geteuid() == 0) &&
         ::fchmod(fd.Get(), mode) != 0) ||
        (st.st_uid != folder.st_uid && ::geteuid() == 0 &&
         ::fchown(fd.Get(), folder.st_uid, static_cast<gid_t>(-1)) != 0)) {
        error = describe(path, errno);
        return Fd();
    }
    // A bounded wait. Writers hold the lock for milliseconds and each leaves a new file
    // behind, so a lock held while the file stays the same for the timeout is held by a stuck
    // or hostile process, and waiting on would hang the caller. While others make progress
    // the wait goes on (polling often, so that a busy writer cannot starve us), up to six
    // times the timeout in all.
    using Clock = std::chrono::steady_clock;
    std::chrono::duration<double> const timeout(g_lockTimeout.load());
    auto const start = Clock::now();
    auto quietSince = start;
    auto identity = [&] {
        struct stat f {};
        ::fstatat(dir, fileName.c_str(), &f, AT_SYMLINK_NOFOLLOW);
        return std::tuple(f.st_ino, f.st_mtim.tv_sec, f.st_mtim.tv_nsec, f.st_size);
    };
    auto seen = identity();
    auto pause = std::chrono::microseconds(100);
    while (::flock(fd.Get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            error = describe(path, errno);
            return Fd();
        }
        auto const now = Clock::now();
        if (auto const current = identity(); current != seen) {
            seen = current;
            quietSince = now;
        }
        if (now - quietSince >= timeout || now - start >= 6 * timeout) {
            char seconds[32];
            std::snprintf(seconds, sizeof seconds, "%g", timeout.count());
            error = path + ": locked by another process for more than " + seconds +
                    " s; nothing was written";
            return Fd();
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::microseconds(2000));
    }
    return fd;
}

} // namespace

std::string Folder::Path() const {
    std::string path = base;
    for (auto const& name : components)
        path += "/" + name;
    return path;
}

ReadStatus ReadDomainFile(Folder const& folder, std::string const& fileName,
                          plist::Dictionary& dict, std::string& error) {
    bool missing = false;
    Fd dir = openFolder(folder, false, missing, error);
    if (!dir.Valid())
        return missing ? ReadStatus::Missing : ReadStatus::Unreadable;
    std::string bytes;
    ReadStatus const status =
        readAt(dir.Get(), folder.Path() + "/" + fileName, fileName, bytes, error);
    return status == ReadStatus::Ok ? parseInto(bytes, dict) : status;
}

bool UpdateDomainFile(Folder const& folder, std::string const& fileName,
                      std::function<void(plist::Dictionary&)> const& change,
                      plist::Dictionary& written, std::string& error) {
    bool missing = false;
    Fd dir = openFolder(folder, true, missing, error);
    if (!dir.Valid())
        return false;
    std::string const folderPath = folder.Path();
    // In a shared folder the group may write what the scope's mode lets its owner write.
    struct stat st {};
    if (::fstat(dir.Get(), &st) != 0) {
        error = describe(folderPath, errno);
        return false;
    }
    mode_t const fileMode = folder.fileMode | (isShared(st) ? S_IRGRP | S_IWGRP : 0);
    std::string const lockName = "." + fileName + ".lock";
    Fd lock = lockFile(dir.Get(), folderPath + "/" + lockName, lockName, fileName, fileMode, error);
    if (!lock.Valid())
        return false;

    std::string bytes;
    plist::Dictionary dict;
    ReadStatus status = readAt(dir.Get(), folderPath + "/" + fileName, fileName, bytes, error);
    if (status == ReadStatus::Unreadable)
        return false; // never overwrite what we could not read
    if (status == ReadStatus::Ok)
        status = parseInto(bytes, dict);
    if (status == ReadStatus::Corrupt && !setAside(dir.Get(), folderPath, fileName, error))
        return false;

    change(dict);
    if (dict.Empty()) {
        // A domain with nothing left has no file, rather than an empty one.
        if (::unlinkat(dir.Get(), fileName.c_str(), 0) != 0 && errno != ENOENT) {
            error = describe(folderPath + "/" + fileName, errno);
            return false;
        }
        if (::fsync(dir.Get()) != 0) {
            error = describe(folderPath, errno);
            return false;
        }
        written = std::move(dict);
        return true;
    }
    std::string out;
    if (!dict.ToBinary(out)) {
        error = folderPath + "/" + fileName + ": the preferences cannot be encoded";
        return false;
    }
    if (out.size() > kMaxFileSize) {
        error = folderPath + "/" + fileName + ": would be larger than 16 MiB";
        return false;
    }
    if (!replaceFile(dir.Get(), folderPath, fileName, fileMode, out, error))
        return false;
    written = std::move(dict);
    return true;
}

std::vector<std::string> ListFolder(Folder const& folder) {
    std::vector<std::string> names;
    bool missing = false;
    std::string error;
    Fd dir = openFolder(folder, false, missing, error);
    if (!dir.Valid())
        return names;
    DIR* stream = ::fdopendir(dir.Release());
    if (stream == nullptr)
        return names;
    while (dirent* entry = ::readdir(stream)) {
        std::string const name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    ::closedir(stream);
    return names;
}

} // namespace velmora::prefs

void VelmoraSetPreferencesLockTimeoutForTesting(double seconds) {
    velmora::prefs::g_lockTimeout = seconds < 0 ? velmora::prefs::kLockTimeoutSeconds : seconds;
}
