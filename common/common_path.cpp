#include "common/common_path.h"

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

// Every "\" becomes "/".
String slashify(String const& s) {
    return s.ReplaceChar('\\', '/');
}

// slashify under the name the decomposition code uses.
String convertSeparators(String const& s) {
    return slashify(s);
}

// A hook for systems with short path names; nothing to do here.
String convertToLongPath(String const& s) {
    return s;
}

bool isSeparator(char c) {
    return c == '/' || c == '\\';
}

// True unless the path starts at the root. "" is not relative; "C:/x" and "~/x" are.
bool isRelative(String const& s) {
    if (s.GetLength() == 0)
        return false;
    return slashify(s).Latin1()[0] != '/';
}

// Separators unified, trailing "/" and runs of "/" removed, "name/.." pairs resolved:
// "a\b//c/" gives "a/b/c", "//srv//share/" keeps its leading "//".
String cleanDirPath(String const& s) {
    if (s.GetLength() == 0)
        return s;
    String const unified = slashify(s);
    std::string text(unified.Latin1(), unified.GetLength());

    while (text.size() > 1 && text.back() == '/')
        text.pop_back();

    // A network path keeps its leading "//"; elsewhere each run of "/" becomes its last "/".
    std::string collapsed;
    std::string::size_type i = 0;
    if (text.compare(0, 2, "//") == 0) {
        collapsed = "//";
        i = 2;
    }
    for (; i < text.size(); ++i)
        if (!(text[i] == '/' && i + 1 < text.size() && text[i + 1] == '/'))
            collapsed += text[i];

    // The components, empty ones included, as views of collapsed up to any zero byte (the
    // text ends there).
    std::vector<std::string_view> parts;
    std::string_view const all(collapsed.c_str());
    for (std::string_view::size_type from = 0;;) {
        std::string_view::size_type const to = all.find('/', from);
        parts.push_back(all.substr(from, to == all.npos ? all.npos : to - from));
        if (to == all.npos)
            break;
        from = to + 1;
    }

    // After a "name/.." pair is removed the walk resumes one component further on, so the
    // component right after the ".." is never examined: "a/b/../../c" gives "a/../c". This
    // skip is deliberate and kept. The root's empty component pairs like any name, so "/.."
    // and "/a/.." give "". Kept components go to a stack, so the walk takes linear time.
    std::vector<std::string_view> kept;
    kept.reserve(parts.size());
    for (std::vector<std::string_view>::size_type k = 0; k < parts.size(); ++k) {
        if (kept.empty() || parts[k] != "..") {
            kept.push_back(parts[k]);
            continue;
        }
        kept.pop_back();
        if (++k < parts.size())
            kept.push_back(parts[k]); // the skipped component, kept unexamined
    }
    std::string joined;
    joined.reserve(collapsed.size());
    for (auto const& part : kept) {
        if (&part != &kept.front())
            joined += '/';
        joined += part;
    }
    if (joined.empty())
        return String();
    return String(joined.c_str(), static_cast<unsigned int>(joined.size()));
}

// cleanDirPath with exactly one trailing "/": "C:\Dir\" gives "C:/Dir/", "" gives "/".
String cleanWithSlash(String const& s) {
    String r = cleanDirPath(s) + "/";
    while (r.GetLength() >= 2 && r.Right(2) == "//")
        r.Truncate(r.GetLength() - 1);
    return r;
}

// The comparison form: cleaned, lower case, one trailing "/". "C:\Dir\" gives "c:/dir/".
String canonicalize(String const& s) {
    return cleanWithSlash(s).ToLower();
}

// "~" and "~/..." expanded from HOME ("/" when unset), other relative paths put under the
// current folder ("/" when it cannot be read). No cleaning; flag has no effect.
String convertRelative(String const& s, bool /*flag*/) {
    String t = s;
    if (t == "~")
        t = "~/";
    if (t.BeginsWith("~/", true) || t.BeginsWith("~\\", true)) {
        char const* home = std::getenv("HOME");
        String const base = home == nullptr ? String("/") : String(home) + "/";
        return base + t.Mid(2);
    }
    if (!isRelative(t))
        return t;
    String base("/");
    char cwd[1024];
    if (::getcwd(cwd, sizeof cwd) != nullptr)
        base = String(cwd) + "/";
    return base + t;
}

// s without its trailing separators. The first character is always kept, so a text made of
// separators alone reads as the root: "/" stays "/" rather than becoming "".
String stripTrailingSeparators(String const& s) {
    unsigned int n = s.GetLength();
    char const* p = s.Latin1();
    while (n > 1 && isSeparator(p[n - 1]))
        --n;
    return s.Left(n);
}

// The position of the last "/" or "\", whichever comes later.
checked_value<unsigned int> lastSeparator(String const& s) {
    checked_value<unsigned int> const slash = s.FindRev('/', checked_value<unsigned int>(), true);
    checked_value<unsigned int> const back = s.FindRev('\\', checked_value<unsigned int>(), true);
    if (!slash.IsSet())
        return back;
    if (!back.IsSet())
        return slash;
    return slash.GetValue() > back.GetValue() ? slash : back;
}

bool hasDrive(String const& s) {
    return s.GetLength() >= 2 && s.Latin1()[1] == ':';
}

