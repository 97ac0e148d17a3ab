// Util::File on a real temporary folder: mode strings seen through their effects, every throw
// site, sizes, time stamps, permissions and mixed-case names.
#include "Util/File.h"

#include "test_support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <string>

namespace {

using Util::File;
using Util::Exception::FileIO;
using velmora_test::ReadFile;
using velmora_test::WriteFile;

std::string str(String const& s) {
    return s.Latin1();
}

class FileTest : public ::testing::Test {
protected:
    FilePath path(std::string const& name) const { return FilePath((m_dir / name).c_str()); }
    velmora_test::TempDir m_dir;
};

// Each flag set opened on a file holding "hello": what its size is at once, whether "XY" can be
// written (and where it lands), whether it can then be read from the start, and whether it
// opens a missing file. Text behaves as binary here.
TEST_F(FileTest, ModeStringsByEffect) {
    struct Row {
        unsigned mode;
        char const* modeString;
        unsigned sizeAtOpen; // 0: the open emptied the file
        bool writes, reads;
        char const* after;
        bool opensMissing;
    } const rows[] = {
        {0, "rb", 5, false, true, "hello", false},
        {File::Read, "rb", 5, false, true, "hello", false},
        {File::Truncate, "rb", 5, false, true, "hello", false},
        {File::Write, "wb", 0, true, false, "XY", true},
        {File::Append, "ab", 5, true, false, "helloXY", true},
        {File::Write | File::Append, "ab", 5, true, false, "helloXY", true},
        {File::Read | File::Write, "r+b", 5, true, true, "XYllo", false},
        {File::Read | File::Append, "a+b", 5, true, true, "helloXY", true},
        {File::Read | File::Write | File::Append, "a+b", 5, true, true, "helloXY", true},
        {File::Read | File::Write | File::Truncate, "w+b", 0, true, true, "XY", true},
        {File::ReadWrite, "w+b", 0, true, true, "XY", true},
        {File::ReadWrite | File::Append, "w+b", 0, true, true, "XY", true},
        {File::Read | File::ReadWrite, "r+b", 5, true, true, "XYllo", false},
        {File::Read | File::Text, "rt", 5, false, true, "hello", false},
        {File::Write | File::Text, "wt", 0, true, false, "XY", true},
        {File::Read | File::Write | File::Text, "r+t", 5, true, true, "XYllo", false},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(std::string("mode string ") + row.modeString);
        WriteFile(m_dir / "f", "hello");
        File f(path("f"));
        f.Open(row.mode);
        EXPECT_EQ(f.Size().GetValue(), row.sizeAtOpen);
        char first = 0;
        bool wrote = true, read = true;
        try {
            f.WriteBlock("XY", 2);
            f.Flush();
        } catch (FileIO const&) {
            wrote = false;
        }
        try {
            f.At(0);
            f.ReadBlock(&first, 1);
        } catch (FileIO const&) {
            read = false;
        }
        f.Close();
        EXPECT_EQ(wrote, row.writes);
        EXPECT_EQ(read, row.reads);
        EXPECT_EQ(first, read ? (row.sizeAtOpen == 0 ? 'X' : row.after[0]) : 0);
        EXPECT_EQ(ReadFile(m_dir / "f"), row.after);

        ::unlink((m_dir / "f").c_str());
        File missing(path("f"));
        try {
            missing.Open(row.mode);
        } catch (FileIO const&) {
        }
        EXPECT_EQ(missing.IsOpen(), row.opensMissing);
    }
}

// Every throw site of the file module: the message, the category, the path and the stamp.
TEST_F(FileTest, ThrowSites) {
    WriteFile(m_dir / "hello", "hello");
    WriteFile(m_dir / "plain", "x");
    ASSERT_EQ(::mkfifo((m_dir / "fifo").c_str(), 0600), 0);
    std::string const big(100000, 'x');
    unsigned const none = 0xFFFF; // leave closed
    Util::FileTime t{0, 0};
    char buf[16];
    struct Row {
        std::string path;
        unsigned openMode;
        std::function<void(File&)> op;
        char const* message;
        FileIO::ErrorType type;
    } const rows[] = {
        {m_dir / "missing", none, [](File& f) { f.Open(File::Read); }, "Error opening file",
         FileIO::OPEN_ERROR},
        {m_dir / "plain/x", none, [](File& f) { f.Open(File::Write); }, "Error opening file",
         FileIO::OPEN_ERROR},
        {m_dir / std::string(300, 'n'), none, [](File& f) { f.Open(File::Write); },
         "Error opening file", FileIO::OPEN_ERROR},
        {m_dir / "hello", none, [&](File& f) { f.ReadBlock(buf, 7); },
         "Attempt to read 7 bytes when not open", FileIO::READ_ERROR},
        {m_dir / "hello", none, [&](File& f) { f.WriteBlock(buf, 7); },
         "Attempt to write 7 bytes when not open", FileIO::WRITE_ERROR},
        {m_dir / "hello", none, [](File& f) { f.At(12); }, "Attempt to seek to 12 when not open",
         FileIO::UNEXPECTED_ERROR},
        {m_dir / "hello", File::Read, [&](File& f) { f.ReadBlock(buf, 10); },
         "Attempt to read 10 bytes, only read 5 bytes", FileIO::READ_ERROR},
        {m_dir / "hello", File::Read | File::Text,
         [&](File& f) {
             f.At(2);
             f.ReadBlock(buf, 10);
         },
         "Attempt to read 10 bytes, only read 3 bytes", FileIO::READ_ERROR},
        {m_dir / "fifo", File::Read | File::Write, [](File& f) { f.At(3); }, "Seek to 3 failed",
         FileIO::UNEXPECTED_ERROR},
        {"/dev/full", File::Write, [&](File& f) { f.WriteBlock(big.data(), 100000); },
         "Attempt to write 100000 bytes, only wrote 0 bytes", FileIO::WRITE_ERROR},
        {"/dev/full", File::Write,
         [](File& f) {
             f.WriteBlock("abc", 3); // buffered: fails when the close flushes it
             f.Close();
         },
         "Close failed", FileIO::CLOSE_ERROR},
        {m_dir / "missing", none, [&](File& f) { f.GetTime(&t); }, "Error getting file time",
         FileIO::UNEXPECTED_ERROR},
        {m_dir / "missing", none, [&](File& f) { f.SetTime(t); }, "Error setting file time",
         FileIO::UNEXPECTED_ERROR},
        {m_dir / "missing", none, [](File& f) { f.SetMode(0644); },
         "Error modifying file permissions", FileIO::UNEXPECTED_ERROR},
        {m_dir / "missing", none, [](File& f) { f.Remove(); }, "Remove failed",
         FileIO::REMOVE_ERROR},
        {m_dir / "missing", none, [&](File&) { File::Rename(path("missing"), path("to")); },
         "Rename failed", FileIO::RENAME_ERROR},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.message);
        FilePath const p(row.path.c_str());
        File f(p);
        if (row.openMode != none)
            f.Open(row.openMode);
        try {
            row.op(f);
            ADD_FAILURE() << "nothing was thrown";
        } catch (FileIO const& e) {
            EXPECT_EQ(str(e.GetMessageText()), row.message);
            EXPECT_EQ(e.GetErrorType(), row.type);
            EXPECT_EQ(str(e.GetFilePath().GetInternal()), row.path);
            EXPECT_EQ(str(e.GetFilename()), "Util/File");
            EXPECT_GT(e.GetLineNumber(), 0);
            EXPECT_EQ(e.GetLastError(), 0u);
        }
        EXPECT_EQ(f.IsOpen(), row.openMode != none && row.type != FileIO::CLOSE_ERROR);
    }
}

