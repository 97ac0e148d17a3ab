// FolderPath and FilePath on arbitrary text. The input is two texts separated by a zero byte:
// both are made into paths of either kind and compared; the second also serves as a name
// inside the first folder. HOME is fixed, so "~" resolves the same way on every run.
#include "common/common_path.h"
#include "fuzz/fuzz_support.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string bytes(String const& s) {
    return std::string(s.Latin1(), s.GetLength());
}

bool isWhite(unsigned char c) {
    return c == ' ' || (c >= 0x09 && c <= 0x0D) || c == 0xA0;
}

bool isBlank(std::string const& t) {
    for (char c : t)
        if (!isWhite(static_cast<unsigned char>(c)))
            return false;
    return true;
}

std::string replaced(std::string t, char from, char to) {
    for (char& c : t)
        if (c == from)
            c = to;
    return t;
}

// Exactly one of <, == and > holds, and <= is < or ==.
template <typename Path>
void checkOrder(Path const& a, Path const& b) {
    FUZZ_CHECK(a == a && a <= a && !(a < a) && !(a != a));
    FUZZ_CHECK((a == b) == (b == a) && (a != b) == !(a == b));
    FUZZ_CHECK(int(a < b) + int(a == b) + int(b < a) == 1);
    FUZZ_CHECK((a <= b) == (a < b || a == b));
}

// The comparison form: no "\", lower case of the system form, no doubled "/" after the
// leading ones (a network path keeps its own).
void checkForms(String const& comparison, String const& system) {
    std::string const c = bytes(comparison);
    FUZZ_CHECK(c == bytes(system.ToLower()));
    FUZZ_CHECK(c.find('\\') == std::string::npos);
    std::size_t const lead = c.find_first_not_of('/');
    FUZZ_CHECK(lead == std::string::npos || c.find("//", lead) == std::string::npos);
}

void checkFolder(std::string const& text) {
    String const s(text.c_str());
    FolderPath const f(s);
    std::string const internal = bytes(f.GetInternal());
    FUZZ_CHECK(bytes(FolderPath(s, true).GetInternal()) == internal); // the flag does nothing
    FUZZ_CHECK(f.IsEmpty() == isBlank(text));
    // Case and separator style do not matter.
    FUZZ_CHECK(FolderPath(s.ToUpper()) == f);
    FUZZ_CHECK(FolderPath(String(replaced(text, '/', '\\').c_str())) == f);
    checkForms(f.ToString(), f.ToSystemString());
    if (f.IsEmpty())
        return;
    FUZZ_CHECK(!FolderPath::IsRelative(f.GetInternal()));
    FUZZ_CHECK(internal.back() == '/' || internal.back() == '\\');
    FUZZ_CHECK(bytes(f.ToString()).back() == '/');
    FUZZ_CHECK(!f.IsTopLevel() || f.GetFolderName().GetLength() == 0);
    // Walking up ends at the empty path, one step shorter each time.
    FolderPath up = f;
    for (std::size_t steps = 0; !up.IsEmpty(); ++steps) {
        FUZZ_CHECK(steps <= internal.size());
        FolderPath const parent = up.GetParent();
        FUZZ_CHECK(up.IsTopLevel() == parent.IsEmpty());
        FUZZ_CHECK(parent.GetInternal().GetLength() < up.GetInternal().GetLength());
        up = parent;
    }
}

void checkFile(std::string const& text) {
    String const s(text.c_str());
    FilePath const p(s);
    FUZZ_CHECK(bytes(FilePath(s, true).GetInternal()) == bytes(p.GetInternal()));
    FUZZ_CHECK(p.IsEmpty() == isBlank(text));
    FUZZ_CHECK(FilePath(s.ToUpper()) == p);
    FUZZ_CHECK(FilePath(String(replaced(text, '/', '\\').c_str())) == p);
    checkForms(p.ToString(), p.ToSystemString());
    FilePath copy;
    copy.construct(s);
    FUZZ_CHECK(bytes(copy.GetInternal()) == bytes(p.GetInternal()));
    if (p.IsEmpty())
        return;
    FUZZ_CHECK(!FilePath::IsRelative(p.GetInternal()));
    // The name is its base name and extension around its last ".".
    std::string const name = bytes(p.GetFilename());
    std::string const extension = bytes(p.GetExtension());
    std::string const base = bytes(p.GetBaseName());
    if (name.find('.') == std::string::npos)
        FUZZ_CHECK(extension.empty() && base == name);
    else
        FUZZ_CHECK(base + "." + extension == name && extension.find('.') == std::string::npos);
    FUZZ_CHECK(!p.GetFolder().IsEmpty());
}

// A plain name inside a folder leads back to that folder, as a file and as a folder.
void checkNameInFolder(std::string const& folderText, std::string const& name) {
    FolderPath const folder(String(folderText.c_str()));
    FilePath const file = folder + String(name.c_str());
    if (folder.IsEmpty()) {
        (void)file.GetFolder(); // only the absence of faults
        return;
    }
    // A current folder with runs of white space would be simplified once more, and a folder
    // whose own name ends in white space loses it in GetFolder, which simplifies the folder's
    // text without its separator: "/a /b" is in "/a/".
    std::string const text = bytes(folder.GetInternal());
    std::size_t const last = text.find_last_not_of("/\\");
    bool const plain =
        folder.GetInternal() == folder.GetInternal().SimplifyWhiteSpace() &&
        (last == std::string::npos || !isWhite(static_cast<unsigned char>(text[last]))) &&
        !name.empty() && name != "." && name != ".." &&
        name.find_first_of("/\\") == std::string::npos &&
        std::none_of(name.begin(), name.end(),
                     [](char c) { return isWhite(static_cast<unsigned char>(c)); });
    if (!plain)
        return;
    FUZZ_CHECK(bytes(file.GetInternal()) == bytes(folder.GetInternal()) + name);
    FUZZ_CHECK(file.GetFolder() == folder);
    FUZZ_CHECK(bytes(file.GetFilename()) == name);
    FUZZ_CHECK(FolderPath(folder.GetInternal() + name.c_str()).GetParent() == folder);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ::setenv("HOME", "/home/Fuzz", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const input(reinterpret_cast<char const*>(data), size);
    std::size_t const split = input.find('\0');
    std::string const a = input.substr(0, split);
    std::string const b =
        split == std::string::npos ? std::string() : input.substr(split + 1).c_str();
    checkFolder(a);
    checkFile(a);
    checkFolder(b);
    checkFile(b);
    checkOrder(FolderPath(String(a.c_str())), FolderPath(String(b.c_str())));
    checkOrder(FilePath(String(a.c_str())), FilePath(String(b.c_str())));
    checkNameInFolder(a, b);
    return 0;
}
