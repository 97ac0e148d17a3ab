/// \file
/// Util::ByteStream: a growable in-memory byte buffer with a read/write position.
#pragma once

#include "Util/DataStream.h"

#include <vector>

namespace Util {

/// A growable in-memory byte buffer with a read/write position.
///
/// The encoding, byte images and failure rules are those of Util::DataStream (see
/// Util/DataStream.h). A new stream starts at position 0, host byte order (ENDIAN_UNKNOWN)
/// and with string lengths written.
///
///     Util::ByteStream out;
///     out.SetEndianType(Util::DataStream::ENDIAN_BIG);
///     out << 1 << String("abc");          // 00 00 00 01 00 00 00 03 61 62 63
///     Util::ByteStream in(out.GetSize(), out.GetBuffer());
///     in.SetEndianType(Util::DataStream::ENDIAN_BIG);
///     int i;
///     String s;
///     in >> i >> s;                       // 1, "abc"
///
/// Reads never touch memory outside the data: a primitive with too few bytes left throws
/// DataStreamIO, a String or byte vector reads back empty. Writes and vector reads throw
/// nothing; an allocation failure while the buffer grows ends the process, as does a write
/// that would make the stream longer than 4 GiB - 1 bytes (its size is a 32-bit value).
class ByteStream : public DataStream {
public:
    /// Empty, with storage for reserve bytes set aside.
    explicit ByteStream(unsigned int reserve = 0);
    /// A copy of bytes, read from position 0.
    explicit ByteStream(std::vector<unsigned char> const& bytes);
    /// A copy of the size bytes at data, read from position 0.
    ByteStream(unsigned int size, unsigned char const* data);
    /// Frees the data.
    ~ByteStream() override;

    /// The first byte of the data, read-only; valid until the stream next grows. May be null
    /// when the stream is empty.
    unsigned char const* GetBuffer() const { return m_data; }

    EndianType GetEndianType() const override;
    void SetEndianType(EndianType type) override;
    bool IsWriteStringLength() const override;
    void SetWriteStringLength(bool write) override;

    DataStream& operator>>(bool& v) override;
    DataStream& operator>>(char& v) override;
    DataStream& operator>>(signed char& v) override;
    DataStream& operator>>(unsigned char& v) override;
    DataStream& operator>>(short& v) override;
    DataStream& operator>>(unsigned short& v) override;
    DataStream& operator>>(int& v) override;
    DataStream& operator>>(unsigned int& v) override;
    DataStream& operator>>(long& v) override;
    DataStream& operator>>(unsigned long& v) override;
    DataStream& operator>>(float& v) override;
    DataStream& operator>>(double& v) override;
    DataStream& operator>>(String& s) override;
    DataStream& operator>>(std::vector<unsigned char>& bytes) noexcept override;

    bool ReadPrimitive(bool) override;
    char ReadPrimitive(char) override;
    signed char ReadPrimitive(signed char) override;
    unsigned char ReadPrimitive(unsigned char) override;
    short ReadPrimitive(short) override;
    unsigned short ReadPrimitive(unsigned short) override;
    int ReadPrimitive(int) override;
    unsigned int ReadPrimitive(unsigned int) override;
    long ReadPrimitive(long) override;
    unsigned long ReadPrimitive(unsigned long) override;
    float ReadPrimitive(float) override;
    double ReadPrimitive(double) override;

    using DataStream::operator<<; // keeps the deleted char const* overload visible
    DataStream& operator<<(bool v) noexcept override;
    DataStream& operator<<(char v) noexcept override;
    DataStream& operator<<(signed char v) noexcept override;
    DataStream& operator<<(unsigned char v) noexcept override;
    DataStream& operator<<(short v) noexcept override;
    DataStream& operator<<(unsigned short v) noexcept override;
    DataStream& operator<<(int v) noexcept override;
    DataStream& operator<<(unsigned int v) noexcept override;
    DataStream& operator<<(long v) noexcept override;
    DataStream& operator<<(unsigned long v) noexcept override;
    DataStream& operator<<(float v) noexcept override;
    DataStream& operator<<(double v) noexcept override;
    DataStream& operator<<(String const& s) noexcept override;
    DataStream& operator<<(std::vector<unsigned char> const& bytes) noexcept override;

    bool AtEnd() const override;
    unsigned int GetPosition() const override;
    unsigned int GetSize() const override;
    unsigned int GetRemaining() const override;
    void SetPosition(unsigned int position) override;
    void Skip(int n) override;

private:
    // Makes room for n bytes at the position (zero-filling any gap) and returns where they go.
    unsigned char* reserveAtPosition(std::size_t n) noexcept;
    unsigned char* growForPosition(std::size_t n) noexcept;
    void allocate(std::size_t capacity) noexcept;
    // True when n bytes can be read at the position without leaving the data.
    bool available(std::size_t n) const;
    // Whether multi-byte values are reversed under the current endian type.
    bool swapping() const;
    // Writes w at the position; the stream is returned so that callers end in a tail call.
    template <typename Word>
    DataStream& putWord(Word w) noexcept;
    template <typename Word>
    DataStream& putWordGrowing(Word w) noexcept;
    template <typename Word>
    Word getWord();
    [[noreturn]] void failShortRead(unsigned int width) const;
    void putBytes(unsigned char const* p, std::size_t n) noexcept;
    void readText(unsigned int length, String& s) noexcept;

    // The bytes live in one malloc'd block that grows geometrically and is never cleared
    // in advance: every byte below m_size has been written, copied in or zero-filled.
    unsigned char* m_data;
    std::size_t m_size;
    std::size_t m_capacity;
    uint32 m_iPos;
    EndianType m_endianType;
    bool m_bWriteStringLength;
};

} // namespace Util
