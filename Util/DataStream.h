/// \file
/// Util::DataStream: reading and writing typed values as a sequence of bytes.
#pragma once

#include "Util/Exception/DataStreamIO.h"
#include "common/common_string.h"
#include "common/common_types.h"

#include <vector>

namespace Util {

/// Reading and writing typed values as a sequence of bytes.
///
/// An abstract interface with no data of its own; Util::ByteStream is its in-memory
/// implementation. The virtual operations are declared in a fixed order (settings, extraction,
/// typed reads, insertion, position, destructor) that binary clients rely on: do not reorder.
///
/// **Byte order.** Multi-byte values are reversed exactly when the stream's endian type names
/// the order opposite to the host's. ENDIAN_LITTLE and ENDIAN_BIG give the same bytes on every
/// host; ENDIAN_UNKNOWN (and any other value, NUM_ENDIANS included) keeps the host's order,
/// which is little-endian on x86-64 and ARM64 Linux. Data written by the original big-endian
/// hosts with ENDIAN_UNKNOWN is big-endian: set ENDIAN_BIG to read it here.
///
/// **Byte images** (hex, lowest address first):
///
///     type                   value       ENDIAN_LITTLE             ENDIAN_BIG
///     bool                   true        01                        01
///     char, (un)signed char  0x41        41                        41
///     short, unsigned short  0x1234      34 12                     12 34
///     int, unsigned int      0x12345678  78 56 34 12               12 34 56 78
///     long, unsigned long    0x12345678  78 56 34 12               12 34 56 78
///     float                  1.0f        00 00 80 3F               3F 80 00 00
///     double                 1.0         00 00 00 00 00 00 F0 3F   3F F0 00 00 00 00 00 00
///     String, length on      "abc"       03 00 00 00 61 62 63      00 00 00 03 61 62 63
///     String, length off     "abc"       61 62 63                  61 62 63
///     byte vector            {1, 2}      01 02                     01 02
///
/// bool is written as 00 or 01; any non-zero byte reads as true. long and unsigned long are
/// 32 bits in this format whatever the host's long: a 64-bit long is cut to its low 32 bits on
/// writing and sign-extended (long) or zero-extended (unsigned long) on reading. float and
/// double are their IEEE 754 bit patterns treated as 32- and 64-bit words. A String is its
/// 32-bit byte count followed by its bytes, no terminator; a byte vector is its bytes alone.
///
/// **Failures.** Extracting a primitive where too few bytes remain throws
/// Util::Exception::DataStreamIO "Can't extract %1 bytes at position %2, total size %3" and
/// leaves position and target as they were. Strings and byte vectors fail softly: they read
/// back empty and throw nothing else (only a String's length word, a primitive, can throw).
class DataStream : private noncopyable {
public:
    /// The byte order of multi-byte values.
    enum EndianType {
        ENDIAN_UNKNOWN = 0, ///< The host's order (little-endian on x86-64 and ARM64).
        ENDIAN_LITTLE = 1,  ///< Least significant byte first.
        ENDIAN_BIG = 2,     ///< Most significant byte first, as the original Macs wrote.
        NUM_ENDIANS = 3     ///< A count, not an order; acts as ENDIAN_UNKNOWN.
    };

    /// \name Settings
    ///@{

    /// The byte order multi-byte values are stored in; ENDIAN_UNKNOWN (host order) when new.
    virtual EndianType GetEndianType() const = 0;
    /// Sets the byte order for every later read and write: with ENDIAN_BIG, 1 is written
    /// 00 00 00 01.
    virtual void SetEndianType(EndianType type) = 0;
    /// Whether writing a String puts its length first; true when new. Reading a String always
    /// expects the length, so text written with this off cannot be read back as Strings.
    virtual bool IsWriteStringLength() const = 0;
    /// Sets whether writing a String puts its length first: off, "abc" is written 61 62 63.
    virtual void SetWriteStringLength(bool write) = 0;
    ///@}

    /// \name Extraction
    /// Each reads one value at the position and advances past it; a primitive throws
    /// DataStreamIO when too few bytes remain.
    ///@{

