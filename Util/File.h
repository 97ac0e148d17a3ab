/// \file
/// Util::File: one file, by path, with an optional open stdio stream.
#pragma once

#include "Util/Exception/FileIO.h"
#include "common/common_checked_types.h"
#include "common/common_path.h"
#include "common/common_types.h"

#include <cstdio>
#include <vector>

namespace Util {

/// Access and modification time of a file or folder, whole seconds since 1970-01-01 UTC.
struct FileTime {
    uint32 uAccessSeconds; ///< Last access: 946684800 for 2000-01-01 00:00:00 UTC.
    uint32 uModSeconds;    ///< Last modification, in the same unit.
};

/// One file, by path, with an optional open stdio stream.
///
/// Every failure throws Util::Exception::FileIO with a fixed message, the file's path and a
/// category, stamped with module "Util/File". Queries that only answer a question (IsOpen,
/// Exists, Size, At() and the like) never throw. The operations documented as throwing FileIO
/// throw nothing else: any other exception escaping them ends the program.
///
/// On Linux the operating system is handed FilePath::ToSystemString(), the cleaned path with
/// its case kept, so "Track.WAV" opens the file of that name; ToString() (lower case) would
/// miss it on a case-sensitive file system.
///
///     Util::File file(FilePath(String("/tmp/Track.WAV")));
///     file.Open(Util::File::Read);                    // "rb"; throws FileIO when missing
///     std::vector<unsigned char> header(12);
///     file.ReadBlock(header);                         // exactly 12 bytes, or FileIO
///     file.Close();
class File : public noncopyable {
public:
    /// Flags for Open (0x01 is unused).
    enum OpenMode : unsigned {
        Read = 0x02,      ///< reading
        Write = 0x04,     ///< writing
        ReadWrite = 0x08, ///< reading and writing a new, empty file (without Read)
        Append = 0x10,    ///< writes go to the end
        Truncate = 0x20,  ///< with Read and a write flag: start a new file
        Text = 0x40       ///< stdio text mode ("t") instead of binary ("b")
    };

    /// Byte order of the file's data, as in Util::DataStream; host order unless set otherwise.
    enum EndianType {
        ENDIAN_UNKNOWN = 0, ///< The host's order.
        ENDIAN_LITTLE = 1,  ///< Least significant byte first.
        ENDIAN_BIG = 2      ///< Most significant byte first.
    };

    /// No path, not open.
    File();
    /// Names the file; does not open it.
    explicit File(FilePath const& path);
    /// Closes an open stream with Close, so a close failure propagates from here.
    ~File() noexcept(false);

    /// Drops an open stream without checking the close (the mode is left as it was), then
    /// names the new file.
    void SetPath(FilePath const& path);

    /// True while a stream is open.
    bool IsOpen() const;

    /// Opens with the stdio mode the flags select (Text gives "t" in place of "b"):
    ///
    ///     0 or Read -> "rb"           Write -> "wb"           Append, Write|Append -> "ab"
    ///     Read|Write -> "r+b"         Read|Append, Read|Write|Append -> "a+b"
    ///     Read|Write|Truncate -> "w+b"   ReadWrite (+Append, no Read) -> "w+b"
    ///     Read|ReadWrite -> "r+b"
    ///
    /// So ReadWrite alone empties the file while Read|Write keeps it, on purpose. Call Close
    /// before reopening; a stream still held is closed, unchecked, after the new open.
    /// Throws "Error opening file", OPEN_ERROR.
    void Open(unsigned mode);
    /// Closes the stream if one is open; afterwards the File is closed whatever happened.
    /// Throws "Close failed", CLOSE_ERROR, when the close reports failure.
    void Close();
    /// Flushes an open stream; the result is ignored.
    void Flush();

    /// The stream's end-of-file indicator; false when closed.
    bool AtEnd() const;
    /// The current position; unset when closed or when the position cannot be read.
    checked_value<unsigned> At() const;
    /// Seeks to position from the start. Throws "Attempt to seek to %1 when not open" or
    /// "Seek to %1 failed", UNEXPECTED_ERROR.
    void At(unsigned position);
    /// The size in bytes (low 32 bits), from the open stream if there is one (bytes still in
    /// its buffer are not counted), else from the path; unset for the empty path or when the
    /// size cannot be read.
    checked_value<unsigned> Size() const;

    /// \name Reading blocks
    ///@{

    /// Reads exactly count bytes; a short read is an error: "Attempt to read 10 bytes, only
    /// read 4 bytes". In text mode the amount is the change of position. Closed: "Attempt to
    /// read %1 bytes when not open". Both READ_ERROR. A count of 0 or a null buffer does
    /// nothing, even when closed.
    void ReadBlock(char* buffer, unsigned count);
    void ReadBlock(unsigned char* buffer, unsigned count);
    /// Fills the vector at its current size; an empty vector reads nothing.
    void ReadBlock(std::vector<unsigned char>& data);
    ///@}

    /// \name Writing blocks
    ///@{

    /// Writes exactly count bytes: "Attempt to write %1 bytes, only wrote %2 bytes" or
    /// "Attempt to write %1 bytes when not open", WRITE_ERROR. A count of 0 or a null pointer
    /// does nothing, even when closed.
    void WriteBlock(char const* data, unsigned count);
    void WriteBlock(unsigned char const* data, unsigned count);
    /// Writes the whole vector as the forms above do; an empty vector writes nothing.
    void WriteBlock(std::vector<unsigned char> const& data);
    ///@}

    /// The path exists (a folder counts too).
    bool Exists() const;
    /// The calling process may read the file.
    bool IsReadable() const;
    /// The calling process may write the file.
    bool IsWritable() const;
    /// The Finder file type, the big-endian first four bytes of the Finder information: 'WAVE'
    /// gives 0x57415645. On Linux this is read from the 32-byte extended attribute
    /// "user.com.apple.FinderInfo" (where copies from a Mac keep it); 0 on any failure or
    /// when the attribute is absent.
    uint32 GetOSXFileType() const;

    /// Reads the access and modification times into *time. Throws "Error getting file time",
    /// UNEXPECTED_ERROR.
    void GetTime(FileTime* time);
    /// Sets both times, in whole seconds (zero microseconds). Throws "Error setting file time",
    /// UNEXPECTED_ERROR.
    void SetTime(FileTime const& time);
    /// chmod to permissions: 0644 makes the file rw-r--r--. Throws "Error modifying file
    /// permissions", UNEXPECTED_ERROR.
    void SetMode(unsigned short permissions);
    /// Closes the stream first if one is open (which may throw), then deletes the file.
    /// Throws "Remove failed", REMOVE_ERROR.
    void Remove();
    /// Renames from to to, replacing a file there. Throws "Rename failed" naming from,
    /// RENAME_ERROR (printed as " Unknown error").
    static void Rename(FilePath const& from, FilePath const& to);

private:
    FilePath m_pathFile;
    std::FILE* m_fp;
    checked_value<unsigned> m_mode;
    // The byte order of the file's data: set to ENDIAN_UNKNOWN and kept for callers' layout;
    // no file operation reads it.
    [[maybe_unused]] EndianType m_endianType;
};

} // namespace Util
