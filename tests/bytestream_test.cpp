// Util::ByteStream: byte images, bounds, soft failures and a random round trip.
#include "Util/ByteStream.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
using Util::ByteStream;
using Util::DataStream;

// The bytes as hex, a blank between bytes.
std::string hex(ByteStream const& s) {
    std::string text;
    for (unsigned int i = 0; i < s.GetSize(); ++i)
        text += std::string(i == 0 ? "" : " ") + "0123456789ABCDEF"[s.GetBuffer()[i] >> 4] +
                "0123456789ABCDEF"[s.GetBuffer()[i] & 15];
    return text;
}

// A new stream is ENDIAN_UNKNOWN (host order, as is any unknown value) and writes string
// lengths. long is written as its low 32 bits.
TEST(ByteStream, ByteImagesShortReadsStringsVectorsSkipAndAtEnd) {
    using S = DataStream&;
    // The write, then the bytes in little-endian and in big-endian order.
    std::tuple<void (*)(S), char const*, char const*> const images[] = {
        {[](S s) { s << true << false << 'A' << (signed char)-2 << (unsigned char)0x9C; },
         "01 00 41 FE 9C", "01 00 41 FE 9C"},
        {[](S s) { s << short(-2) << (unsigned short)0x1234; }, "FE FF 34 12", "FF FE 12 34"},
        {[](S s) { s << 0x12345678 << 0x89ABCDEFu; }, "78 56 34 12 EF CD AB 89",
         "12 34 56 78 89 AB CD EF"},
        {[](S s) { s << -2L << static_cast<long>(0x7123456789LL) << 0xFFFFFFFEul; },
         "FE FF FF FF 89 67 45 23 FE FF FF FF", "FF FF FF FE 23 45 67 89 FF FF FF FE"},
        // The double has the bits 0x0102030405060708.
        {[](S s) { s << 1.0f << 0x1.2030405060708p-1007; }, "00 00 80 3F 08 07 06 05 04 03 02 01",
         "3F 80 00 00 01 02 03 04 05 06 07 08"},
        {[](S s) { s << String("abc") << String() << Bytes(2, 0xAB) << Bytes(); },
         "03 00 00 00 61 62 63 00 00 00 00 AB AB", "00 00 00 03 61 62 63 00 00 00 00 AB AB"},
        {[](S s) { s.SetWriteStringLength(false), s << String("abc"); }, "61 62 63", "61 62 63"},
        // Writing past the end fills the gap with zeros; writing inside overwrites.
        {[](S s) { s.SetPosition(3), s << 0x01020304, s.SetPosition(4), s << short(0x0A0B); },
         "00 00 00 04 0B 0A 01", "00 00 00 01 0A 0B 04"},
    };
    bool const host = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__; // the host is little-endian
    std::pair<DataStream::EndianType, bool> const orders[] = {{DataStream::ENDIAN_UNKNOWN, host},
                                                              {DataStream::ENDIAN_LITTLE, true},
                                                              {DataStream::ENDIAN_BIG, false},
                                                              {DataStream::NUM_ENDIANS, host}};
    for (auto const& [write, littleImage, bigImage] : images)
        for (auto const& [type, little] : orders) {
            ByteStream s;
            if (type != DataStream::ENDIAN_UNKNOWN)
                s.SetEndianType(type);
            write(s);
            EXPECT_EQ(hex(s), little ? littleImage : bigImage) << "endian type " << type;
        }

    // A short read throws and leaves position and target as they were, also for a buffer shorter
    // than the width and a position so far beyond the end that position + width wraps.
    ByteStream s(Bytes{1, 2, 3, 4, 5, 6});
    s.SetPosition(3);
    int v = 77;
    try {
        s >> v;
        ADD_FAILURE() << "no exception";
    } catch (Util::Exception::DataStreamIO const& e) {
        EXPECT_EQ(std::string(e.ToString().Latin1()),
                  "Base:\n\tCan't extract 4 bytes at position 3, total size 6\n"
                  "\t (-1): Thrown, GetLastError(): 0\n\nDataStreamIO\n");
    }
    EXPECT_TRUE(v == 77 && s.GetPosition() == 3u) << "target and position unchanged";
    ByteStream two(Bytes{1, 2});
    EXPECT_THROW(two.ReadPrimitive(double()), Util::Exception::DataStreamIO);
    two.SetPosition(0xFFFFFFFFu);
    EXPECT_THROW(two.ReadPrimitive(char()), Util::Exception::DataStreamIO);
    EXPECT_TRUE(ByteStream(Bytes{0x80}).ReadPrimitive(bool())); // any non-zero byte is true

    // A string is emptied first and stays empty when its length is over 200000 or its bytes are
    // not all there, the position then just past the length word; a zero byte ends the text but
    // all its bytes are consumed.
    std::tuple<unsigned int, std::string, std::string, unsigned int> const rows[] = {
        {200001, std::string(200001, 'x'), "", 4},
        {200000, std::string(200000, 'x'), std::string(200000, 'x'), 200004},
        {3, "ab", "", 4},
        {5, std::string("ab\0cd", 5), "ab", 9}};
    for (auto const& [length, bytes, expected, position] : rows) {
        ByteStream s;
        s << length << Bytes(bytes.begin(), bytes.end());
        s.SetPosition(0);
        String text("old");
        s >> text;
        EXPECT_EQ(std::pair(std::string(text.Latin1()), s.GetPosition()),
                  std::pair(expected, position));
    }

    // A vector reads as many bytes as it holds; when fewer remain it is cleared, the position kept.
    // Skip moves the position unchecked; beyond the end AtEnd holds and GetRemaining wraps.
    ByteStream t(Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13});
    t.SetPosition(8);
    Bytes tooMany(8, 0xAA), rest(5);
    t >> tooMany;
    EXPECT_TRUE(tooMany.empty() && t.GetPosition() == 8u) << "cleared, position kept";
    t >> rest;
    EXPECT_TRUE(rest == (Bytes{9, 10, 11, 12, 13}) && t.AtEnd());
    t.Skip(-5);
    EXPECT_EQ(t.ReadPrimitive(char()), 9);
    t.Skip(7);
    EXPECT_EQ(std::pair(t.AtEnd(), t.GetRemaining()), std::pair(true, 0xFFFFFFFDu)); // wraps
    t.SetPosition(12);
    EXPECT_EQ(std::pair(t.AtEnd(), t.GetRemaining()), std::pair(false, 1u));
}

