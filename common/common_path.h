/// \file
/// FolderPath and FilePath: path values for folders and files.
///
/// Both hold one path text. Construction simplifies white space and resolves "~" and relative
/// paths to absolute ones; nothing else touches the file system. Comparison is deliberately
/// case-insensitive and blind to separator style (`\` equals "/"), doubled separators, trailing
/// separators and "name/.." pairs, as on the case-insensitive Mac file system: "/Users/A/"
/// equals "/users/a".
///
/// On Linux the file system is case-sensitive, so the text handed to the operating system is
/// ToSystemString(): the same cleaned text as ToString() but with the case kept. ToString()
/// stays the lower-case comparison form.
///
///     FolderPath folder(String("/Users/A//Songs\\"));
///     folder.GetInternal()      // "/Users/A//Songs\"  (as given)
///     folder.ToString()         // "/users/a/songs/"   (compared)
///     folder.ToSystemString()   // "/Users/A/Songs/"   (opened)
#pragma once

#include "common/common_string.h"

class FilePath;

/// A folder's path: the text as given, made absolute, ending in a separator. See
/// common_path.h for how paths are compared and handed to the system.
class FolderPath {
public:
    /// The empty path.
    FolderPath();
    /// White space simplified, "~" and relative paths made absolute, and "/" appended unless
    /// the text already ends in "/" or `\`. "~" is taken from HOME ("/" when unset), relative
    /// paths from the current folder ("/" when it cannot be read). With HOME "/home/u":
    ///
    ///     FolderPath(String("  ~/My  Songs ")).GetInternal()   // "/home/u/My Songs/"
    ///
    /// Blank text gives the empty path. Nothing is cleaned here: "//", `\` and ".." are kept
    /// until the path is compared or printed. flag has no effect.
    explicit FolderPath(String const& path, bool flag = false);

    /// True for the empty path.
    bool IsEmpty() const;
    /// True unless the text starts at the root ("/" or `\`): "x" and "C:/x" are relative,
    /// "" is not.
    static bool IsRelative(String const& path);
    /// True for the empty path and for the root: "/", "//" and "/a/.." are top-level.
    bool IsTopLevel() const;

    /// The comparison form: separators unified, runs of "/" collapsed (a leading "//" is kept),
    /// "name/.." resolved, lower case, one trailing "/":
    ///
    ///     FolderPath(String("/A//b\\")).ToString()   // "/a/b/"
    String ToString() const;
    /// ToString() with the case kept, as handed to the operating system:
    ///
    ///     FolderPath(String("/A//b\\")).ToSystemString()   // "/A/b/"
    String ToSystemString() const;
    /// The text as stored:
    ///
    ///     FolderPath(String("/A//b\\")).GetInternal()   // "/A//b\"
    String GetInternal() const;

    /// The last component of the text as stored, "" for a top-level folder: "/a/b/" gives "b".
    /// Nothing is resolved first, so "/a/b/../" gives "..".
    String GetFolderName() const;
    /// The folder above, taken from the text as stored: "/a/b" gives "/a/", "/a" gives "/",
    /// and "/" the empty path.
    FolderPath GetParent() const;

    /// \name Comparison
    ///@{

    /// The comparison forms (ToString()) compared byte-wise: "/A/b" equals "/a//B/",
    /// "/a/x/.." equals "/a".
    bool operator==(FolderPath const& other) const;
    bool operator!=(FolderPath const& other) const { return !(*this == other); }
    bool operator<(FolderPath const& other) const;
    bool operator<=(FolderPath const& other) const;
    ///@}

private:
    String m_strPath;
};

/// A file inside the folder: `FolderPath(String("/a")) + "x.txt"` names "/a/x.txt".
FilePath operator+(FolderPath const& folder, String const& name);

/// A file's path: the text as given, made absolute. See common_path.h for how paths are
/// compared and handed to the system.
class FilePath {
public:
    /// The empty path.
    FilePath();
    /// As construct().
    explicit FilePath(String const& path, bool flag = false);

    /// White space simplified and "~" and relative paths made absolute, no separator added:
    /// "a  b.txt" in the current folder "/tmp" is stored as "/tmp/a b.txt". Blank text gives the
    /// empty path. flag has no effect.
    void construct(String const& path, bool flag = false);

    /// True for the empty path.
    bool IsEmpty() const;
    /// As FolderPath::IsRelative.
    static bool IsRelative(String const& path);

    /// The comparison form without a trailing separator: "/A//B.Txt" gives "/a/b.txt".
    String ToString() const;
    /// ToString() with the case kept, as handed to the operating system: "/A//B.Txt" gives
    /// "/A/B.Txt".
    String ToSystemString() const;
    /// The text as stored.
    String GetInternal() const;

    /// The last component: "/a/B.Txt" gives "B.Txt".
    String GetFilename() const;
    /// The text after the last "." of the file name, or "": "archive.tar.gz" gives "gz",
    /// ".profile" gives "profile", "README" gives "".
    String GetExtension() const;
    /// The file name up to its last ".", or all of it: "archive.tar.gz" gives "archive.tar",
    /// ".profile" gives "".
    String GetBaseName() const;
    /// The folder holding the file: "/a/b.txt" gives "/a/".
    FolderPath GetFolder() const;

    /// \name Comparison
    ///@{

    /// The comparison forms (ToString()) compared byte-wise: "/x/../Y" equals "/y".
    bool operator==(FilePath const& other) const;
    bool operator!=(FilePath const& other) const { return !(*this == other); }
    bool operator<(FilePath const& other) const;
    bool operator<=(FilePath const& other) const;
    ///@}

private:
    String m_strPath;
};
