#include "Util/Dir.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>

namespace {

char const kModule[] = "Util/Dir_mac";

// Trailing "/" removed, except that the root keeps its own: "/a/" gives "/a", "/" stays "/".
String stripTrailingSlashes(String const& s) {
    String t = s;
    while (t.GetLength() > 0 && t != "/" && t.Right(1) == "/")
        t.Truncate(t.GetLength() - 1);
    return t;
}

bool isDirectory(String const& path) {
    struct stat st;
    return ::stat(path.Latin1(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool isRegularFile(String const& path) {
    struct stat st;
    return ::stat(path.Latin1(), &st) == 0 && S_ISREG(st.st_mode);
}

// Builds the message, constructs the exception with this folder, stamps it and throws.
#define THROW_FILEIO(message, type)                                                                \
    VELMORA_THROW(kModule,                                                                         \
                  Util::Exception::FileIO((message), m_pathFolder, Util::Exception::FileIO::type))

} // namespace

namespace Util {

Dir::Dir() {}

Dir::Dir(FolderPath const& path) : m_pathFolder(path) {}

void Dir::SetPath(FolderPath const& path) {
    m_pathFolder = path;
}

bool Dir::Exists() const {
    if (m_pathFolder.IsEmpty())
        return false;
    String const path = m_pathFolder.ToSystemString();
    if (::access(path.Latin1(), F_OK) != 0)
        return false;
    return isDirectory(stripTrailingSlashes(path));
}

void Dir::Create(bool recursive) try {
    if (Exists())
        return;
    String const path = m_pathFolder.ToSystemString();
    if (!recursive) {
        int const rc = ::mkdir(path.Latin1(), 0755);
        int const error = errno;
        if (rc != 0)
            THROW_FILEIO(String("mkdir() failed with %1/%2").Arg(rc, 10).Arg(error, 10),
                         WRITE_ERROR);
        return;
    }

    // Only an absolute path (or one under "~/", taken literally) is created level by level;
    // a relative path is skipped without error, on purpose.
    unsigned int scan = 0;
    if (path.BeginsWith("/", true))
        scan = 1;
    else if (path.BeginsWith("~/", true))
        scan = 2;
    else
        return;

    // Each prefix that ends just before a "/" is one level; the text ends in "/", so the
    // last level is made too.
    for (;;) {
        checked_value<unsigned int> const slash = path.Find('/', scan + 1, true);
        if (!slash.IsSet())
            break;
        String const prefix = path.Left(slash.GetValue());
        if (!Dir(FolderPath(prefix, false)).Exists()) {
            int const rc = ::mkdir(prefix.Latin1(), 0755);
            int const error = errno;
            if (rc != 0)
                THROW_FILEIO(String("mkdir() failed with %1/%2").Arg(rc, 10).Arg(error, 10),
                             WRITE_ERROR);
        }
        scan = slash.GetValue();
    }
}
VELMORA_ONLY_FILEIO

void Dir::Remove() try {
    if (!Exists())
        return;
    if (::rmdir(m_pathFolder.ToSystemString().Latin1()) != 0)
        THROW_FILEIO(String("rmdir() failed"), REMOVE_ERROR);
}
VELMORA_ONLY_FILEIO

void Dir::GetTime(FileTime* time) {
    struct stat st;
    if (::stat(m_pathFolder.ToSystemString().Latin1(), &st) != 0)
        THROW_FILEIO(String("Error getting folder time"), UNEXPECTED_ERROR);
    time->uAccessSeconds = static_cast<uint32>(st.st_atime);
    time->uModSeconds = static_cast<uint32>(st.st_mtime);
}

void Dir::SetTime(FileTime const& time) {
    struct timeval times[2];
    times[0].tv_sec = static_cast<time_t>(time.uAccessSeconds);
    times[0].tv_usec = 0;
    times[1].tv_sec = static_cast<time_t>(time.uModSeconds);
    times[1].tv_usec = 0;
    if (::utimes(m_pathFolder.ToSystemString().Latin1(), times) != 0)
        THROW_FILEIO(String("Error setting folder time"), UNEXPECTED_ERROR);
}

void Dir::GetFilenames(std::vector<String>& names, String const& filter, bool append) {
    if (!append)
        names.clear();
    if (!Exists())
        return;

    // The first "*" splits the pattern; without one, the whole pattern is a prefix.
    String const pattern = filter.GetLength() == 0 ? String("*") : filter;
    checked_value<unsigned int> const star = pattern.Find('*', 0, true);
    String prefix = pattern;
    String suffix;
    if (star.IsSet()) {
        prefix = pattern.Left(star.GetValue());
        suffix = pattern.Mid(star.GetValue() + 1);
    }
    prefix = prefix.ToLower();
    suffix = suffix.ToLower();

    String const folder = m_pathFolder.ToSystemString();
    DIR* const listing = ::opendir(folder.Latin1());
    if (listing == nullptr)
        return;
    // A status query of folder + name succeeds for every entry exactly when the folder can be
    // searched and the path fits PATH_MAX; proven once here, that lets readdir's type answer.
    bool const searchable = ::faccessat(AT_FDCWD, folder.Latin1(), X_OK, AT_EACCESS) == 0;
    while (dirent const* entry = ::readdir(listing)) {
        // Linux entries carry no name length; the name runs to its terminator.
        String const name(entry->d_name);
        if (name.GetLength() == 0 || name == "." || name == "..")
            continue;
        String const lower = name.ToLower();
        if (!lower.BeginsWith(prefix, true) || !lower.EndsWith(suffix, true))
            continue;

        // The entry is judged by a status query of the path the folder and name make together.
        // When that path is just folder + name and the query is proven to succeed, the type
        // readdir reports is the answer; a link, an unknown type or a name the path rules
        // change (white space, "\") is queried.
        String const path = stripTrailingSlashes((m_pathFolder + name).ToSystemString());
        bool regular = false;
        if (searchable && path.GetLength() < PATH_MAX && entry->d_type != DT_UNKNOWN &&
            entry->d_type != DT_LNK && path == folder + name)
            regular = entry->d_type == DT_REG;
        else
            regular = isRegularFile(path);
        if (regular)
            names.push_back(name);
    }
    ::closedir(listing);

    if (!names.empty())
        std::sort(names.begin(), names.end());
}

} // namespace Util
