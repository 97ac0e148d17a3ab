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
#include <tuple>

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
    // What opening with mode does to a file holding "hello": "<size at once> <W if "XY" could
    // be written, else -><the first byte read from the start, or -> <the content afterwards>".
    std::string effect(unsigned mode) const {
        WriteFile(m_dir / "f", "hello");
        File f(path("f"));
        f.Open(mode);
        std::string r = std::to_string(f.Size().GetValue()) + " W";
        char first = '-';
        try {
            f.WriteBlock("XY", 2), f.Flush();
        } catch (FileIO const&) {
            r.back() = '-';
        }
        try {
            f.At(0), f.ReadBlock(&first, 1);
        } catch (FileIO const&) {
        }
        f.Close();
        return r + first + " " + ReadFile(m_dir / "f");
    }
    velmora_test::TempDir m_dir;
};

// The effects tell the six stdio modes apart; text behaves as binary here.
TEST_F(FileTest, ModeStringsByEffect) {
    // The effects, mode after mode, with the stdio mode string each stands for.
    unsigned const r = File::Read, w = File::Write, a = File::Append, t = File::Truncate,
                   rw = File::ReadWrite, x = File::Text;
    std::string got;
    for (unsigned mode : {0u, r, t, r | x, w, a, w | a, r | w, r | rw, r | w | x, r | a, r | w | a,
                          r | w | t, rw, rw | a})
        got += effect(mode) + "|";
    EXPECT_EQ(got, "5 -h hello|5 -h hello|5 -h hello|5 -h hello|" // rb rb rb rt
                   "0 W- XY|5 W- helloXY|5 W- helloXY|"           // wb ab ab
                   "5 WX XYllo|5 WX XYllo|5 WX XYllo|"            // r+b r+b r+t
                   "5 Wh helloXY|5 Wh helloXY|"                   // a+b a+b
                   "0 WX XY|0 WX XY|0 WX XY|");                   // w+b w+b w+b
}

// Every throw site of the file module: the message, the category, the path and the stamp, and
// whether the stream is still open afterwards (closed only after a failed close).
TEST_F(FileTest, ThrowSites) {
    WriteFile(m_dir / "hello", "hello");
    ASSERT_EQ(::mkfifo((m_dir / "fifo").c_str(), 0600), 0);
    std::string const big(100000, 'x');
    Util::FileTime t{0, 0};
    char buf[16];
    File f;
    using E = FileIO;
    // The name (under the temporary folder unless absolute), the open mode (0: leave closed),
    // the operation, the message and the category.
    std::tuple<std::string, unsigned, std::function<void()>, char const*,
               FileIO::ErrorType> const rows[] = {
        {"missing", 0, [&] { f.Open(File::Read); }, "Error opening file", E::OPEN_ERROR},
        {"hello", 0, [&] { f.ReadBlock(buf, 7); }, "Attempt to read 7 bytes when not open",
         E::READ_ERROR},
        {"hello", 0, [&] { f.WriteBlock(buf, 7); }, "Attempt to write 7 bytes when not open",
         E::WRITE_ERROR},
        {"hello", 0, [&] { f.At(12); }, "Attempt to seek to 12 when not open", E::UNEXPECTED_ERROR},
        {"hello", File::Read, [&] { f.ReadBlock(buf, 10); },
         "Attempt to read 10 bytes, only read 5 bytes", E::READ_ERROR},
        {"hello", File::Read | File::Text, [&] { f.At(2), f.ReadBlock(buf, 10); },
         "Attempt to read 10 bytes, only read 3 bytes", E::READ_ERROR},
        {"fifo", File::Read | File::Write, [&] { f.At(3); }, "Seek to 3 failed",
         E::UNEXPECTED_ERROR},
        {"/dev/full", File::Write, [&] { f.WriteBlock(big.data(), 100000); },
         "Attempt to write 100000 bytes, only wrote 0 bytes", E::WRITE_ERROR},
        // Buffered: the write succeeds and the close's flush fails.
        {"/dev/full", File::Write, [&] { f.WriteBlock("abc", 3), f.Close(); }, "Close failed",
         E::CLOSE_ERROR},
        {"missing", 0, [&] { f.GetTime(&t); }, "Error getting file time", E::UNEXPECTED_ERROR},
        {"missing", 0, [&] { f.SetTime(t); }, "Error setting file time", E::UNEXPECTED_ERROR},
        {"missing", 0, [&] { f.SetMode(0644); }, "Error modifying file permissions",
         E::UNEXPECTED_ERROR},
        {"missing", 0, [&] { f.Remove(); }, "Remove failed", E::REMOVE_ERROR},
        {"from", 0, [&] { File::Rename(path("from"), path("to")); }, "Rename failed",
         E::RENAME_ERROR}};
    for (auto const& [name, openMode, op, message, type] : rows) {
        SCOPED_TRACE(message);
        std::string const full = name[0] == '/' ? name : m_dir / name;
        f.SetPath(FilePath(full.c_str()));
        if (openMode != 0)
            f.Open(openMode);
        try {
            op();
            ADD_FAILURE() << "nothing was thrown";
        } catch (FileIO const& e) {
            // A rename names its source; the stamp is the module's.
            EXPECT_EQ(std::tuple(str(e.GetMessageText()), e.GetErrorType(),
                                 str(e.GetFilePath().GetInternal()), str(e.GetFilename()),
                                 e.GetLineNumber() > 0, e.GetLastError()),
                      std::tuple(message, type, full, "Util/File", true, 0));
        }
        EXPECT_EQ(f.IsOpen(), openMode != 0 && type != FileIO::CLOSE_ERROR);
    }
}

