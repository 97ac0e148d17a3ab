#include "Util/Dir.h"

#include "common/common_char.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <string>

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

namespace {

// The pattern's two sides, lower case: the first "*" splits it, and without one the whole
// pattern is a prefix. A name is compared in lower case ("A".."Z" folded) against both.
struct NameFilter {
    explicit NameFilter(String const& filter) {
        String const pattern = filter.GetLength() == 0 ? String("*") : filter;
        checked_value<unsigned int> const star = pattern.Find('*', 0, true);
        prefix = pattern;
        if (star.IsSet()) {
            prefix = pattern.Left(star.GetValue());
            suffix = pattern.Mid(star.GetValue() + 1);
        }
        prefix = prefix.ToLower();
        suffix = suffix.ToLower();
    }

    bool Matches(char const* name, std::size_t length) const {
        std::size_t const p = prefix.GetLength();
        std::size_t const s = suffix.GetLength();
        return p <= length && s <= length && sameFolded(name, prefix.Latin1(), p) &&
               sameFolded(name + length - s, suffix.Latin1(), s);
    }

    static bool sameFolded(char const* text, char const* lower, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) {
            unsigned char const c = static_cast<unsigned char>(text[i]);
            unsigned char const folded =
                static_cast<unsigned int>(c - 'A') < 26u ? static_cast<unsigned char>(c + 0x20) : c;
            if (folded != static_cast<unsigned char>(lower[i]))
                return false;
        }
        return true;
    }

    String prefix;
    String suffix;
};

} // namespace

void Dir::GetFilenames(std::vector<String>& names, String const& filter, bool append) {
    if (!append)
        names.clear();
    if (!Exists())
        return;

    NameFilter const nameFilter(filter);
    String const folder = m_pathFolder.ToSystemString();
    DIR* const listing = ::opendir(folder.Latin1());
    if (listing == nullptr)
        return;
    // Each entry is judged by a status query of the path the folder and its name make
    // together. That query succeeds for every entry exactly when the folder can be searched
    // and the path fits PATH_MAX; proven once here, readdir's type is the answer.
    bool const searchable = ::faccessat(AT_FDCWD, folder.Latin1(), X_OK, AT_EACCESS) == 0;
    // The path rules change a name's white space and "\"; any other name is joined to the
    // folder as it stands whenever a probe name is, which is also proven once.
    bool const plainJoin =
        stripTrailingSlashes((m_pathFolder + String("x")).ToSystemString()) == folder + "x";
    bool changedByPathRules[256];
    for (int c = 0; c < 256; ++c)
        changedByPathRules[c] = c == '\\' || Char(static_cast<char>(c)).IsSpace();
    std::size_t const folderLength = folder.GetLength();
    std::vector<std::string> found;

    while (dirent const* entry = ::readdir(listing)) {
        // Linux entries carry no name length; the name runs to its terminator.
        char const* const name = entry->d_name;
        std::size_t const length = std::strlen(name);
        if (length == 0 || std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0)
            continue;
        if (!nameFilter.Matches(name, length))
            continue;

        bool plain = searchable && plainJoin && folderLength + length < PATH_MAX &&
                     entry->d_type != DT_UNKNOWN && entry->d_type != DT_LNK;
        for (std::size_t i = 0; plain && i < length; ++i)
            plain = !changedByPathRules[static_cast<unsigned char>(name[i])];
        bool regular = false;
        if (plain) {
            regular = entry->d_type == DT_REG;
        } else {
            // A link, an unknown type or a name the path rules change: the path is built
            // and queried as it is.
            String const path =
                stripTrailingSlashes((m_pathFolder + String(name)).ToSystemString());
            if (searchable && path.GetLength() < PATH_MAX && entry->d_type != DT_UNKNOWN &&
                entry->d_type != DT_LNK && path == folder + name)
                regular = entry->d_type == DT_REG;
            else
                regular = isRegularFile(path);
        }
        if (regular)
            found.emplace_back(name, length);
    }
    ::closedir(listing);

    // Sorted as plain byte strings, which order as Strings do (names hold no zero byte),
    // and cheaper to move about than shared Strings.
    std::sort(found.begin(), found.end());
    bool const merge = !names.empty();
    names.reserve(names.size() + found.size());
    for (std::string const& name : found)
        names.push_back(String(name.c_str(), static_cast<unsigned int>(name.size())));
    if (merge)
        std::sort(names.begin(), names.end());
}

} // namespace Util
