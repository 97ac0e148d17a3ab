// Util::Dir on a real temporary folder: existence, creation, removal, time stamps, listing, and
// the failures an unprivileged process meets with files and folders.
#include "Util/Dir.h"

#include "test_support.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using Util::Dir;
using Util::File;
using Util::Exception::FileIO;
using velmora_test::WriteFile;
using Names = std::vector<std::string>;
namespace fs = std::filesystem;

std::string str(String const& s) {
    return s.Latin1();
}

class DirTest : public ::testing::Test {
protected:
    Dir dir(std::string const& name) const { return Dir(FolderPath((m_dir / name).c_str())); }
    // The listing of the folder "list", after start when appending.
    Names list(std::string const& filter, Names const& start = {}, bool append = false,
               std::string const& name = "list") const {
        std::vector<String> names;
        for (std::string const& s : start)
            names.push_back(s.c_str());
        dir(name).GetFilenames(names, filter.c_str(), append);
        Names out;
        for (String const& s : names)
            out.push_back(str(s));
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
            EXPECT_EQ(str(e.GetMessageText()), message);
            EXPECT_EQ(e.GetErrorType(), type);
            EXPECT_EQ(str(e.GetFolderPath().GetInternal()), m_dir / name + "/");
            EXPECT_TRUE(e.GetFilePath().IsEmpty() && str(e.GetFilename()) == "Util/Dir_mac" &&
                        e.GetLineNumber() > 0 && e.GetLastError() == 0)
                << "stamped";
        }
    }
    velmora_test::TempDir m_dir;
};

TEST_F(DirTest, ExistsCreateRemoveAndTimes) {
    WriteFile(m_dir / "plain", "x");
    dir("Sub/Deeper/Deepest").Create(true);
    dir("Sub/Deeper/Deepest").Create(false); // exists: nothing to do
    dir("one").Create(false);
    EXPECT_TRUE(fs::is_directory(m_dir / "Sub/Deeper/Deepest") && fs::is_directory(m_dir / "one"));
    EXPECT_TRUE(Dir(FolderPath("/")).Exists() && dir("Sub").Exists());
    EXPECT_FALSE(Dir().Exists() || dir("sub").Exists() || dir("plain").Exists());
    dir("one").Remove();
    EXPECT_FALSE(dir("one").Exists());
    dir("one").Remove(); // missing: quietly
    Dir().Remove();

    // A relative path is skipped: with HOME "rel", "~/x" is stored as the relative "rel/x/".
    fs::path const cwd = fs::current_path();
    fs::current_path(m_dir.Path());
    std::string const home = std::getenv("HOME") ? std::getenv("HOME") : "";
    ::setenv("HOME", "rel", 1);
    Dir(FolderPath("~/x")).Create(true);
    EXPECT_FALSE(fs::exists(m_dir / "rel"));
    ::setenv("HOME", home.c_str(), 1);
    fs::current_path(cwd);

    dir("Sub").SetTime(Util::FileTime{1000000000u, 1234567890u});
    Util::FileTime t{0, 0};
    dir("Sub").GetTime(&t);
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
    auto const W = FileIO::WRITE_ERROR;
    expectFailure("missing/a", "mkdir() failed with -1/2", W, [](Dir& d) { d.Create(false); });
    expectFailure("plain/a/b", "mkdir() failed with -1/17", W, [](Dir& d) { d.Create(true); });
    expectFailure("made/" + std::string(300, 'n') + "/x", "mkdir() failed with -1/36", W,
                  [](Dir& d) { d.Create(true); });
    EXPECT_TRUE(fs::is_directory(m_dir / "made"));
    expectFailure("full", "rmdir() failed", FileIO::REMOVE_ERROR, [](Dir& d) { d.Remove(); });
    expectFailure("missing", "Error getting folder time", FileIO::UNEXPECTED_ERROR,
                  [](Dir& d) { d.GetTime(&t); });
    expectFailure("missing", "Error setting folder time", FileIO::UNEXPECTED_ERROR,
                  [](Dir& d) { d.SetTime(t); });
}

