// FolderPath and FilePath: normalisation, decomposition and comparison, with HOME and the
// current folder under the test's control.
#include "common/common_path.h"

#include "test_support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

namespace {

std::string str(String const& s) {
    return s.Latin1();
}

void setHome(char const* home) {
    home == nullptr ? ::unsetenv("HOME") : ::setenv("HOME", home, 1);
}

// Each test runs in a fresh current folder; HOME is set per row and restored afterwards.
class PathTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(::chdir(m_dir.Path().c_str()), 0);
        m_cwd = std::filesystem::current_path().string();
    }
    void TearDown() override {
        std::filesystem::current_path(m_oldCwd);
        setHome(m_oldHome ? m_oldHome->c_str() : nullptr);
    }
    // "{cwd}" in an expectation stands for the current folder.
    std::string expand(std::string s) const {
        for (std::size_t at; (at = s.find("{cwd}")) != std::string::npos;)
            s.replace(at, 5, m_cwd);
        return s;
    }

    velmora_test::TempDir m_dir;
    std::string m_cwd;
    std::filesystem::path const m_oldCwd = std::filesystem::current_path();
    std::optional<std::string> const m_oldHome =
        std::getenv("HOME") ? std::optional<std::string>(std::getenv("HOME")) : std::nullopt;
};

// Construction simplifies white space and resolves "~" and relative paths but cleans nothing;
// a folder gets a "/" unless its text already ends in a separator. The system forms are
// cleaned and keep the case; ToString() is the same text in lower case. Each row reads
// "file internal|folder internal|file system form|folder system form".
TEST_F(PathTest, ConstructionAndCleaning) {
    char const* const rows[][3] = {
        // HOME (nullptr: unset), the text, the forms
        {"/h", "  /My  \t Songs ", "/My Songs|/My Songs/|/My Songs|/My Songs/"},
        {"/h", " \t\xA0 ", "|||/"},
        {nullptr, "~", "/|/||/"},
        {"/U/u", "~/x", "/U/u/x|/U/u/x/|/U/u/x|/U/u/x/"},
        {"/U/u", "~\\x", "/U/u/x|/U/u/x/|/U/u/x|/U/u/x/"},
        {"/U/u", "~x", "{cwd}/~x|{cwd}/~x/|{cwd}/~x|{cwd}/~x/"},
        {"/U/u", "\\x", "\\x|\\x/|/x|/x/"},
        {"/h", "C:\\Dir\\", "{cwd}/C:\\Dir\\|{cwd}/C:\\Dir\\|{cwd}/C:/Dir|{cwd}/C:/Dir/"},
        {"/h", "/A\\b//C/", "/A\\b//C/|/A\\b//C/|/A/b/C|/A/b/C/"},
        {"/h", "//Srv//share/", "//Srv//share/|//Srv//share/|//Srv/share|//Srv/share/"},
        {"/h", "///x", "///x|///x/|///x|///x/"},
        {"/h", "/a/b/../../c", "/a/b/../../c|/a/b/../../c/|/a/../c|/a/../c/"}, // skips after ".."
        {"/h", "/a/b/../c/../d", "/a/b/../c/../d|/a/b/../c/../d/|/a/d|/a/d/"},
        {"/h", "/../a", "/../a|/../a/|a|a/"},
        {"/h", "/..", "/..|/../||/"},
        {"/h", "/a/..", "/a/..|/a/../||/"},
        {"/h", "/a/./b", "/a/./b|/a/./b/|/a/./b|/a/./b/"},
        {"/h", "a/b", "{cwd}/a/b|{cwd}/a/b/|{cwd}/a/b|{cwd}/a/b/"},
    };
    for (auto const& [home, in, forms] : rows) {
        SCOPED_TRACE(std::string("\"") + in + "\", HOME " + (home ? home : "unset"));
        setHome(home);
        FilePath const file(in);
        FolderPath const folder(in);
        EXPECT_EQ(str(file.GetInternal()) + "|" + str(folder.GetInternal()) + "|" +
                      str(file.ToSystemString()) + "|" + str(folder.ToSystemString()),
                  expand(forms));
        EXPECT_EQ(str(file.ToString()), str(file.ToSystemString().ToLower()));
        EXPECT_EQ(str(folder.ToString()), str(folder.ToSystemString().ToLower()));
        EXPECT_EQ(file.IsEmpty(), *forms == '|');
    }
    for (char const* in : {"", "/x", "\\x"})
        EXPECT_FALSE(FolderPath::IsRelative(in) || FilePath::IsRelative(in)) << in;
    for (char const* in : {"x", "~/x", "C:/x"})
        EXPECT_TRUE(FolderPath::IsRelative(in) && FilePath::IsRelative(in)) << in;

    // Without a readable current folder relative paths start at the root: six levels of 200
    // bytes pass the 1024-byte buffer.
    std::string const level(200, 'd');
    for (int i = 0; i < 6; ++i)
        ASSERT_TRUE(::mkdir(level.c_str(), 0755) == 0 && ::chdir(level.c_str()) == 0);
    EXPECT_EQ(str(FilePath("a").GetInternal()), "/a");
}