using Check = std::function<bool(DataStream&, bool)>;

// Writes a random T to out and returns the check that reads it back and compares it bit for
// bit, primitives through ReadPrimitive when asked, else through operator>>. Text has no zero
// byte, which would end a String early.
template <typename T>
Check writeRandom(DataStream& out, std::mt19937_64& rng) {
    unsigned long long const bits = rng();
    std::string text(bits % 40, 'x');
    for (char& c : text)
        c = static_cast<char>(1 + rng() % 255);
    T v{};
    if constexpr (std::is_same_v<T, String>)
        v = String(text.c_str());
    else if constexpr (std::is_same_v<T, Bytes>)
        v = Bytes(text.begin(), text.end());
    else if constexpr (std::is_same_v<T, bool>)
        v = (bits & 1) != 0;
    else if constexpr (std::is_same_v<T, long> || std::is_same_v<T, unsigned long>) // 32 bits
        v = T(std::conditional_t<std::is_signed_v<T>, std::int32_t, std::uint32_t>(bits));
    else
        std::memcpy(&v, &bits, sizeof v); // any bit pattern, NaNs included
    out << v;
    return [v](DataStream& in, bool primitive) {
        T got{};
        if constexpr (std::is_same_v<T, Bytes>)
            got.resize(v.size()); // the size asks for that many bytes
        if constexpr (std::is_arithmetic_v<T>) {
            primitive ? void(got = in.ReadPrimitive(T())) : void(in >> got);
            return std::memcmp(&got, &v, sizeof v) == 0;
        } else {
            in >> got;
            return got == v;
        }
    };
}

// Random sequences of every type written in a random byte order read back through the
// DataStream interface.
TEST(ByteStream, RoundTripOfRandomSequences) {
    Check (*const writers[])(DataStream&, std::mt19937_64&) = {
        writeRandom<bool>,   writeRandom<char>,          writeRandom<signed char>,
        writeRandom<short>,  writeRandom<unsigned char>, writeRandom<unsigned short>,
        writeRandom<int>,    writeRandom<unsigned int>,  writeRandom<long>,
        writeRandom<float>,  writeRandom<unsigned long>, writeRandom<double>,
        writeRandom<String>, writeRandom<Bytes>};
    std::mt19937_64 rng(20240607);
    for (int trial = 0; trial < 300; ++trial) {
        auto const order = static_cast<DataStream::EndianType>(rng() % 3);
        ByteStream out;
        out.SetEndianType(order);
        std::vector<Check> checks(rng() % 30);
        for (Check& check : checks)
            check = writers[rng() % 14](out, rng);
        ByteStream in(out.GetSize(), out.GetBuffer());
        in.SetEndianType(order);
        for (std::size_t i = 0; i < checks.size(); ++i)
            EXPECT_TRUE(checks[i](in, trial % 2 == 1)) << "trial " << trial << ", value " << i;
        EXPECT_TRUE(in.AtEnd()) << "trial " << trial;
    }
}

// Writes at random positions, inside the data, at its end and past it, into streams with and
// without room reserved: the bytes match a plain model in which a write past the end first
// fills the gap with zeros, and an empty vector writes nothing.
TEST(ByteStream, WritesAnywhereMatchAPlainModel) {
    std::mt19937_64 rng(20261123);
    for (int trial = 0; trial < 200; ++trial) {
        ByteStream s(static_cast<unsigned int>(rng() % 3 == 0 ? rng() % 300 : 0));
        s.SetEndianType(trial % 2 ? DataStream::ENDIAN_BIG : DataStream::ENDIAN_LITTLE);
        Bytes model;
        for (int step = 0; step < 60; ++step) {
            std::size_t const position = rng() % (model.size() + 40);
            s.SetPosition(static_cast<unsigned int>(position));
            std::uint32_t const word = static_cast<std::uint32_t>(rng());
            Bytes image(4);
            if (rng() % 2) {
                s << static_cast<unsigned int>(word);
                for (int i = 0; i < 4; ++i)
                    image[i] = static_cast<unsigned char>(word >> (trial % 2 ? 24 - 8 * i : 8 * i));
            } else {
                image.resize(rng() % 70);
                for (unsigned char& c : image)
                    c = static_cast<unsigned char>(rng());
                s << image;
            }
            if (!image.empty() && model.size() < position + image.size()) // empty: no write
                model.resize(position + image.size());
            std::copy(image.begin(), image.end(), model.begin() + static_cast<long>(position));
            ASSERT_EQ(s.GetPosition(), position + image.size());
            ASSERT_EQ(s.GetSize(), model.size()) << "trial " << trial << ", step " << step;
            ASSERT_TRUE(model.empty() ||
                        std::memcmp(s.GetBuffer(), model.data(), model.size()) == 0)
                << "trial " << trial << ", step " << step;
        }
    }
}

} // namespace
