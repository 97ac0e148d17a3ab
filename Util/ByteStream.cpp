#include "Util/ByteStream.h"

#include "IPP/IPP_util_mac.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>

namespace {

// Longer length words are taken as damage, not as text.
unsigned int const kMaxStringLength = 200000;

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
Util::DataStream::EndianType const kOppositeOfHost = Util::DataStream::ENDIAN_LITTLE;
#else
Util::DataStream::EndianType const kOppositeOfHost = Util::DataStream::ENDIAN_BIG;
#endif

uint8 byteSwap(uint8 w) {
    return w;
}
uint16 byteSwap(uint16 w) {
    return __builtin_bswap16(w);
}
uint32 byteSwap(uint32 w) {
    return __builtin_bswap32(w);
}
uint64 byteSwap(uint64 w) {
    return __builtin_bswap64(w);
}

template <typename To, typename From>
To bitCast(From from) {
    static_assert(sizeof(To) == sizeof(From), "bit casts keep the width");
    To to;
    std::memcpy(&to, &from, sizeof to);
    return to;
}

// Building the message may allocate; failing that ends the process rather than replacing the
// one exception the stream is allowed to throw.
Util::Exception::DataStreamIO shortRead(unsigned int width, unsigned int position,
                                        unsigned int size) noexcept {
    return Util::Exception::DataStreamIO(
        String("Can't extract %1 bytes at position %2, total size %3")
            .Arg(width)
            .Arg(position)
            .Arg(size));
}

} // namespace

