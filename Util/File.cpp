#include "Util/File.h"

#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#ifdef __APPLE__
#include <Carbon/Carbon.h>
#else
#include <sys/xattr.h>
#endif

#include <exception>

namespace {

char const kModule[] = "Util/File";

} // namespace

// Builds the message, constructs the exception with path, stamps it with this line and throws.
#define THROW_FILEIO(path, message, type)                                                          \
    VELMORA_THROW(kModule,                                                                         \
                  Util::Exception::FileIO((message), (path), Util::Exception::FileIO::type))

namespace Util {

File::File() : m_fp(nullptr), m_endianType(ENDIAN_UNKNOWN) {}

File::File(FilePath const& path) : m_pathFile(path), m_fp(nullptr), m_endianType(ENDIAN_UNKNOWN) {}

File::~File() noexcept(false) {
    if (m_fp != nullptr)
        Close();
}

void File::SetPath(FilePath const& path) {
    if (m_fp != nullptr) {
        std::fclose(m_fp);
        m_fp = nullptr;
    }
    m_pathFile = path;
}

bool File::IsOpen() const {
    return m_fp != nullptr;
}

void File::Open(unsigned mode) try {
    bool reading = (mode & (Read | ReadWrite)) != 0;
    bool const writing = (mode & (Write | ReadWrite | Append)) != 0;
    bool const appending = (mode & Append) != 0;
    if (!reading && !writing)
        reading = true;

    char const* access = nullptr;
    if (reading && !writing)
        access = "r";
    else if (reading)
        // ReadWrite without Read always starts a new file; Read with a write flag keeps it.
        access = ((mode & Read) == 0 || (mode & Truncate) != 0) ? "w+" : appending ? "a+" : "r+";
    else
        access = appending ? "a" : "w";
    String const modeString = String(access) + ((mode & Text) != 0 ? "t" : "b");

    std::FILE* const previous = m_fp;
    m_fp = std::fopen(m_pathFile.ToSystemString().Latin1(), modeString.Latin1());
    // A stream left open by the caller is released only now, so the new open sees the file
    // exactly as that stream left it.
    if (previous != nullptr)
        std::fclose(previous);
    if (m_fp == nullptr)
        THROW_FILEIO(m_pathFile, String("Error opening file"), OPEN_ERROR);
    m_mode = checked_value<unsigned>(mode);
}
VELMORA_ONLY_FILEIO

void File::Close() try {
    if (m_fp == nullptr)
        return;
    int const rc = std::fclose(m_fp);
    m_fp = nullptr;
    m_mode = checked_value<unsigned>();
    if (rc != 0)
        THROW_FILEIO(m_pathFile, String("Close failed"), CLOSE_ERROR);
}
VELMORA_ONLY_FILEIO

void File::Flush() {
    if (m_fp != nullptr)
        std::fflush(m_fp);
}

bool File::AtEnd() const {
    return m_fp != nullptr && std::feof(m_fp) != 0;
}

checked_value<unsigned> File::At() const {
    if (m_fp == nullptr)
        return checked_value<unsigned>();
    // off_t rather than long: positions of 2 GiB and more on 32-bit CPUs too.
    off_t const position = ::ftello(m_fp);
    if (position < 0)
        return checked_value<unsigned>();
    return checked_value<unsigned>(static_cast<unsigned>(position));
}

void File::At(unsigned position) try {
    if (m_fp == nullptr)
        THROW_FILEIO(m_pathFile, String("Attempt to seek to %1 when not open").Arg(position, 10),
                     UNEXPECTED_ERROR);
    if (::fseeko(m_fp, static_cast<off_t>(position), SEEK_SET) != 0)
        THROW_FILEIO(m_pathFile, String("Seek to %1 failed").Arg(position, 10), UNEXPECTED_ERROR);
}
VELMORA_ONLY_FILEIO

checked_value<unsigned> File::Size() const {
    if (m_pathFile.IsEmpty())
        return checked_value<unsigned>();
    struct stat st;
    int const rc = m_fp != nullptr ? ::fstat(::fileno(m_fp), &st)
                                   : ::stat(m_pathFile.ToSystemString().Latin1(), &st);
    if (rc != 0)
        return checked_value<unsigned>();
    // Sizes of 4 GiB and more wrap: only the low 32 bits are kept.
    return checked_value<unsigned>(static_cast<unsigned>(static_cast<uint64>(st.st_size)));
}

void File::ReadBlock(char* buffer, unsigned count) try {
    if (count == 0 || buffer == nullptr)
        return;
    if (m_fp == nullptr)
        THROW_FILEIO(m_pathFile, String("Attempt to read %1 bytes when not open").Arg(count, 10),
                     READ_ERROR);
    unsigned got = 0;
    if ((m_mode.GetValue() & Text) != 0) {
        // In text mode the bytes delivered need not match the bytes consumed, so the amount
        // read is measured by the position.
        unsigned const before = At().GetValue();
        std::fread(buffer, 1, count, m_fp);
        got = At().GetValue() - before;
    } else {
        got = static_cast<unsigned>(std::fread(buffer, 1, count, m_fp));
    }
    if (got != count)
        THROW_FILEIO(
            m_pathFile,
            String("Attempt to read %1 bytes, only read %2 bytes").Arg(count, 10).Arg(got, 10),
            READ_ERROR);
}
VELMORA_ONLY_FILEIO

void File::ReadBlock(unsigned char* buffer, unsigned count) {
    ReadBlock(reinterpret_cast<char*>(buffer), count);
}

void File::ReadBlock(std::vector<unsigned char>& data) {
    if (!data.empty())
        ReadBlock(data.data(), static_cast<unsigned>(data.size()));
}

void File::WriteBlock(char const* data, unsigned count) try {
    if (count == 0 || data == nullptr)
        return;
    if (m_fp == nullptr)
        THROW_FILEIO(m_pathFile, String("Attempt to write %1 bytes when not open").Arg(count, 10),
                     WRITE_ERROR);
    unsigned const wrote = static_cast<unsigned>(std::fwrite(data, 1, count, m_fp));
    if (wrote < count)
        THROW_FILEIO(
            m_pathFile,
            String("Attempt to write %1 bytes, only wrote %2 bytes").Arg(count, 10).Arg(wrote, 10),
            WRITE_ERROR);
}
VELMORA_ONLY_FILEIO

void File::WriteBlock(unsigned char const* data, unsigned count) {
    WriteBlock(reinterpret_cast<char const*>(data), count);
}

void File::WriteBlock(std::vector<unsigned char> const& data) {
    if (!data.empty())
        WriteBlock(data.data(), static_cast<unsigned>(data.size()));
}

bool File::Exists() const {
    return ::access(m_pathFile.ToSystemString().Latin1(), F_OK) == 0;
}

bool File::IsReadable() const {
    return ::access(m_pathFile.ToSystemString().Latin1(), R_OK) == 0;
}

bool File::IsWritable() const {
    return ::access(m_pathFile.ToSystemString().Latin1(), W_OK) == 0;
}

uint32 File::GetOSXFileType() const {
    String const path = m_pathFile.ToSystemString();
#ifdef __APPLE__
    FSRef ref;
    if (FSPathMakeRef(reinterpret_cast<UInt8 const*>(path.Latin1()), &ref, nullptr) != noErr)
        return 0;
    FSCatalogInfo info;
    if (FSGetCatalogInfo(&ref, kFSCatInfoFinderInfo, &info, nullptr, nullptr, nullptr) != noErr)
        return 0;
    return reinterpret_cast<FileInfo const*>(info.finderInfo)->fileType;
#else
    // Linux keeps the Finder information of files copied from a Mac (by Samba, netatalk and
    // the like) in this attribute: 32 bytes, the file type first, big-endian. The Carbon File
    // Manager is not emulated for this one value: its 80-byte FSRef cannot name an arbitrary
    // Linux path.
    unsigned char info[32];
    ssize_t const n = ::getxattr(path.Latin1(), "user.com.apple.FinderInfo", info, sizeof info);
    if (n != static_cast<ssize_t>(sizeof info))
        return 0;
    return (uint32(info[0]) << 24) | (uint32(info[1]) << 16) | (uint32(info[2]) << 8) |
           uint32(info[3]);
#endif
}

void File::GetTime(FileTime* time) try {
    struct stat st;
    if (::stat(m_pathFile.ToSystemString().Latin1(), &st) != 0)
        THROW_FILEIO(m_pathFile, String("Error getting file time"), UNEXPECTED_ERROR);
    time->uAccessSeconds = static_cast<uint32>(st.st_atime);
    time->uModSeconds = static_cast<uint32>(st.st_mtime);
}
VELMORA_ONLY_FILEIO

void File::SetTime(FileTime const& time) try {
    struct timeval times[2];
    times[0].tv_sec = static_cast<time_t>(time.uAccessSeconds);
    times[0].tv_usec = 0;
    times[1].tv_sec = static_cast<time_t>(time.uModSeconds);
    times[1].tv_usec = 0;
    if (::utimes(m_pathFile.ToSystemString().Latin1(), times) != 0)
        THROW_FILEIO(m_pathFile, String("Error setting file time"), UNEXPECTED_ERROR);
}
VELMORA_ONLY_FILEIO

void File::SetMode(unsigned short permissions) try {
    if (::chmod(m_pathFile.ToSystemString().Latin1(), static_cast<mode_t>(permissions)) != 0)
        THROW_FILEIO(m_pathFile, String("Error modifying file permissions"), UNEXPECTED_ERROR);
}
VELMORA_ONLY_FILEIO

void File::Remove() try {
    if (m_fp != nullptr)
        Close();
    if (std::remove(m_pathFile.ToSystemString().Latin1()) != 0)
        THROW_FILEIO(m_pathFile, String("Remove failed"), REMOVE_ERROR);
}
VELMORA_ONLY_FILEIO

void File::Rename(FilePath const& from, FilePath const& to) try {
    if (std::rename(from.ToSystemString().Latin1(), to.ToSystemString().Latin1()) != 0)
        THROW_FILEIO(from, String("Rename failed"), RENAME_ERROR);
}
VELMORA_ONLY_FILEIO

} // namespace Util