    /// Reads one value of the target's type at the position, in the stream's byte order (see
    /// the byte images above; a bool reads any non-zero byte as true), and advances past it.
    /// Throws DataStreamIO when too few bytes remain, leaving the position and the target as
    /// they were: an int read from 00 00 00 07 with ENDIAN_BIG is 7.
    virtual DataStream& operator>>(bool& v) = 0;
    virtual DataStream& operator>>(char& v) = 0;
    virtual DataStream& operator>>(signed char& v) = 0;
    virtual DataStream& operator>>(unsigned char& v) = 0;
    virtual DataStream& operator>>(short& v) = 0;
    virtual DataStream& operator>>(unsigned short& v) = 0;
    virtual DataStream& operator>>(int& v) = 0;
    virtual DataStream& operator>>(unsigned int& v) = 0;
    /// 32 bits, sign-extended: FF FF FF FF reads as -1.
    virtual DataStream& operator>>(long& v) = 0;
    /// 32 bits, zero-extended: FF FF FF FF reads as 4294967295.
    virtual DataStream& operator>>(unsigned long& v) = 0;
    virtual DataStream& operator>>(float& v) = 0;
    virtual DataStream& operator>>(double& v) = 0;
    /// A length word, then that many bytes. The target is emptied first and stays empty when
    /// the length exceeds 200000 or the bytes are not all there (the position then stays just
    /// after the length word). A zero byte ends the text early, but all the bytes are consumed.
    /// A length word cut short throws DataStreamIO, as for any primitive.
    virtual DataStream& operator>>(String& s) = 0;
    /// Reads as many bytes as the vector holds (size it first). When fewer remain the vector
    /// is cleared and the position kept.
    virtual DataStream& operator>>(std::vector<unsigned char>& bytes) = 0;
    ///@}

    /// \name Typed reads
    ///@{

    /// Returns the value operator>> reads (and throws as it does); the argument only selects
    /// the type: `ReadPrimitive(short())` on 12 34 with ENDIAN_BIG is 0x1234.
    virtual bool ReadPrimitive(bool) = 0;
    virtual char ReadPrimitive(char) = 0;
    virtual signed char ReadPrimitive(signed char) = 0;
    virtual unsigned char ReadPrimitive(unsigned char) = 0;
    virtual short ReadPrimitive(short) = 0;
    virtual unsigned short ReadPrimitive(unsigned short) = 0;
    virtual int ReadPrimitive(int) = 0;
    virtual unsigned int ReadPrimitive(unsigned int) = 0;
    virtual long ReadPrimitive(long) = 0;
    virtual unsigned long ReadPrimitive(unsigned long) = 0;
    virtual float ReadPrimitive(float) = 0;
    virtual double ReadPrimitive(double) = 0;
    ///@}

    /// \name Insertion
    /// Each writes at the position, overwriting or growing the data as needed (a gap before a
    /// position beyond the end is filled with zeros), and advances past it.
    ///@{

    /// Writes the value at the position in the stream's byte order (see the byte images above;
    /// a bool is written 00 or 01), overwriting or growing the data, and advances past it:
    /// 0x1234 as a short with ENDIAN_LITTLE is 34 12.
    virtual DataStream& operator<<(bool v) = 0;
    virtual DataStream& operator<<(char v) = 0;
    virtual DataStream& operator<<(signed char v) = 0;
    virtual DataStream& operator<<(unsigned char v) = 0;
    virtual DataStream& operator<<(short v) = 0;
    virtual DataStream& operator<<(unsigned short v) = 0;
    virtual DataStream& operator<<(int v) = 0;
    virtual DataStream& operator<<(unsigned int v) = 0;
    /// The low 32 bits: 0x100000001 is written as 1.
    virtual DataStream& operator<<(long v) = 0;
    /// The low 32 bits.
    virtual DataStream& operator<<(unsigned long v) = 0;
    virtual DataStream& operator<<(float v) = 0;
    virtual DataStream& operator<<(double v) = 0;
    /// Its length (when IsWriteStringLength) as an unsigned int, then its bytes: "abc" with
    /// ENDIAN_BIG is 00 00 00 03 61 62 63.
    virtual DataStream& operator<<(String const& s) = 0;
    /// Its bytes, no length: {1, 2} is 01 02.
    virtual DataStream& operator<<(std::vector<unsigned char> const& bytes) = 0;
    /// Deleted: a string literal would otherwise convert to bool and write one byte; write
    /// `String(s)`.
    DataStream& operator<<(char const* s) = delete;
    ///@}

    /// \name Position
    ///@{

    /// True when the position is at or beyond the end.
    virtual bool AtEnd() const = 0;
    /// The byte offset the next read or write uses.
    virtual unsigned int GetPosition() const = 0;
    /// The number of bytes of data.
    virtual unsigned int GetSize() const = 0;
    /// Size minus position in 32-bit unsigned arithmetic: a huge number when the position lies
    /// beyond the end, so test AtEnd first. Size 5 at position 7 gives 4294967294.
    virtual unsigned int GetRemaining() const = 0;
    /// Stores the position unchecked; it may lie beyond the end.
    virtual void SetPosition(unsigned int position) = 0;
    /// Moves the position by n (back when negative), unchecked, through SetPosition: at 3,
    /// Skip(-1) goes to 2.
    virtual void Skip(int n) = 0;
    ///@}

    /// Virtual, so that a stream is destroyed whole through a DataStream.
    virtual ~DataStream() = default;
};

} // namespace Util