namespace Util {

ByteStream::ByteStream(unsigned int reserve)
    : m_data(nullptr), m_size(0), m_capacity(0), m_iPos(0), m_endianType(ENDIAN_UNKNOWN),
      m_bWriteStringLength(true) {
    allocate(reserve);
}

ByteStream::ByteStream(std::vector<unsigned char> const& bytes)
    : ByteStream(static_cast<unsigned int>(bytes.size()), bytes.data()) {}

ByteStream::ByteStream(unsigned int size, unsigned char const* data)
    : m_data(nullptr), m_size(size), m_capacity(0), m_iPos(0), m_endianType(ENDIAN_UNKNOWN),
      m_bWriteStringLength(true) {
    allocate(size);
    IPP::Copy(size, data, m_data);
}

ByteStream::~ByteStream() {
    std::free(m_data);
}

// Running out of memory ends the process, as it did when the bytes lived in a vector whose
// growth threw inside these noexcept writers.
void ByteStream::allocate(std::size_t capacity) noexcept {
    if (capacity <= m_capacity)
        return;
    void* const grown = std::realloc(m_data, capacity);
    if (grown == nullptr)
        std::terminate();
    m_data = static_cast<unsigned char*>(grown);
    m_capacity = capacity;
}

DataStream::EndianType ByteStream::GetEndianType() const {
    return m_endianType;
}

void ByteStream::SetEndianType(EndianType type) {
    m_endianType = type;
}

bool ByteStream::IsWriteStringLength() const {
    return m_bWriteStringLength;
}

void ByteStream::SetWriteStringLength(bool write) {
    m_bWriteStringLength = write;
}

bool ByteStream::swapping() const {
    return m_endianType == kOppositeOfHost;
}

// The common case, a write at or before the end that fits the block, stays inline.
inline unsigned char* ByteStream::reserveAtPosition(std::size_t n) noexcept {
    std::size_t const end = std::size_t{m_iPos} + n;
    if (m_iPos > m_size || end > m_capacity)
        return growForPosition(n);
    if (end > m_size)
        m_size = end;
    return m_data + m_iPos;
}

// Kept out of line, so that the common case above needs no stack frame.
__attribute__((noinline)) unsigned char* ByteStream::growForPosition(std::size_t n) noexcept {
    uint64 const end = static_cast<uint64>(m_iPos) + n;
    // GetSize and the position are 32-bit; a longer stream could not be addressed.
    if (end > 0xFFFFFFFFu)
        std::terminate();
    if (end > m_capacity) {
        std::size_t const doubled = m_capacity > 0x7FFFFFFFu ? 0xFFFFFFFFu : 2 * m_capacity;
        allocate(std::max<std::size_t>({static_cast<std::size_t>(end), doubled, 64}));
    }
    if (m_iPos > m_size) // a write past the end fills the gap with zeros
        std::memset(m_data + m_size, 0, m_iPos - m_size);
    if (end > m_size)
        m_size = static_cast<std::size_t>(end);
    return m_data + m_iPos;
}

bool ByteStream::available(std::size_t n) const {
    // The classic test is m_iPos > size - n in 32-bit arithmetic, which wraps and lets the
    // read through when the whole buffer is shorter than n; that case is refused as well.
    return n <= m_size && m_iPos <= m_size - n;
}

// The common case needs no call, and so no stack frame: the growing case is a tail call.
template <typename Word>
DataStream& ByteStream::putWord(Word w) noexcept {
    std::size_t const end = std::size_t{m_iPos} + sizeof w;
    if (m_iPos > m_size || end > m_capacity)
        return putWordGrowing(w);
    if (end > m_size)
        m_size = end;
    if (swapping())
        w = byteSwap(w);
    std::memcpy(m_data + m_iPos, &w, sizeof w);
    m_iPos += static_cast<uint32>(sizeof w);
    return *this;
}

template <typename Word>
__attribute__((noinline)) DataStream& ByteStream::putWordGrowing(Word w) noexcept {
    unsigned char* p = growForPosition(sizeof w);
    if (swapping())
        w = byteSwap(w);
    std::memcpy(p, &w, sizeof w);
    m_iPos += static_cast<uint32>(sizeof w);
    return *this;
}

// Out of line, so that the reads that succeed need no stack frame.
__attribute__((noinline, cold)) void ByteStream::failShortRead(unsigned int width) const {
    throw shortRead(width, m_iPos, GetSize());
}

template <typename Word>
Word ByteStream::getWord() {
    if (!available(sizeof(Word)))
        failShortRead(static_cast<unsigned int>(sizeof(Word)));
    Word w;
    std::memcpy(&w, m_data + m_iPos, sizeof w);
    m_iPos += static_cast<uint32>(sizeof w);
    return swapping() ? byteSwap(w) : w;
}

void ByteStream::putBytes(unsigned char const* p, std::size_t n) noexcept {
    unsigned char* dst = reserveAtPosition(n);
    IPP::Copy(static_cast<unsigned int>(n), p, dst);
    m_iPos += static_cast<uint32>(n);
}

// Extraction.

DataStream& ByteStream::operator>>(bool& v) {
    v = getWord<uint8>() != 0;
    return *this;
}

DataStream& ByteStream::operator>>(char& v) {
    v = static_cast<char>(getWord<uint8>());
    return *this;
}

DataStream& ByteStream::operator>>(signed char& v) {
    v = static_cast<signed char>(getWord<uint8>());
    return *this;
}

DataStream& ByteStream::operator>>(unsigned char& v) {
    v = getWord<uint8>();
    return *this;
}

DataStream& ByteStream::operator>>(short& v) {
    v = bitCast<short>(getWord<uint16>());
    return *this;
}

DataStream& ByteStream::operator>>(unsigned short& v) {
    v = getWord<uint16>();
    return *this;
}

DataStream& ByteStream::operator>>(int& v) {
    v = bitCast<int32>(getWord<uint32>());
    return *this;
}

DataStream& ByteStream::operator>>(unsigned int& v) {
    v = getWord<uint32>();
    return *this;
}

DataStream& ByteStream::operator>>(long& v) {
    v = bitCast<int32>(getWord<uint32>());
    return *this;
}

DataStream& ByteStream::operator>>(unsigned long& v) {
    v = getWord<uint32>();
    return *this;
}

DataStream& ByteStream::operator>>(float& v) {
    v = bitCast<float>(getWord<uint32>());
    return *this;
}

DataStream& ByteStream::operator>>(double& v) {
    v = bitCast<double>(getWord<uint64>());
    return *this;
}

DataStream& ByteStream::operator>>(String& s) {
    s = String();
    unsigned int length = 0;
    *this >> length;
    readText(length, s);
    return *this;
}

void ByteStream::readText(unsigned int length, String& s) noexcept {
    if (length == 0 || length > kMaxStringLength || !available(length))
        return;
    // String(p, n) stops at a zero byte, so an embedded zero cuts the text; every byte is
    // consumed all the same.
    s = String(reinterpret_cast<char const*>(m_data + m_iPos), length);
    m_iPos += length;
}

DataStream& ByteStream::operator>>(std::vector<unsigned char>& bytes) noexcept {
    std::size_t const n = bytes.size();
    if (n == 0)
        return *this;
    if (!available(n)) {
        bytes.clear();
        return *this;
    }
    IPP::Copy(static_cast<unsigned int>(n), m_data + m_iPos, bytes.data());
    m_iPos += static_cast<uint32>(n);
    return *this;
}

// Typed reads go through the virtual operator>> so that a subclass's extraction is used.

bool ByteStream::ReadPrimitive(bool) {
    bool v = false;
    *this >> v;
    return v;
}

char ByteStream::ReadPrimitive(char) {
    char v = 0;
    *this >> v;
    return v;
}

signed char ByteStream::ReadPrimitive(signed char) {
    signed char v = 0;
    *this >> v;
    return v;
}

unsigned char ByteStream::ReadPrimitive(unsigned char) {
    unsigned char v = 0;
    *this >> v;
    return v;
}

short ByteStream::ReadPrimitive(short) {
    short v = 0;
    *this >> v;
    return v;
}

unsigned short ByteStream::ReadPrimitive(unsigned short) {
    unsigned short v = 0;
    *this >> v;
    return v;
}

int ByteStream::ReadPrimitive(int) {
    int v = 0;
    *this >> v;
    return v;
}

unsigned int ByteStream::ReadPrimitive(unsigned int) {
    unsigned int v = 0;
    *this >> v;
    return v;
}

long ByteStream::ReadPrimitive(long) {
    long v = 0;
    *this >> v;
    return v;
}

unsigned long ByteStream::ReadPrimitive(unsigned long) {
    unsigned long v = 0;
    *this >> v;
    return v;
}

float ByteStream::ReadPrimitive(float) {
    float v = 0;
    *this >> v;
    return v;
}

double ByteStream::ReadPrimitive(double) {
    double v = 0;
    *this >> v;
    return v;
}

// Insertion.

DataStream& ByteStream::operator<<(bool v) noexcept {
    return putWord<uint8>(v ? 1 : 0);
}

DataStream& ByteStream::operator<<(char v) noexcept {
    return putWord(static_cast<uint8>(v));
}

DataStream& ByteStream::operator<<(signed char v) noexcept {
    return putWord(static_cast<uint8>(v));
}

DataStream& ByteStream::operator<<(unsigned char v) noexcept {
    return putWord(static_cast<uint8>(v));
}

DataStream& ByteStream::operator<<(short v) noexcept {
    return putWord(static_cast<uint16>(v));
}

DataStream& ByteStream::operator<<(unsigned short v) noexcept {
    return putWord(static_cast<uint16>(v));
}

DataStream& ByteStream::operator<<(int v) noexcept {
    return putWord(static_cast<uint32>(v));
}

DataStream& ByteStream::operator<<(unsigned int v) noexcept {
    return putWord(static_cast<uint32>(v));
}

DataStream& ByteStream::operator<<(long v) noexcept {
    return putWord(static_cast<uint32>(v));
}

DataStream& ByteStream::operator<<(unsigned long v) noexcept {
    return putWord(static_cast<uint32>(v));
}

DataStream& ByteStream::operator<<(float v) noexcept {
    return putWord(bitCast<uint32>(v));
}

DataStream& ByteStream::operator<<(double v) noexcept {
    return putWord(bitCast<uint64>(v));
}

DataStream& ByteStream::operator<<(String const& s) noexcept {
    unsigned int const n = s.GetLength();
    if (m_bWriteStringLength)
        *this << n;
    if (n > 0)
        putBytes(reinterpret_cast<unsigned char const*>(s.Latin1()), n);
    return *this;
}

DataStream& ByteStream::operator<<(std::vector<unsigned char> const& bytes) noexcept {
    if (!bytes.empty())
        putBytes(bytes.data(), bytes.size());
    return *this;
}

// Position.

bool ByteStream::AtEnd() const {
    return m_iPos >= GetSize();
}

unsigned int ByteStream::GetPosition() const {
    return m_iPos;
}

unsigned int ByteStream::GetSize() const {
    return static_cast<unsigned int>(m_size);
}

unsigned int ByteStream::GetRemaining() const {
    return GetSize() - m_iPos;
}

void ByteStream::SetPosition(unsigned int position) {
    m_iPos = position;
}

void ByteStream::Skip(int n) {
    SetPosition(GetPosition() + static_cast<unsigned int>(n));
}

} // namespace Util