// Only regular files count (a link as what it points to), judged by the path the listing
// builds from the name, which simplifies white space and reads "\" as a separator: the folder
// "p  q" is listed because "p q" is a file, "m\n" because "m/n" is. Taking readdir's type must
// not change that answer.
TEST_F(DirTest, ListingWithEachFilterFormAppendAndSort) {
    dir("list/sub.wav").Create(true);
    dir("list/m").Create(true);
    fs::create_directory(m_dir / "list/p  q"); // not through FolderPath, which would simplify it
    for (char const* name : {"b.wav", "A.WAV", "c.txt", ".txt.bak", "Readme", "a", "aXa", "p q",
                             "x  y", "m\\n", "m/n", "k\\j"})
        WriteFile(m_dir / (std::string("list/") + name), "x");
    ASSERT_EQ(::symlink("b.wav", (m_dir / "list/link.wav").c_str()), 0);
    ASSERT_EQ(::symlink("sub.wav", (m_dir / "list/dirlink.wav").c_str()), 0);
    ASSERT_EQ(::symlink("gone", (m_dir / "list/dead.wav").c_str()), 0);
    ASSERT_EQ(::mkfifo((m_dir / "list/pipe.wav").c_str(), 0600), 0);
    Names const all{".txt.bak", "A.WAV",    "Readme", "a",    "aXa", "b.wav",
                    "c.txt",    "link.wav", "m\\n",   "p  q", "p q"};
    Names const wav{"A.WAV", "b.wav", "link.wav"};
    std::pair<char const*, Names> const rows[] = {
        {"", all},
        {"*", all},
        {"*.wav", wav},
        {"*.WAV", wav},
        {".TXT", {".txt.bak"}}, // no "*": a prefix
        {"READ", {"Readme"}},
        {"a*a", {"a", "aXa"}}, // prefix and suffix may overlap
        {"*.w*v", {}},         // a second "*" is an ordinary character
    };
    for (auto const& [filter, expected] : rows)
        EXPECT_EQ(list(filter), expected) << "filter \"" << filter << "\"";
    // Appending sorts the earlier names in and keeps duplicates; a missing folder adds nothing.
    EXPECT_EQ(list("*.wav", {"zzz", "b.wav", "a"}, true),
              (Names{"A.WAV", "a", "b.wav", "b.wav", "link.wav", "zzz"}));
    EXPECT_EQ(list("*.wav", {"zzz"}, false), wav);
    EXPECT_EQ(list("", {"z", "a"}, false, "missing"), Names{});
    EXPECT_EQ(list("", {"z", "a"}, true, "missing"), (Names{"z", "a"}));
}

// The modes deny the owner too, so an ordinary user meets the failures directly. Root passes
// every permission check, so as root the checks run with the real and effective IDs of
// "nobody", root staying the saved ID to come back to.
TEST_F(DirTest, WhatAnUnprivilegedProcessMeets) {
    passwd const* nobody = ::getpwnam("nobody");
    if (::geteuid() == 0 && nobody == nullptr)
        GTEST_SKIP() << "needs a \"nobody\" user to drop root's privileges";
    dir("locked").Create(false);
    dir("open/sub").Create(true);
    for (char const* name : {"locked/f", "public", "secret"})
        WriteFile(m_dir / name, "x");
    for (auto const& [name, mode] : {std::pair<char const*, int>{"locked", 0311},
                                     {"public", 0444},
                                     {"secret", 0},
                                     {"open", 0555},
                                     {"", 0555}})
        ASSERT_EQ(::chmod((m_dir / name).c_str(), mode), 0) << name;
    struct Drop {
        explicit Drop(passwd const* user)
            : root(::geteuid() == 0),
              ok(!root || (::setresgid(user->pw_gid, user->pw_gid, 0) == 0 &&
                           ::setresuid(user->pw_uid, user->pw_uid, 0) == 0)) {}
        ~Drop() {
            if (root && (::setresuid(0, 0, 0) != 0 || ::setresgid(0, 0, 0) != 0))
                std::abort(); // never go on without root's rights
        }
        bool const root, ok;
    } const drop(nobody);
    ASSERT_TRUE(drop.ok) << "dropping privileges failed";
    File pub(FilePath((m_dir / "public").c_str())), sec(FilePath((m_dir / "secret").c_str()));
    EXPECT_TRUE(pub.IsReadable() && !pub.IsWritable() && !sec.IsReadable() && sec.Exists());
    EXPECT_THROW(pub.Remove(), FileIO);
    // An unreadable folder lists nothing and leaves an appended list as it was.
    EXPECT_EQ(list("", {"z", "a"}, true, "locked"), (Names{"z", "a"}));
    expectFailure("open/new", "mkdir() failed with -1/13", FileIO::WRITE_ERROR,
                  [](Dir& d) { d.Create(false); });
    expectFailure("open/sub", "rmdir() failed", FileIO::REMOVE_ERROR, [](Dir& d) { d.Remove(); });
}

} // namespace
