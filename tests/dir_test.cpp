// Util::Dir on a real temporary folder: existence, creation, removal, time stamps, listing, and
// the failures an unprivileged process meets with files and folders.
#include "Util/Dir.h"

#include "test_support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

using Util::Dir;
using Util::File;
using Util::Exception::FileIO;
using velmora_test::WriteFile;
namespace fs = std::filesystem;

std::string str(String const& s) {
    return s.Latin1();
}

class DirTest : public ::testing::Test {
protected:
    Dir dir(std::string const& name) const { return Dir(FolderPath((m_dir / name).c_str())); }
    // The listing of the folder "list", after start when appending, each name followed by "|".
    std::string list(std::string const& filter, std::vector<String> names = {}, bool append = false,
                     std::string const& name = "list") const {
        dir(name).GetFilenames(names, filter.c_str(), append);
        std::string out;
        for (String const& s : names)
            out += str(s) + "|";
        return out;
    }
    // op on the folder name throws FileIO with message and type, naming that folder, stamped
    // by the folder module.
    void expectFailure(std::string const& name, char const* message, FileIO::ErrorType type,
                       void (*op)(Dir&)) const {
        SCOPED_TRACE(message);
        Dir d = dir(name);
        try {
            op(d);
            ADD_FAILURE() << "nothing was thrown";
        } catch (FileIO const& e) {
            EXPECT_EQ(std::tuple(str(e.GetMessageText()), e.GetErrorType(),
                                 str(e.GetFolderPath().GetInternal()), e.GetFilePath().IsEmpty(),
                                 str(e.GetFilename()), e.GetLineNumber() > 0, e.GetLastError()),
                      std::tuple(message, type, m_dir / name + "/", true, "Util/Dir_mac", true, 0));
        }
    }
    velmora_test::TempDir m_dir;
};

TEST_F(DirTest, ExistsCreateRemoveAndTimes) {
    WriteFile(m_dir / "plain", "x");
    // The second call finds the folder there: nothing to do.
    dir("Sub/Deeper/Deepest").Create(true), dir("Sub/Deeper/Deepest").Create(false);
    dir("one").Create(false);
    EXPECT_TRUE(fs::is_directory(m_dir / "Sub/Deeper/Deepest") && fs::is_directory(m_dir / "one"));
    EXPECT_TRUE(Dir(FolderPath("/")).Exists() && dir("Sub").Exists());
    EXPECT_FALSE(Dir().Exists() || dir("sub").Exists() || dir("plain").Exists());
    dir("one").Remove();
    EXPECT_FALSE(dir("one").Exists());
    dir("one").Remove(), Dir().Remove(); // missing: quietly

    // A relative path is skipped: with HOME "rel", "~/x" is stored as the relative "rel/x/".
    fs::path const cwd = fs::current_path();
    std::string const home = std::getenv("HOME") ? std::getenv("HOME") : "";
    fs::current_path(m_dir.Path()), ::setenv("HOME", "rel", 1);
    Dir(FolderPath("~/x")).Create(true);
    EXPECT_FALSE(fs::exists(m_dir / "rel"));
    ::setenv("HOME", home.c_str(), 1), fs::current_path(cwd);

    Util::FileTime t{0, 0};
    dir("Sub").SetTime(Util::FileTime{1000000000u, 1234567890u}), dir("Sub").GetTime(&t);
    EXPECT_EQ(std::make_pair(t.uAccessSeconds, t.uModSeconds),
              std::make_pair(1000000000u, 1234567890u));
}

// Every throw site of the folder module. A recursive failure names the whole target and keeps
// the levels it made; a level that is a regular file is no folder, so making it fails with
// EEXIST.
TEST_F(DirTest, ThrowSites) {
    WriteFile(m_dir / "plain", "x");
    dir("full/inner").Create(true);
    static Util::FileTime t{0, 0};
    auto const W = FileIO::WRITE_ERROR, U = FileIO::UNEXPECTED_ERROR;
    expectFailure("missing/a", "mkdir() failed with -1/2", W, [](Dir& d) { d.Create(false); });
    expectFailure("plain/a/b", "mkdir() failed with -1/17", W, [](Dir& d) { d.Create(true); });
    expectFailure("made/" + std::string(300, 'n') + "/x", "mkdir() failed with -1/36", W,
                  [](Dir& d) { d.Create(true); });
    EXPECT_TRUE(fs::is_directory(m_dir / "made"));
    expectFailure("full", "rmdir() failed", FileIO::REMOVE_ERROR, [](Dir& d) { d.Remove(); });
    expectFailure("missing", "Error getting folder time", U, [](Dir& d) { d.GetTime(&t); });
    expectFailure("missing", "Error setting folder time", U, [](Dir& d) { d.SetTime(t); });
}