// The folder part: "/a/b/" gives "/a", "/a" gives "/", "a" gives ".". A drive prefix keeps
// its separator: "C:x" and "C:/x" give "C:/".
String getDirectory(String const& s) {
    String const t = stripTrailingSeparators(s);
    checked_value<unsigned int> const p = lastSeparator(t);
    if (!p.IsSet())
        return hasDrive(t) ? t.Left(2) + "/" : String(".");
    if (p.GetValue() == 0)
        return String("/");
    if (p.GetValue() == 2 && hasDrive(t))
        return t.Left(3);
    return t.Left(p.GetValue());
}

// The last component: "/a/b/" gives "b"; "C:x" drops the drive and gives "x".
String getFile(String const& s) {
    String const t = stripTrailingSeparators(s);
    checked_value<unsigned int> const p = lastSeparator(t);
    if (!p.IsSet())
        return hasDrive(t) ? t.Mid(2) : t;
    return t.Mid(p.GetValue() + 1);
}

// The text after the last ".", or "". Separators are not looked at: pass a bare file name.
String getFileExtension(String const& s) {
    checked_value<unsigned int> const p = s.FindRev('.', checked_value<unsigned int>(), true);
    return p.IsSet() ? s.Mid(p.GetValue() + 1) : String("");
}

// The text before the last ".", or all of it: ".profile" gives "".
String getFileBaseName(String const& s) {
    checked_value<unsigned int> const p = s.FindRev('.', checked_value<unsigned int>(), true);
    return p.IsSet() ? s.Left(p.GetValue()) : s;
}

bool isBlank(String const& s) {
    return s.GetLength() == 0;
}

} // namespace

// --- FolderPath ------------------------------------------------------------------------------

FolderPath::FolderPath() {}

FolderPath::FolderPath(String const& path, bool flag) {
    String const t = path.SimplifyWhiteSpace();
    if (isBlank(t))
        return;
    m_strPath = convertToLongPath(convertRelative(t, flag));
    String const last = m_strPath.Right(1);
    if (last != "/" && last != "\\")
        m_strPath += '/';
}

bool FolderPath::IsEmpty() const {
    return isBlank(m_strPath);
}

bool FolderPath::IsRelative(String const& path) {
    return isRelative(path);
}

bool FolderPath::IsTopLevel() const {
    if (IsEmpty())
        return true;
    String const c = canonicalize(m_strPath);
    return c == "/" || c == "./";
}

String FolderPath::ToString() const {
    return convertSeparators(canonicalize(m_strPath));
}

String FolderPath::ToSystemString() const {
    return convertSeparators(cleanWithSlash(m_strPath));
}

String FolderPath::GetInternal() const {
    return m_strPath;
}

String FolderPath::GetFolderName() const {
    if (IsTopLevel())
        return String("");
    return getFile(m_strPath);
}

FolderPath FolderPath::GetParent() const {
    if (IsEmpty() || IsTopLevel())
        return FolderPath();
    return FilePath(m_strPath, false).GetFolder();
}

bool FolderPath::operator==(FolderPath const& other) const {
    return canonicalize(m_strPath) == canonicalize(other.m_strPath);
}

bool FolderPath::operator<(FolderPath const& other) const {
    return canonicalize(m_strPath) < canonicalize(other.m_strPath);
}

bool FolderPath::operator<=(FolderPath const& other) const {
    return canonicalize(m_strPath) <= canonicalize(other.m_strPath);
}

FilePath operator+(FolderPath const& folder, String const& name) {
    return FilePath(folder.GetInternal() + name, false);
}

// --- FilePath --------------------------------------------------------------------------------

namespace {

// The canonical text without its one trailing separator.
String dropTrailingSeparator(String const& s) {
    unsigned int const n = s.GetLength();
    if (n > 0 && isSeparator(s.Latin1()[n - 1]))
        return s.Left(n - 1);
    return s;
}

} // namespace

FilePath::FilePath() {}

FilePath::FilePath(String const& path, bool flag) {
    construct(path, flag);
}

void FilePath::construct(String const& path, bool flag) {
    String const t = path.SimplifyWhiteSpace();
    if (isBlank(t)) {
        m_strPath = String();
        return;
    }
    m_strPath = convertToLongPath(convertRelative(t, flag));
}

bool FilePath::IsEmpty() const {
    return isBlank(m_strPath);
}

bool FilePath::IsRelative(String const& path) {
    return isRelative(path);
}

String FilePath::ToString() const {
    return dropTrailingSeparator(convertSeparators(canonicalize(m_strPath)));
}

String FilePath::ToSystemString() const {
    return dropTrailingSeparator(convertSeparators(cleanWithSlash(m_strPath)));
}

String FilePath::GetInternal() const {
    return m_strPath;
}

String FilePath::GetFilename() const {
    return getFile(m_strPath);
}

String FilePath::GetExtension() const {
    return getFileExtension(getFile(m_strPath));
}

String FilePath::GetBaseName() const {
    return getFileBaseName(getFile(m_strPath));
}

FolderPath FilePath::GetFolder() const {
    return FolderPath(getDirectory(m_strPath), false);
}

bool FilePath::operator==(FilePath const& other) const {
    return canonicalize(m_strPath) == canonicalize(other.m_strPath);
}

bool FilePath::operator<(FilePath const& other) const {
    return canonicalize(m_strPath) < canonicalize(other.m_strPath);
}

bool FilePath::operator<=(FilePath const& other) const {
    return canonicalize(m_strPath) <= canonicalize(other.m_strPath);
}