TEST_F(FileTest, ClosedFileAnswersQuietly) {
    File f(path("f"));
    f.ReadBlock(static_cast<char*>(nullptr), 7);
    f.WriteBlock("x", 0);
    std::vector<unsigned char> empty;
    f.ReadBlock(empty);
    f.WriteBlock(empty);
    f.Close();
    f.Flush();
    EXPECT_FALSE(f.AtEnd());
    EXPECT_FALSE(f.At().IsSet());
    EXPECT_FALSE(f.Size().IsSet()); // missing
    EXPECT_FALSE(File().Size().IsSet());
}

TEST_F(FileTest, ReadingPositionsAndSizes) {
    File f(path("f"));
    f.Open(File::Write);
    std::vector<unsigned char> const data{'h', 'e', 'l', 'l', 'o'};
    f.WriteBlock(data);
    EXPECT_EQ(f.Size().GetValue(), 0u); // still in the stream's buffer
    f.Flush();
    EXPECT_EQ(f.Size().GetValue(), 5u);
    f.Close();
    f.Open(File::Read);
    std::vector<unsigned char> v(3);
    f.At(1);
    f.ReadBlock(v);
    EXPECT_EQ(std::string(v.begin(), v.end()), "ell");
    EXPECT_EQ(f.At().GetValue(), 4u);
    EXPECT_FALSE(f.AtEnd());
    EXPECT_THROW(f.ReadBlock(v), FileIO);
    EXPECT_TRUE(f.AtEnd());
    // Sizes wrap at 4 GiB (a sparse file costs no space).
    ASSERT_EQ(::truncate((m_dir / "f").c_str(), (off_t(1) << 32) + 5), 0);
    EXPECT_EQ(f.Size().GetValue(), 5u);
}