// Only regular files count (a link as what it points to), judged by the path the listing
// builds from the name, which simplifies white space and reads "\" as a separator: the folder
// "p  q" is listed because "p q" is a file, "m\n" because "m/n" is. Taking readdir's type must
// not change that answer.
TEST_F(DirTest, ListingWithEachFilterFormAppendAndSort) {
    dir("list/sub.wav").Create(true), dir("list/m").Create(true);
    fs::create_directory(m_dir / "list/p  q"); // not through FolderPath, which would simplify it
    for (char const* name : {"b.wav", "A.WAV", "c.txt", ".txt.bak", "Readme", "a", "aXa", "p q",
                             "x  y", "m\\n", "m/n", "k\\j"})
        WriteFile(m_dir / (std::string("list/") + name), "x");
    ASSERT_EQ(::symlink("b.wav", (m_dir / "list/link.wav").c_str()), 0);
    ASSERT_EQ(::symlink("sub.wav", (m_dir / "list/dirlink.wav").c_str()), 0);
    ASSERT_EQ(::symlink("gone", (m_dir / "list/dead.wav").c_str()), 0);
    ASSERT_EQ(::mkfifo((m_dir / "list/pipe.wav").c_str(), 0600), 0);
    std::string const all = ".txt.bak|A.WAV|Readme|a|aXa|b.wav|c.txt|link.wav|m\\n|p  q|p q|",
                      wav = "A.WAV|b.wav|link.wav|";
    // Without "*" a filter is a prefix; prefix and suffix may overlap; a second "*" is an
    // ordinary character.
    std::string got;
    for (char const* filter : {"", "*", "*.wav", "*.WAV", ".TXT", "READ", "a*a", "*.w*v"})
        got += list(filter) + "\n";
    EXPECT_EQ(got, all + "\n" + all + "\n" + wav + "\n" + wav + "\n.txt.bak|\nReadme|\na|aXa|\n\n");
    // Appending sorts the earlier names in and keeps duplicates; a missing folder adds nothing.
    EXPECT_EQ(list("*.wav", {"zzz", "b.wav", "a"}, true), "A.WAV|a|b.wav|b.wav|link.wav|zzz|");
    EXPECT_EQ(list("*.wav", {"zzz"}, false), wav);
    // A file whose path would pass PATH_MAX cannot be queried, so it is not listed.
    std::string deep = "list";
    int const at = ::open((m_dir / "list").c_str(), O_RDONLY | O_DIRECTORY);
    int folder = at;
    while ((m_dir / deep).size() < PATH_MAX - 300) {
        ASSERT_EQ(::mkdirat(folder, std::string(200, 'd').c_str(), 0755), 0);
        int const next = ::openat(folder, std::string(200, 'd').c_str(), O_RDONLY | O_DIRECTORY);
        ::close(folder);
        folder = next, deep += "/" + std::string(200, 'd');
    }
    for (std::string const& name : {std::string("short"), std::string(250, 'f')})
        ::close(::openat(folder, name.c_str(), O_WRONLY | O_CREAT, 0644));
    ::close(folder);
    EXPECT_EQ(list("", {}, false, deep), "short|");
    EXPECT_EQ(list("", {"z", "a"}, false, "missing") + list("", {"z", "a"}, true, "missing"),
              "z|a|");
}

