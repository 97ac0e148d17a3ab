// FolderPath and FilePath: normalisation, decomposition and comparison, with HOME and the
// current folder under the test's control.
#include "common/common_path.h"

#include "test_support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

std::string str(String const& s) {
    return s.Latin1();
}
std::string lower(std::string const& s) {
    return str(String(s.c_str()).ToLower());
}

// Each test runs in a fresh current folder; HOME is set per row and restored afterwards.
class PathTest : public ::testing::Test {
protected:
    void SetUp() override {
        char const* home = std::getenv("HOME");
        m_hadHome = home != nullptr;
        m_oldHome = m_hadHome ? home : "";
        m_oldCwd = cwd();
        ASSERT_EQ(::chdir(m_dir.Path().c_str()), 0);
        m_cwd = cwd();
    }
    void TearDown() override {
        EXPECT_EQ(::chdir(m_oldCwd.c_str()), 0);
        setHome(m_hadHome ? m_oldHome.c_str() : nullptr);
    }
    static std::string cwd() {
        char buf[4096];
        return ::getcwd(buf, sizeof buf) != nullptr ? buf : "";
    }
    static void setHome(char const* home) {
        home == nullptr ? ::unsetenv("HOME") : ::setenv("HOME", home, 1);
    }
    // "{cwd}" at the start of an expectation stands for the current folder.
    std::string expand(std::string const& s) const {
        return s.compare(0, 5, "{cwd}") == 0 ? m_cwd + s.substr(5) : s;
    }

    velmora_test::TempDir m_dir;
    std::string m_cwd, m_oldCwd, m_oldHome;
    bool m_hadHome = false;
};