TEST_F(FileTest, DestructorAndSetPathClose) {
    {
        File f(path("a"));
        f.Open(File::Write);
        f.WriteBlock("one", 3);
    }
    EXPECT_EQ(ReadFile(m_dir / "a"), "one");
    File f(path("b"));
    f.Open(File::Write);
    f.WriteBlock("two", 3);
    f.SetPath(path("a"));
    EXPECT_FALSE(f.IsOpen());
    EXPECT_EQ(ReadFile(m_dir / "b"), "two");
}

TEST_F(FileTest, TimesPermissionsRemovalAndRenaming) {
    WriteFile(m_dir / "f", "data");
    File f(path("f"));
    f.SetTime(Util::FileTime{1000000000u, 1234567890u});
    Util::FileTime t{0, 0};
    f.GetTime(&t);
    EXPECT_EQ(t.uAccessSeconds, 1000000000u);
    EXPECT_EQ(t.uModSeconds, 1234567890u);
    f.SetMode(0640);
    struct stat st;
    ASSERT_EQ(::stat((m_dir / "f").c_str(), &st), 0);
    EXPECT_EQ(st.st_mtim.tv_nsec, 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);

    File::Rename(path("f"), path("g"));
    EXPECT_EQ(ReadFile(m_dir / "g"), "data");
    File g(path("g"));
    g.Open(File::Read);
    g.Remove(); // closes first
    EXPECT_FALSE(g.IsOpen());
    EXPECT_FALSE(g.Exists());
    EXPECT_TRUE(File(FilePath(m_dir.Path().c_str())).Exists()); // a folder exists too
}

TEST_F(FileTest, RenameFailureNamesTheSource) {
    try {
        File::Rename(path("from"), path("to"));
        ADD_FAILURE() << "renaming a missing file succeeded";
    } catch (FileIO const& e) {
        std::string const text = str(e.ToString());
        EXPECT_EQ(text.substr(text.find("\nFileIO:")),
                  "\nFileIO:\n" + str(path("from").GetInternal()) + ":  Unknown error");
    }
}

TEST_F(FileTest, MixedCaseNamesReachTheFileAsNamed) {
    WriteFile(m_dir / "Track.WAV", "RIFF");
    File f(path("Track.WAV"));
    EXPECT_TRUE(f.Exists() && f.IsReadable() && f.IsWritable());
    f.Open(File::Read);
    char buf[4];
    f.ReadBlock(buf, 4);
    EXPECT_EQ(std::string(buf, 4), "RIFF");
    EXPECT_EQ(str(path("Track.WAV").ToString()).substr(m_dir.Path().size()), "/track.wav");
    EXPECT_FALSE(File(path("track.wav")).Exists()); // the file system itself tells case apart
}

TEST_F(FileTest, FinderFileTypeFromTheExtendedAttribute) {
    WriteFile(m_dir / "f", "x");
    File f(path("f"));
    EXPECT_EQ(f.GetOSXFileType(), 0u);
    EXPECT_EQ(File(path("missing")).GetOSXFileType(), 0u);
    unsigned char info[32] = {'W', 'A', 'V', 'E', 'h', 'o', 'o', 'k'};
    if (::setxattr((m_dir / "f").c_str(), "user.com.apple.FinderInfo", info, 32, 0) != 0)
        GTEST_SKIP() << "no user extended attributes on this file system (errno " << errno << ")";
    EXPECT_EQ(f.GetOSXFileType(), 0x57415645u);
    ASSERT_EQ(::setxattr((m_dir / "f").c_str(), "user.com.apple.FinderInfo", info, 4, 0), 0);
    EXPECT_EQ(f.GetOSXFileType(), 0u); // not Finder information: wrong size
}

} // namespace