// A file's name, extension, base name and folder; a folder's name and parent, "" and the
// empty path when it is top-level. The parent re-resolves relative text from the current folder.
TEST_F(PathTest, Decomposition) {
    char const* const rows[][4] = {
        // HOME, the text, "name|extension|base name|GetFolder()", "name|GetParent()"
        {"/h", "/a/B.Txt", "B.Txt|Txt|B|/a/", "B.Txt|/a/"},
        {"/h", "/a/archive.tar.gz", "archive.tar.gz|gz|archive.tar|/a/", "archive.tar.gz|/a/"},
        {"/h", "/a/.profile", ".profile|profile||/a/", ".profile|/a/"},
        {"/h", "/x.d/noext", "noext||noext|/x.d/", "noext|/x.d/"},
        {"/h", "/A\\b.c\\", "b.c|c|b|/A/", "b.c|/A/"},
        {"/h", "/a/b/../c", "c||c|/a/b/../", "c|/a/b/../"}, // not cleaned
        {"/h", "/a", "a||a|/", "a|/"},
        {"/h", "/", "|||/", "|"},
        {"/h", "", "|||{cwd}/./", "|"},
        {"/h", "/a/..", "..||.|/a/", "|"},
        {".", "~", ".|||{cwd}/./", "|"},                // no separator left: "."; "./" is top-level
        {"ab", "~/c", "c||c|{cwd}/ab/", "c|{cwd}/ab/"}, // HOME injects relative text
        {"C:", "~/x", "x||x|{cwd}/C:/", "x|{cwd}/C:/"}, // the drive keeps its "/"
        {"C:", "~", "|||{cwd}/C:/", "|{cwd}/"},         // "C:/": the drive alone names nothing
        {"C:x", "~", "x||x|{cwd}/C:/", "x|{cwd}/"},     // "C:x/": the drive prefix is dropped
    };
    for (auto const& [home, in, fileParts, folderParts] : rows) {
        SCOPED_TRACE(std::string("HOME ") + home + ", " + in);
        setHome(home);
        FilePath const p(in);
        FolderPath const f(in);
        EXPECT_EQ(str(p.GetFilename()) + "|" + str(p.GetExtension()) + "|" + str(p.GetBaseName()) +
                      "|" + str(p.GetFolder().GetInternal()),
                  expand(fileParts));
        EXPECT_EQ(str(f.GetFolderName()) + "|" + str(f.GetParent().GetInternal()),
                  expand(folderParts));
        EXPECT_EQ(f.IsTopLevel(), std::string(folderParts) == "|");
    }
}

// Case, separator style, doubled and trailing separators and "name/.." pairs are ignored;
// order is that of the lower-case text.
TEST_F(PathTest, Comparison) {
    char const* const rows[][3] = {
        {"/Users/A//x\\", "\\users\\a/x/", "== <="},
        {"/x/../Y", "/y", "== <="},
        {"/a", "/B", "< <="},
        {"/b", "/A", ""},
        {"/a", "/a/b", "< <="},
    };
    auto const relations = [](auto const& a, auto const& b) {
        return std::string(a == b ? "== " : "") + (a < b ? "< " : "") + (a <= b ? "<=" : "");
    };
    for (auto const& [a, b, expected] : rows) {
        SCOPED_TRACE(std::string(a) + " vs " + b);
        EXPECT_EQ(relations(FolderPath(a), FolderPath(b)), expected);
        EXPECT_EQ(relations(FilePath(a), FilePath(b)), expected);
    }
}

TEST_F(PathTest, AFileInAFolderLeadsBackToIt) {
    for (char const* in : {"/", "/a", "/a/b/", "/A//b\\", "rel/x", "/a/./b"}) {
        FolderPath const folder(in);
        EXPECT_EQ(str((folder + "x.y").GetInternal()), str(folder.GetInternal()) + "x.y") << in;
        EXPECT_TRUE((folder + "x.y").GetFolder() == folder) << in;
        EXPECT_TRUE(FolderPath(folder.GetInternal() + "x").GetParent() == folder) << in;
    }
}

} // namespace