TEST_F(PathTest, ConstructionSimplifiesAndResolves) {
    struct Row {
        char const *home, *in, *folder, *file; // home nullptr: unset; folder, file: GetInternal
    } const rows[] = {
        {"/h", "  /a/b  ", "/a/b/", "/a/b"},
        {"/h", "", "", ""},
        {"/h", " \t\xA0 ", "", ""},
        {"/h", "/My  \t Songs", "/My Songs/", "/My Songs"},
        {"/h", "/a//b\\", "/a//b\\", "/a//b\\"}, // stored uncleaned
        {nullptr, "~", "/", "/"},
        {nullptr, "~/x", "/x/", "/x"},
        {"", "~/x", "/x/", "/x"},
        {"/Users/u", "~/x", "/Users/u/x/", "/Users/u/x"},
        {"/Users/u", "~\\x", "/Users/u/x/", "/Users/u/x"},
        {"/Users/u", "~x", "{cwd}/~x/", "{cwd}/~x"},
        {"/Users/u", "../a", "{cwd}/../a/", "{cwd}/../a"},
        {"/Users/u", "C:/x", "{cwd}/C:/x/", "{cwd}/C:/x"},
        {"/Users/u", "\\x", "\\x/", "\\x"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(std::string("\"") + row.in + "\", HOME " + (row.home ? row.home : "unset"));
        setHome(row.home);
        EXPECT_EQ(str(FolderPath(row.in).GetInternal()), expand(row.folder));
        EXPECT_EQ(str(FilePath(row.in).GetInternal()), expand(row.file));
        EXPECT_EQ(FilePath(row.in).IsEmpty(), *row.file == '\0');
    }
    for (char const* in : {"", "/x", "\\x"})
        EXPECT_FALSE(FolderPath::IsRelative(in) || FilePath::IsRelative(in)) << in;
    for (char const* in : {"x", "~/x", "C:/x"})
        EXPECT_TRUE(FolderPath::IsRelative(in) && FilePath::IsRelative(in)) << in;
}

TEST_F(PathTest, WithoutAReadableCurrentFolderRelativePathsStartAtTheRoot) {
    std::string const level(200, 'd'); // six levels pass the 1024-byte buffer
    for (int i = 0; i < 6; ++i)
        ASSERT_TRUE(::mkdir(level.c_str(), 0755) == 0 && ::chdir(level.c_str()) == 0);
    EXPECT_EQ(str(FilePath("a").GetInternal()), "/a");
}

// The system forms keep the case; ToString() is the same text in lower case.
TEST_F(PathTest, CleanedAndCanonicalForms) {
    struct Row {
        char const *in, *file, *folder; // FilePath and FolderPath ToSystemString
    } const rows[] = {
        {"/A\\b//C/", "/A/b/C", "/A/b/C/"},
        {"//Srv//share/", "//Srv/share", "//Srv/share/"},
        {"///x", "///x", "///x/"},
        {"/", "", "/"},
        {"/a/B/..", "/a", "/a/"},
        {"/a/b/../../c", "/a/../c", "/a/../c/"}, // the walk skips the component after ".."
        {"/a/b/../c/../d", "/a/d", "/a/d/"},
        {"/../a", "a", "a/"},
        {"/..", "", "/"},
        {"/a/..", "", "/"},
        {"/a/./b", "/a/./b", "/a/./b/"},
        {"C:\\Dir\\", "{cwd}/C:/Dir", "{cwd}/C:/Dir/"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.in);
        EXPECT_EQ(str(FilePath(row.in).ToSystemString()), expand(row.file));
        EXPECT_EQ(str(FilePath(row.in).ToString()), lower(expand(row.file)));
        EXPECT_EQ(str(FolderPath(row.in).ToSystemString()), expand(row.folder));
        EXPECT_EQ(str(FolderPath(row.in).ToString()), lower(expand(row.folder)));
    }
    EXPECT_EQ(str(FolderPath().ToString()), "/");
}

TEST_F(PathTest, FileDecomposition) {
    struct Row {
        char const *home, *in, *name, *ext, *base, *folder; // folder: GetFolder().GetInternal()
    } const rows[] = {
        {"/h", "/a/B.Txt", "B.Txt", "Txt", "B", "/a/"},
        {"/h", "/a/archive.tar.gz", "archive.tar.gz", "gz", "archive.tar", "/a/"},
        {"/h", "/a/.profile", ".profile", "profile", "", "/a/"},
        {"/h", "/x.d/noext", "noext", "", "noext", "/x.d/"},
        {"/h", "/a/b/", "b", "", "b", "/a/"},
        {"/h", "/a\\b.c", "b.c", "c", "b", "/a/"},
        {"/h", "/a", "a", "", "a", "/"},
        {"/h", "/", "", "", "", "/"},
        {"ab", "~/c", "c", "", "c", "{cwd}/ab/"}, // HOME injects relative text
        {"x", "~", "x", "", "x", "{cwd}/./"},     // no separator left: "."
        {"C:", "~/x", "x", "", "x", "{cwd}/C:/"}, // "C:/x": the drive keeps its "/"
        {"C:", "~", "", "", "", "{cwd}/C:/"},     // "C:/": the drive alone names nothing
        {"C:x", "~", "x", "", "x", "{cwd}/C:/"},  // "C:x/": the drive prefix is dropped
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(std::string("HOME ") + row.home + ", " + row.in);
        setHome(row.home);
        FilePath const p(row.in);
        EXPECT_EQ(str(p.GetFilename()), row.name);
        EXPECT_EQ(str(p.GetExtension()), row.ext);
        EXPECT_EQ(str(p.GetBaseName()), row.base);
        EXPECT_EQ(str(p.GetFolder().GetInternal()), expand(row.folder));
    }
}

TEST_F(PathTest, FolderOperations) {
    struct Row {
        char const *home, *in;
        bool topLevel;
        char const *name, *parent; // parent: GetParent().GetInternal()
    } const rows[] = {
        {"/h", "", true, "", ""},
        {"/h", "/", true, "", ""},
        {"/h", "//", true, "", ""},
        {"/h", "/a/..", true, "", ""},
        {".", "~", true, "", ""}, // "./" counts as top-level
        {"/h", "/a", false, "a", "/"},
        {"/h", "/a/b", false, "b", "/a/"},
        {"/h", "/A/B\\", false, "B", "/A/"},
        {"/h", "/a/b/../c", false, "c", "/a/b/../"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(std::string("HOME ") + row.home + ", " + row.in);
        setHome(row.home);
        FolderPath const p(row.in);
        EXPECT_EQ(p.IsTopLevel(), row.topLevel);
        EXPECT_EQ(str(p.GetFolderName()), row.name);
        EXPECT_EQ(str(p.GetParent().GetInternal()), row.parent);
    }
    EXPECT_EQ(str((FolderPath("/a") + "x.txt").GetInternal()), "/a/x.txt");
    EXPECT_EQ(str((FolderPath("/a\\") + "x").GetInternal()), "/a\\x");
}

TEST_F(PathTest, ComparisonIgnoresCaseSeparatorsAndTrailingSlashes) {
    struct Row {
        char const *a, *b;
        bool equal, less;
    } const rows[] = {
        {"/Users/A/", "/users/a", true, false},
        {"/a//b", "/a/b/", true, false},
        {"\\a\\b", "/a/b", true, false},
        {"/x/../y", "/y", true, false},
        {"/a b", "/a \t b", true, false},
        {"/a", "/b", false, true},
        {"/B", "/a", false, false},
        {"/a", "/a/b", false, true},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(std::string(row.a) + " vs " + row.b);
        FolderPath const fa(row.a), fb(row.b);
        FilePath const pa(row.a), pb(row.b);
        EXPECT_EQ(fa == fb, row.equal);
        EXPECT_EQ(fa < fb, row.less);
        EXPECT_EQ(fa <= fb, row.equal || row.less);
        EXPECT_EQ(pa == pb, row.equal);
        EXPECT_EQ(pa < pb, row.less);
        EXPECT_EQ(pa <= pb, row.equal || row.less);
    }
}

TEST_F(PathTest, AFileInAFolderLeadsBackToIt) {
    for (char const* in : {"/", "/a", "/a/b/", "/A//b\\c", "rel/x", "/a/./b"}) {
        SCOPED_TRACE(in);
        FolderPath const folder(in);
        EXPECT_EQ(str((folder + "x.y").GetFilename()), "x.y");
        EXPECT_TRUE((folder + "x.y").GetFolder() == folder);
        EXPECT_TRUE(FolderPath(folder.GetInternal() + "x").GetParent() == folder);
    }
}

} // namespace