// Random names, in folders whose own names the path rules change or not: the listing is
// exactly the names whose folder + name path, built and cleaned by FilePath, a status query
// finds to be a regular file, filtered in lower case and sorted.
TEST_F(DirTest, ListingMatchesQueryingEachJoinedPath) {
    std::mt19937 rng(20261123);
    std::string const alphabet = "aAbB.wW*v  \t\\\xa0-";
    for (std::string folderName : {"plain", "two  spaces", "tab\tand\\slash"}) {
        fs::create_directory(m_dir / folderName);
        for (int i = 0; i < 150; ++i) {
            std::string name;
            for (std::size_t n = 1 + rng() % 8; n > 0; --n)
                name += alphabet[rng() % alphabet.size()];
            std::string const path = m_dir / (folderName + "/" + name);
            if (name == "." || name == ".." || fs::exists(path))
                continue;
            if (i % 10)
                WriteFile(path, "x");
            else
                fs::create_directory(path);
        }
        FolderPath const folder((m_dir / folderName).c_str());
        for (char const* filter : {"", "*.W", "a*", "*v"}) {
            std::string const pattern = *filter ? filter : "*";
            std::size_t const star = pattern.find('*');
            std::string const lowerPrefix = str(String(pattern.substr(0, star).c_str()).ToLower());
            std::string const lowerSuffix =
                star == std::string::npos ? ""
                                          : str(String(pattern.substr(star + 1).c_str()).ToLower());
            std::vector<std::string> expected;
            for (auto const& entry : fs::directory_iterator(m_dir / folderName)) {
                std::string const name = entry.path().filename();
                std::string const lower = str(String(name.c_str()).ToLower());
                struct stat st;
                std::string path = str((folder + String(name.c_str())).ToSystemString());
                while (path.size() > 1 && path.back() == '/')
                    path.pop_back();
                if (lower.rfind(lowerPrefix, 0) == 0 && lower.size() >= lowerSuffix.size() &&
                    lower.compare(lower.size() - lowerSuffix.size(), std::string::npos,
                                  lowerSuffix) == 0 &&
                    ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode))
                    expected.push_back(name);
            }
            std::sort(expected.begin(), expected.end());
            std::string want;
            for (std::string const& name : expected)
                want += name + "|";
            EXPECT_EQ(list(filter, {}, false, folderName), want) << folderName << ", " << filter;
        }
    }
    // A folder under a HOME with two blanks keeps them, but a file path made in it loses
    // one: "b" is a file in the folder listed and a folder where the query looks.
    for (std::string const home : {"h  ome/f/", "h ome/f/"})
        fs::create_directories(m_dir / home);
    WriteFile(m_dir / "h  ome/f/a", "x"), WriteFile(m_dir / "h  ome/f/b", "x");
    WriteFile(m_dir / "h ome/f/a", "x"), fs::create_directory(m_dir / "h ome/f/b");
    std::string const home = std::getenv("HOME") ? std::getenv("HOME") : "/";
    ::setenv("HOME", (m_dir / "h  ome").c_str(), 1);
    std::vector<String> names;
    Dir(FolderPath(String("~/f"))).GetFilenames(names, "", false);
    ::setenv("HOME", home.c_str(), 1);
    EXPECT_EQ(names, std::vector<String>{"a"});
}

// The modes deny the owner too, so an ordinary user meets the failures directly. Root passes
// every permission check, so as root the checks run with the real and effective IDs of
// "nobody", root staying the saved ID to come back to.
TEST_F(DirTest, WhatAnUnprivilegedProcessMeets) {
    passwd const* nobody = ::getpwnam("nobody");
    if (::geteuid() == 0 && nobody == nullptr)
        GTEST_SKIP() << "needs a \"nobody\" user to drop root's privileges";
    dir("locked").Create(false), dir("open/sub").Create(true), dir("names").Create(false);
    for (char const* name : {"locked/f", "public", "secret", "names/a", "names/b"})
        WriteFile(m_dir / name, "x");
    for (auto const& [name, mode] :
         {std::pair("locked", 0311), std::pair("public", 0444), std::pair("secret", 0),
          std::pair("open", 0555), std::pair("names", 0644), std::pair("", 0555)})
        ASSERT_EQ(::chmod((m_dir / name).c_str(), mode), 0) << name;
    // Root's rights come back when the test ends, however it ends; never go on without them.
    bool const root = ::geteuid() == 0;
    std::shared_ptr<void> const restore(nullptr, [root](void*) {
        if (root && (::setresuid(0, 0, 0) != 0 || ::setresgid(0, 0, 0) != 0))
            std::abort();
    });
    ASSERT_TRUE(!root || (::setresgid(nobody->pw_gid, nobody->pw_gid, 0) == 0 &&
                          ::setresuid(nobody->pw_uid, nobody->pw_uid, 0) == 0))
        << "dropping privileges failed";
    File pub(FilePath((m_dir / "public").c_str())), sec(FilePath((m_dir / "secret").c_str()));
    EXPECT_TRUE(pub.IsReadable() && !pub.IsWritable() && !sec.IsReadable() && sec.Exists());
    EXPECT_THROW(pub.Remove(), FileIO);
    // An unreadable folder lists nothing and leaves an appended list as it was; a folder whose
    // names can be read but not searched lists none of them, since no status query succeeds.
    EXPECT_EQ(list("", {"z", "a"}, true, "locked") + list("", {}, false, "names"), "z|a|");
    expectFailure("open/new", "mkdir() failed with -1/13", FileIO::WRITE_ERROR,
                  [](Dir& d) { d.Create(false); });
    expectFailure("open/sub", "rmdir() failed", FileIO::REMOVE_ERROR, [](Dir& d) { d.Remove(); });
}

} // namespace