// Closed, a count of 0 or a null buffer does nothing and the queries answer without
// throwing. Size() of an open stream leaves out what is still in its buffer, and wraps at
// 4 GiB (a sparse file costs no space). SetPath and the destructor close.
TEST_F(FileTest, PositionsSizesAndClosing) {
    File f(path("f"));
    std::vector<unsigned char> empty, v(3);
    f.ReadBlock(static_cast<char*>(nullptr), 7), f.WriteBlock("x", 0), f.ReadBlock(empty);
    f.WriteBlock(empty), f.Close(), f.Flush();
    EXPECT_FALSE(f.AtEnd() || f.At().IsSet() || f.Size().IsSet() || File().Size().IsSet());
    f.Open(File::Write);
    f.WriteBlock(std::vector<unsigned char>{'h', 'e', 'l', 'l', 'o'});
    EXPECT_EQ(f.Size().GetValue(), 0u);
    f.Flush();
    EXPECT_EQ(f.Size().GetValue(), 5u);
    f.WriteBlock("!", 1);
    f.SetPath(path("f")); // drops the stream, which flushes as it goes
    EXPECT_TRUE(!f.IsOpen() && ReadFile(m_dir / "f") == "hello!");
    {
        File d(path("d"));
        d.Open(File::Write);
        d.WriteBlock("one", 3);
    } // the destructor closes, flushing
    EXPECT_EQ(ReadFile(m_dir / "d"), "one");
    f.Open(File::Read), f.At(1), f.ReadBlock(v);
    EXPECT_EQ(std::tuple(std::string(v.begin(), v.end()), f.At().GetValue(), f.AtEnd()),
              std::tuple("ell", 4u, false));
    EXPECT_THROW(f.ReadBlock(v), FileIO);
    EXPECT_TRUE(f.AtEnd());
    ASSERT_EQ(::truncate((m_dir / "f").c_str(), (off_t(1) << 32) + 5), 0);
    EXPECT_EQ(f.Size().GetValue(), 5u);
    f.At(0xC0000000u); // beyond a 32-bit long
    EXPECT_EQ(f.At().GetValue(), 0xC0000000u);
}

// A mixed-case name reaches the file as written (the file system tells case apart), while
// ToString() stays the lower-case form.
TEST_F(FileTest, MixedCaseNameTimesPermissionsRenamingAndRemoval) {
    WriteFile(m_dir / "Track.WAV", "RIFF");
    File f(path("Track.WAV"));
    EXPECT_TRUE(f.Exists() && f.IsReadable() && f.IsWritable());
    EXPECT_FALSE(File(path("track.wav")).Exists());
    EXPECT_EQ(str(path("Track.WAV").ToString()).substr(m_dir.Path().size()), "/track.wav");
    f.SetTime(Util::FileTime{1000000000u, 1234567890u});
    Util::FileTime t{0, 0};
    f.GetTime(&t);
    EXPECT_EQ(std::make_pair(t.uAccessSeconds, t.uModSeconds),
              std::make_pair(1000000000u, 1234567890u));
    f.SetMode(0640);
    struct stat st;
    ASSERT_EQ(::stat((m_dir / "Track.WAV").c_str(), &st), 0);
    // Whole seconds, and the mode as set.
    EXPECT_EQ(std::pair(st.st_mtim.tv_nsec, st.st_mode & 07777), std::pair(0L, 0640u));

    File::Rename(path("Track.WAV"), path("Other.WAV"));
    File g(path("Other.WAV"));
    char buf[4];
    g.Open(File::Read), g.ReadBlock(buf, 4);
    EXPECT_EQ(std::string(buf, 4), "RIFF");
    g.Remove(); // closes first
    EXPECT_FALSE(g.IsOpen() || g.Exists() || f.Exists());
    EXPECT_TRUE(File(FilePath(m_dir.Path().c_str())).Exists()); // a folder exists too
}

TEST_F(FileTest, FinderFileTypeFromTheExtendedAttribute) {
    WriteFile(m_dir / "f", "x");
    File f(path("f"));
    EXPECT_EQ(f.GetOSXFileType() + File(path("missing")).GetOSXFileType(), 0u);
    unsigned char info[32] = {'W', 'A', 'V', 'E', 'h', 'o', 'o', 'k'};
    if (::setxattr((m_dir / "f").c_str(), "user.com.apple.FinderInfo", info, 32, 0) != 0)
        GTEST_SKIP() << "no user extended attributes on this file system (errno " << errno << ")";
    EXPECT_EQ(f.GetOSXFileType(), 0x57415645u);
    ASSERT_EQ(::setxattr((m_dir / "f").c_str(), "user.com.apple.FinderInfo", info, 4, 0), 0);
    EXPECT_EQ(f.GetOSXFileType(), 0u); // not Finder information: wrong size
}

} // namespace
