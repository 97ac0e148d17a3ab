/// \file
/// Util::Dir: one folder of the local file system.
#pragma once

#include "Util/File.h"
#include "common/common_path.h"

#include <vector>

namespace Util {

/// One folder of the local file system.
///
/// Failures throw Util::Exception::FileIO with the folder's path, stamped with module
/// "Util/Dir_mac". Exists and GetFilenames never throw: a missing or unreadable folder answers
/// false or an empty list.
///
/// On Linux the operating system is handed FolderPath::ToSystemString() (and paths built from
/// it), the cleaned path with its case kept, so a folder "Samples" is found as named.
///
///     Util::Dir dir(FolderPath(String("~/Samples")));
///     dir.Create(true);                       // every missing level, mode 0755
///     std::vector<String> wavs;
///     dir.GetFilenames(wavs, "*.wav", false); // "A.WAV", "b.wav", sorted
class Dir {
public:
    /// The empty path.
    Dir();
    /// The folder at path; nothing is checked or created.
    explicit Dir(FolderPath const& path);

    /// Names another folder; nothing is checked or created.
    void SetPath(FolderPath const& path);

    /// True when the path names a folder: false for the empty path and for a regular file.
    bool Exists() const;
    /// Makes the folder (mode 0755, less the umask); an existing folder is left alone.
    /// Recursive makes every missing level of an absolute path; a relative path is skipped
    /// silently, on purpose. Throws "mkdir() failed with %1/%2" (the call's result and errno:
    /// "-1/2" for a missing parent), naming the whole target folder, WRITE_ERROR. Throws
    /// nothing but FileIO.
    void Create(bool recursive);
    /// Removes the folder, which must be empty; a missing folder is not an error. Throws
    /// "rmdir() failed", REMOVE_ERROR. Throws nothing but FileIO.
    void Remove();
    /// Reads the folder's access and modification times into *time. Throws "Error getting
    /// folder time", UNEXPECTED_ERROR.
    void GetTime(FileTime* time);
    /// Sets both times, in whole seconds. Throws "Error setting folder time",
    /// UNEXPECTED_ERROR.
    void SetTime(FileTime const& time);

    /// The regular files in the folder (a link counts as what it points to) whose names match
    /// filter, sorted with String's byte order. The filter's first `*` splits it into a prefix
    /// and a suffix matched case-insensitively: "*.wav" takes "A.WAV", ".TXT" takes
    /// ".txt.bak" (no `*`: every name that begins with it), "" and "*" take everything; "a*a"
    /// takes "a". With append the earlier contents stay and are sorted in; duplicates are kept.
    void GetFilenames(std::vector<String>& names, String const& filter, bool append);

private:
    FolderPath m_pathFolder;
};

} // namespace Util
