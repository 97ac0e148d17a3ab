// Util::ByteStream extraction from arbitrary bytes. The input is a small program followed by
// the stream's data:
//
//   byte 0       bits 0-1 endian type (0..3), bit 2 string lengths written, bit 3 which
//                constructor copies the data
//   byte 1       number of operations (mod 64), then one byte per operation:
//                low nibble 0..11 a primitive (bool .. double; odd high nibble: ReadPrimitive),
//                12 a String, 13 a byte vector, 14 new settings, 15 a position change
//   the rest     the stream's data
//
// Every read is checked against the byte images of Util/DataStream.h. A DataStreamIO for a
// primitive without enough bytes is expected; any other exception is a fault.
#include "Util/ByteStream.h"
#include "fuzz/fuzz_support.h"

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

namespace {

using Util::ByteStream;
using Util::DataStream;

// What the stream must look like: its data, position and byte order.
struct Model {
    std::uint8_t const* data;
    std::uint32_t size;
    std::uint32_t pos;
    DataStream::EndianType endian;

    bool fits(std::uint32_t n, std::uint32_t at) const { return n <= size && at <= size - n; }
    // Every type but the two named orders keeps the host's.
    bool bigEndian() const {
        if (endian == DataStream::ENDIAN_BIG || endian == DataStream::ENDIAN_LITTLE)
            return endian == DataStream::ENDIAN_BIG;
        return __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
    }
    // n bytes at `at` as a number in the stream's byte order.
    std::uint64_t word(std::uint32_t n, std::uint32_t at) const {
        std::uint64_t v = 0;
        for (std::uint32_t i = 0; i < n; ++i) {
            std::uint32_t const k = bigEndian() ? i : n - 1 - i;
            v = (v << 8) | data[at + k];
        }
        return v;
    }
};

// The stored width of T and the value a word of that width reads as.
template <typename T>
constexpr std::uint32_t widthOf() {
    return std::is_same<T, long>::value || std::is_same<T, unsigned long>::value
               ? 4u
               : static_cast<std::uint32_t>(sizeof(T));
}

template <typename T>
T valueOf(std::uint64_t raw) {
    if constexpr (std::is_same<T, bool>::value) {
        return raw != 0;
    } else if constexpr (std::is_floating_point<T>::value) {
        using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
        Bits const bits = static_cast<Bits>(raw);
        T v;
        std::memcpy(&v, &bits, sizeof v);
        return v;
    } else if constexpr (std::is_same<T, long>::value) {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(raw));
    } else {
        return static_cast<T>(raw);
    }
}

