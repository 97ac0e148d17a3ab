// Util::Dir on a real temporary folder: existence, creation, removal, time stamps, listing, and
// the failures an unprivileged process meets with files and folders.
#include "Util/Dir.h"

#include "test_support.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

using Util::Dir;
using Util::File;
using Util::Exception::FileIO;
using velmora_test::WriteFile;
using Names = std::vector<std::string>;

std::string str(String const& s) {
    return s.Latin1();
}

bool isFolder(std::string const& p) {
    struct stat st;
    return ::stat(p.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

class DirTest : public ::testing::Test {
protected:
    FolderPath folder(std::string const& name) const { return FolderPath((m_dir / name).c_str()); }
    Names list(std::string const& filter, Names const& start = {}, bool append = false,
               std::string const& name = "list") const {
        std::vector<String> names;
        for (std::string const& s : start)
            names.push_back(s.c_str());
        Dir(folder(name)).GetFilenames(names, filter.c_str(), append);
        Names out;
        for (String const& s : names)
            out.push_back(str(s));
        return out;
    }
    velmora_test::TempDir m_dir;
};

TEST_F(DirTest, Exists) {
    WriteFile(m_dir / "plain", "x");
    ASSERT_EQ(::mkdir((m_dir / "Samples").c_str(), 0755), 0);
    EXPECT_FALSE(Dir().Exists());
    EXPECT_TRUE(Dir(FolderPath("/")).Exists());
    EXPECT_TRUE(Dir(folder("Samples")).Exists());
    EXPECT_FALSE(Dir(folder("samples")).Exists()); // the case is kept when asking the system
    EXPECT_FALSE(Dir(folder("plain")).Exists());
    EXPECT_FALSE(Dir(folder("missing")).Exists());
}

TEST_F(DirTest, CreateRemoveAndTimes) {
    Dir(folder("Sub/Deeper/Deepest")).Create(true);
    EXPECT_TRUE(isFolder(m_dir / "Sub/Deeper/Deepest"));
    Dir(folder("Sub/Deeper/Deepest")).Create(false); // exists: nothing to do
    Dir(folder("one")).Create(false);
    EXPECT_TRUE(isFolder(m_dir / "one"));
    Dir(folder("one")).Remove();
    EXPECT_FALSE(isFolder(m_dir / "one"));
    Dir(folder("one")).Remove(); // missing: quietly
    Dir().Remove();

    Dir d(folder("Sub"));
    d.SetTime(Util::FileTime{1000000000u, 1234567890u});
    Util::FileTime t{0, 0};
    d.GetTime(&t);
    EXPECT_EQ(t.uAccessSeconds, 1000000000u);
    EXPECT_EQ(t.uModSeconds, 1234567890u);
}

// Every throw site of the folder module; a recursive failure names the whole target and keeps
// the levels it made.
TEST_F(DirTest, ThrowSites) {
    WriteFile(m_dir / "plain", "x");
    Dir(folder("full/inner")).Create(true);
    Util::FileTime t{0, 0};
    struct Row {
        std::string path;
        std::function<void(Dir&)> op;
        char const* message;
        FileIO::ErrorType type;
    } const rows[] = {
        {"missing/a", [](Dir& d) { d.Create(false); }, "mkdir() failed with -1/2",
         FileIO::WRITE_ERROR},
        // A level that is a regular file is no folder, so making it fails with EEXIST.
        {"plain/a/b", [](Dir& d) { d.Create(true); }, "mkdir() failed with -1/17",
         FileIO::WRITE_ERROR},
        {"made/" + std::string(300, 'n') + "/x", [](Dir& d) { d.Create(true); },
         "mkdir() failed with -1/36", FileIO::WRITE_ERROR},
        {"full", [](Dir& d) { d.Remove(); }, "rmdir() failed", FileIO::REMOVE_ERROR},
        {"missing", [&](Dir& d) { d.GetTime(&t); }, "Error getting folder time",
         FileIO::UNEXPECTED_ERROR},
        {"missing", [&](Dir& d) { d.SetTime(t); }, "Error setting folder time",
         FileIO::UNEXPECTED_ERROR},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.message);
        Dir d(folder(row.path));
        try {
            row.op(d);
            ADD_FAILURE() << "nothing was thrown";
        } catch (FileIO const& e) {
            EXPECT_EQ(str(e.GetMessageText()), row.message);
            EXPECT_EQ(e.GetErrorType(), row.type);
            EXPECT_EQ(str(e.GetFolderPath().GetInternal()), m_dir / row.path + "/");
            EXPECT_TRUE(e.GetFilePath().IsEmpty());
            EXPECT_EQ(str(e.GetFilename()), "Util/Dir_mac");
            EXPECT_GT(e.GetLineNumber(), 0);
            EXPECT_EQ(e.GetLastError(), 0u);
        }
    }
    EXPECT_TRUE(isFolder(m_dir / "made"));
}

TEST_F(DirTest, RecursiveCreateSkipsRelativePaths) {
    char cwd[4096];
    ASSERT_NE(::getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(::chdir(m_dir.Path().c_str()), 0);
    char const* home = std::getenv("HOME");
    std::string const oldHome = home != nullptr ? home : "";
    ::setenv("HOME", "rel", 1); // "~/x" is then stored as the relative "rel/x/"
    Dir(FolderPath("~/x")).Create(true);
    EXPECT_FALSE(isFolder(m_dir / "rel"));
    home != nullptr ? ::setenv("HOME", oldHome.c_str(), 1) : ::unsetenv("HOME");
    ASSERT_EQ(::chdir(cwd), 0);
}

TEST_F(DirTest, ListingWithEachFilterForm) {
    Dir(folder("list/sub.wav")).Create(true);
    for (char const* name : {"b.wav", "A.WAV", "c.txt", ".txt.bak", "Readme", "a", "aXa"})
        WriteFile(m_dir / (std::string("list/") + name), "x");
    ASSERT_EQ(::symlink("b.wav", (m_dir / "list/link.wav").c_str()), 0);
    ASSERT_EQ(::symlink("sub.wav", (m_dir / "list/dirlink.wav").c_str()), 0);
    ASSERT_EQ(::symlink("gone", (m_dir / "list/dead.wav").c_str()), 0);
    ASSERT_EQ(::mkfifo((m_dir / "list/pipe.wav").c_str(), 0600), 0);
    Names const all{".txt.bak", "A.WAV", "Readme", "a", "aXa", "b.wav", "c.txt", "link.wav"};
    struct Row {
        char const* filter;
        Names expected;
    } const rows[] = {
        {"", all},
        {"*", all},
        {"*.wav", {"A.WAV", "b.wav", "link.wav"}},
        {"*.WAV", {"A.WAV", "b.wav", "link.wav"}},
        {".TXT", {".txt.bak"}}, // no "*": a prefix
        {"READ", {"Readme"}},
        {"a*a", {"a", "aXa"}}, // prefix and suffix may overlap
        {"*.w*v", {}},         // a second "*" is an ordinary character
    };
    for (Row const& row : rows)
        EXPECT_EQ(list(row.filter), row.expected) << "filter \"" << row.filter << "\"";
}

TEST_F(DirTest, AppendSortsEverythingAndMissingFoldersListNothing) {
    Dir(folder("list")).Create(false);
    WriteFile(m_dir / "list/b.wav", "x");
    WriteFile(m_dir / "list/A.WAV", "x");
    EXPECT_EQ(list("*.wav", {"zzz", "b.wav", "a"}, true),
              (Names{"A.WAV", "a", "b.wav", "b.wav", "zzz"}));
    EXPECT_EQ(list("*.wav", {"zzz"}, false), (Names{"A.WAV", "b.wav"}));
    EXPECT_EQ(list("", {"z", "a"}, false, "missing"), Names{});
    EXPECT_EQ(list("", {"z", "a"}, true, "missing"), (Names{"z", "a"}));
}

// Names are judged by the path the listing builds from them, which simplifies white space and
// reads "\" as a separator; taking readdir's type must not change that answer.
TEST_F(DirTest, ListingJudgesTheBuiltPath) {
    Dir(folder("list/m")).Create(true);
    ASSERT_EQ(::mkdir((m_dir / "list/p  q").c_str(), 0755), 0); // a folder, but "p q" is a file
    for (char const* name : {"list/p q", "list/x  y", "list/m\\n", "list/m/n", "list/k\\j"})
        WriteFile(m_dir / name, "x");
    EXPECT_EQ(list(""), (Names{"m\\n", "p  q", "p q"}));
}

// Root passes every permission check, so a forked child gives up root for "nobody" and reports
// what it met, one item per check.
TEST_F(DirTest, WhatAnUnprivilegedProcessMeets) {
    passwd const* nobody = ::getpwnam("nobody");
    if (nobody == nullptr || ::geteuid() != 0)
        GTEST_SKIP() << "needs root and a \"nobody\" user to drop privileges";
    ASSERT_EQ(::chmod(m_dir.Path().c_str(), 0755), 0);
    Dir(folder("locked")).Create(false);
    Dir(folder("open/sub")).Create(true);
    WriteFile(m_dir / "locked/f", "x");
    WriteFile(m_dir / "public", "x");
    WriteFile(m_dir / "secret", "x");
    ASSERT_EQ(::chmod((m_dir / "locked").c_str(), 0711), 0);
    ASSERT_EQ(::chmod((m_dir / "public").c_str(), 0644), 0);
    ASSERT_EQ(::chmod((m_dir / "secret").c_str(), 0600), 0);
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    pid_t const pid = ::fork();
    if (pid == 0) {
        std::string r = "no privileges dropped";
        if (::setgid(nobody->pw_gid) == 0 && ::setuid(nobody->pw_uid) == 0) {
            File pub(FilePath((m_dir / "public").c_str())),
                sec(FilePath((m_dir / "secret").c_str()));
            r = std::string(pub.IsReadable() ? "R" : "-") + (pub.IsWritable() ? "W" : "-") +
                (sec.IsReadable() ? "R" : "-") + (sec.Exists() ? "E" : "-");
            // An unreadable folder lists nothing and leaves an appended list as it was.
            r += list("", {"z", "a"}, true, "locked") == Names{"z", "a"} ? " L" : " -";
            std::function<void()> const ops[] = {[&] { pub.Remove(); },
                                                 [&] { Dir(folder("open/new")).Create(false); },
                                                 [&] { Dir(folder("open/sub")).Remove(); }};
            for (auto const& op : ops) {
                try {
                    op();
                } catch (FileIO const& e) {
                    r += "|" + str(e.GetMessageText());
                }
            }
        }
        ssize_t const n = ::write(fds[1], r.data(), r.size());
        ::_exit(n == ssize_t(r.size()) ? 0 : 1);
    }
    ::close(fds[1]);
    char buf[256];
    ssize_t const n = ::read(fds[0], buf, sizeof buf);
    ::close(fds[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    EXPECT_EQ(std::string(buf, n > 0 ? size_t(n) : 0),
              "R--E L|Remove failed|mkdir() failed with -1/13|rmdir() failed");
}

} // namespace