// Compares bit patterns, so that NaNs compare too.
template <typename T>
bool same(T a, T b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

void checkShortRead(Util::Exception::DataStreamIO const& e, std::uint32_t width, Model const& m) {
    char expected[128];
    std::snprintf(expected, sizeof expected, "Can't extract %u bytes at position %u, total size %u",
                  width, m.pos, m.size);
    FUZZ_CHECK(e.GetMessageText() == expected);
}

template <typename T>
void readPrimitive(ByteStream& s, Model& m, bool typed) {
    std::uint32_t const width = widthOf<T>();
    bool const fits = m.fits(width, m.pos);
    T const sentinel = valueOf<T>(0x5A5A5A5A5A5A5A5Aull);
    T v = sentinel;
    try {
        if (typed)
            v = s.ReadPrimitive(T());
        else
            s >> v;
    } catch (Util::Exception::DataStreamIO const& e) {
        FUZZ_CHECK(!fits);
        FUZZ_CHECK(s.GetPosition() == m.pos);
        FUZZ_CHECK(same(v, sentinel));
        checkShortRead(e, width, m);
        return;
    }
    FUZZ_CHECK(fits);
    std::uint64_t const raw = m.word(width, m.pos);
    FUZZ_CHECK(same(v, valueOf<T>(raw)));
    // Written back in the same byte order it gives the same bytes (a bool as 00 or 01).
    ByteStream out;
    out.SetEndianType(m.endian);
    out << v;
    FUZZ_CHECK(out.GetSize() == width && out.GetPosition() == width);
    for (std::uint32_t i = 0; i < width; ++i) {
        std::uint8_t const want = std::is_same<T, bool>::value ? (raw != 0) : m.data[m.pos + i];
        FUZZ_CHECK(out.GetBuffer()[i] == want);
    }
    m.pos += width;
    FUZZ_CHECK(s.GetPosition() == m.pos);
}

void readString(ByteStream& s, Model& m) {
    String text("left over");
    try {
        s >> text;
    } catch (Util::Exception::DataStreamIO const& e) {
        FUZZ_CHECK(!m.fits(4, m.pos));
        FUZZ_CHECK(s.GetPosition() == m.pos);
        checkShortRead(e, 4, m);
        return;
    }
    FUZZ_CHECK(m.fits(4, m.pos));
    std::uint32_t const length = static_cast<std::uint32_t>(m.word(4, m.pos));
    m.pos += 4;
    if (length == 0 || length > 200000 || !m.fits(length, m.pos)) {
        FUZZ_CHECK(text.GetLength() == 0);
        FUZZ_CHECK(s.GetPosition() == m.pos);
        return;
    }
    char const* const bytes = reinterpret_cast<char const*>(m.data + m.pos);
    std::size_t const kept = ::strnlen(bytes, length); // a zero byte ends the text
    FUZZ_CHECK(text.GetLength() == kept && std::memcmp(text.Latin1(), bytes, kept) == 0);
    m.pos += length;
    FUZZ_CHECK(s.GetPosition() == m.pos);
    if (kept != length)
        return;
    // Without a zero byte the text writes back as it was read, with or without its length.
    for (bool withLength : {true, false}) {
        ByteStream out;
        out.SetEndianType(m.endian);
        out.SetWriteStringLength(withLength);
        out << text;
        std::uint32_t const skip = withLength ? 0 : 4;
        FUZZ_CHECK(out.GetSize() == length + 4 - skip);
        FUZZ_CHECK(
            std::memcmp(out.GetBuffer(), m.data + m.pos - length - 4 + skip, out.GetSize()) == 0);
    }
}

void readBytes(ByteStream& s, Model& m, unsigned arg) {
    // Sizes around the end of the data matter most: 14 asks for exactly what is left, 15 for
    // one byte more.
    std::uint32_t const left = m.pos <= m.size ? m.size - m.pos : 0;
    std::uint32_t const n = arg == 14 ? left : arg == 15 ? left + 1 : arg * 3;
    std::vector<unsigned char> bytes(n, 0xA5);
    s >> bytes;
    if (n != 0 && m.fits(n, m.pos)) {
        FUZZ_CHECK(bytes.size() == n && std::memcmp(bytes.data(), m.data + m.pos, n) == 0);
        m.pos += n;
    } else if (n != 0) {
        FUZZ_CHECK(bytes.empty());
    }
    FUZZ_CHECK(s.GetPosition() == m.pos);
}

void move(ByteStream& s, Model& m, unsigned arg) {
    if (arg < 8) {
        int const n = static_cast<int>(arg) - 4;
        s.Skip(n);
        m.pos += static_cast<std::uint32_t>(n);
    } else {
        // Around the end of the data, or far beyond it.
        m.pos = arg == 15 ? 0xFFFFFFFDu : m.size + arg - 12;
        s.SetPosition(m.pos);
    }
    FUZZ_CHECK(s.GetPosition() == m.pos);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::uint8_t const settings = size > 0 ? data[0] : 0;
    std::size_t const count = size > 1 ? data[1] % 64 : 0;
    std::size_t const header = size < 2 + count ? size : 2 + count;
    std::uint8_t const* const ops = data + (size > 2 ? 2 : size);
    std::size_t const opCount = header - (size > 2 ? 2 : size);

    Model m{data + header, static_cast<std::uint32_t>(size - header), 0,
            static_cast<DataStream::EndianType>(settings & 3)};
    ByteStream s = (settings & 8) != 0
                       ? ByteStream(std::vector<unsigned char>(m.data, m.data + m.size))
                       : ByteStream(m.size, m.data);
    FUZZ_CHECK(s.GetSize() == m.size && s.GetPosition() == 0 &&
               s.GetEndianType() == DataStream::ENDIAN_UNKNOWN && s.IsWriteStringLength());
    s.SetEndianType(m.endian);
    s.SetWriteStringLength((settings & 4) != 0);

    for (std::size_t i = 0; i < opCount; ++i) {
        unsigned const op = ops[i] & 15;
        unsigned const arg = ops[i] >> 4;
        bool const typed = (arg & 1) != 0;
        // The primitives in the order of the operation codes 0..11.
        static void (*const kReads[])(ByteStream&, Model&, bool) = {
            readPrimitive<bool>,        readPrimitive<char>,
            readPrimitive<signed char>, readPrimitive<unsigned char>,
            readPrimitive<short>,       readPrimitive<unsigned short>,
            readPrimitive<int>,         readPrimitive<unsigned int>,
            readPrimitive<long>,        readPrimitive<unsigned long>,
            readPrimitive<float>,       readPrimitive<double>};
        switch (op) {
        default:
            kReads[op](s, m, typed);
            break;
        case 12:
            readString(s, m);
            break;
        case 13:
            readBytes(s, m, arg);
            break;
        case 14:
            m.endian = static_cast<DataStream::EndianType>(arg & 3);
            s.SetEndianType(m.endian);
            s.SetWriteStringLength((arg & 4) != 0);
            FUZZ_CHECK(s.GetEndianType() == m.endian &&
                       s.IsWriteStringLength() == ((arg & 4) != 0));
            break;
        case 15:
            move(s, m, arg);
            break;
        }
    }
    FUZZ_CHECK(s.GetSize() == m.size && s.GetPosition() == m.pos);
    FUZZ_CHECK(s.AtEnd() == (m.pos >= m.size));
    FUZZ_CHECK(s.GetRemaining() == m.size - m.pos);
    return 0;
}
