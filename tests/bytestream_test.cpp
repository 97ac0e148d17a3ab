// Util::ByteStream: byte images, bounds, soft failures and a random round trip.
#include "Util/ByteStream.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <variant>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
using Util::ByteStream;
using Util::DataStream;

Bytes contents(ByteStream const& s) {
    return Bytes(s.GetBuffer(), s.GetBuffer() + s.GetSize());
}

std::string hex(ByteStream const& s) {
    static char const digits[] = "0123456789ABCDEF";
    std::string text;
    for (unsigned char b : contents(s)) {
        text += digits[b >> 4];
        text += digits[b & 15];
    }
    return text;
}

struct Image {
    std::function<void(DataStream&)> write;
    char const* little;
    char const* big;
};

TEST(ByteStream, ByteImagesInEachByteOrder) {
    double doubleBits;
    unsigned long long const b = 0x0102030405060708ULL;
    std::memcpy(&doubleBits, &b, sizeof b);
    using S = DataStream&;
    Image const images[] = {
        {[](S s) { s << true << false; }, "0100", "0100"},
        {[](S s) { s << 'A' << static_cast<signed char>(-2); }, "41FE", "41FE"},
        {[](S s) { s << static_cast<unsigned char>(0x9C); }, "9C", "9C"},
        {[](S s) { s << static_cast<short>(-2); }, "FEFF", "FFFE"},
        {[](S s) { s << static_cast<unsigned short>(0x1234); }, "3412", "1234"},
        {[](S s) { s << 0x12345678; }, "78563412", "12345678"},
        {[](S s) { s << 0x89ABCDEFu; }, "EFCDAB89", "89ABCDEF"},
        {[](S s) { s << -2L; }, "FEFFFFFF", "FFFFFFFE"},
        {[](S s) { s << static_cast<long>(0x7123456789LL); }, "89674523", "23456789"},
        {[](S s) { s << 0xFFFFFFFEul; }, "FEFFFFFF", "FFFFFFFE"},
        {[](S s) { s << 1.0f; }, "0000803F", "3F800000"},
        {[&](S s) { s << doubleBits; }, "0807060504030201", "0102030405060708"},
        {[](S s) { s << String("abc") << String(); }, "0300000061626300000000",
         "0000000361626300000000"},
        {[](S s) {
             s.SetWriteStringLength(false);
             s << String("abc");
         },
         "616263", "616263"},
        {[](S s) { s << Bytes(2, 0xAB) << Bytes(); }, "ABAB", "ABAB"},
    };
    unsigned int const one = 1;
    bool const hostLittle = *reinterpret_cast<unsigned char const*>(&one) == 1;
    struct {
        DataStream::EndianType type;
        bool little;
    } const orders[] = {{DataStream::ENDIAN_UNKNOWN, hostLittle},
                        {DataStream::ENDIAN_LITTLE, true},
                        {DataStream::ENDIAN_BIG, false},
                        {DataStream::NUM_ENDIANS, hostLittle}};
    for (Image const& image : images) {
        for (auto const& order : orders) {
            ByteStream s; // a new stream is ENDIAN_UNKNOWN and writes string lengths
            if (order.type != DataStream::ENDIAN_UNKNOWN)
                s.SetEndianType(order.type);
            image.write(s);
            EXPECT_EQ(hex(s), order.little ? image.little : image.big)
                << "endian type " << order.type;
        }
    }
}

TEST(ByteStream, WritingPastTheEndZeroFillsAndInsideOverwrites) {
    ByteStream s;
    s.SetEndianType(DataStream::ENDIAN_BIG);
    s.SetPosition(10);
    s << 0x01020304;
    EXPECT_EQ(hex(s), "0000000000000000000001020304");
    s.SetPosition(11);
    s << static_cast<short>(0x0A0B);
    EXPECT_EQ(hex(s), "00000000000000000000010A0B04");
    EXPECT_EQ(s.GetPosition(), 13u);
}

TEST(ByteStream, ShortReadThrowsAndLeavesPositionAndTarget) {
    unsigned char const data[6] = {1, 2, 3, 4, 5, 6};
    ByteStream s(6, data);
    s.SetPosition(3);
    int v = 77;
    try {
        s >> v;
        FAIL() << "no exception";
    } catch (Util::Exception::DataStreamIO const& e) {
        EXPECT_EQ(std::string(e.ToString().Latin1()),
                  "Base:\n\tCan't extract 4 bytes at position 3, total size 6\n"
                  "\t (-1): Thrown, GetLastError(): 0\n\nDataStreamIO\n");
    }
    EXPECT_EQ(v, 77);
    EXPECT_EQ(s.GetPosition(), 3u);
    // A buffer shorter than the width, and a position far beyond the end.
    ByteStream two(Bytes{1, 2});
    EXPECT_THROW(two.ReadPrimitive(double()), Util::Exception::DataStreamIO);
    two.SetPosition(0xFFFFFFFFu);
    EXPECT_THROW(two.ReadPrimitive(char()), Util::Exception::DataStreamIO);
}

TEST(ByteStream, AnyNonZeroByteReadsAsTrue) {
    ByteStream s(Bytes{0x80});
    EXPECT_TRUE(s.ReadPrimitive(bool()));
}

TEST(ByteStream, StringLengthCapAndShortText) {
    String s("old");
    ByteStream over;
    over << 200001u << Bytes(200001, 'x');
    over.SetPosition(0);
    over >> s;
    EXPECT_EQ(s.GetLength(), 0u);
    EXPECT_EQ(over.GetPosition(), 4u);

    ByteStream at;
    at << 200000u << Bytes(200000, 'x');
    at.SetPosition(0);
    at >> s;
    EXPECT_EQ(s.GetLength(), 200000u);

    ByteStream shortText;
    shortText << 3u << Bytes{'a', 'b'};
    shortText.SetPosition(0);
    shortText >> s;
    EXPECT_EQ(s.GetLength(), 0u);
    EXPECT_EQ(shortText.GetPosition(), 4u);
}

TEST(ByteStream, EmbeddedZeroCutsTheTextButConsumesAllBytes) {
    ByteStream s;
    s << 5u << Bytes{'a', 'b', 0, 'c', 'd'} << 42;
    s.SetPosition(0);
    String text;
    int after = 0;
    s >> text >> after;
    EXPECT_EQ(text, "ab");
    EXPECT_EQ(after, 42);
}

TEST(ByteStream, VectorReads) {
    ByteStream s(Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13});
    s.SetPosition(8);
    Bytes tooMany(8, 0xAA);
    s >> tooMany;
    EXPECT_TRUE(tooMany.empty());
    EXPECT_EQ(s.GetPosition(), 8u);
    Bytes rest(5);
    s >> rest;
    EXPECT_EQ(rest, (Bytes{9, 10, 11, 12, 13}));
}

TEST(ByteStream, SkipAtEndAndRemaining) {
    ByteStream s;
    s << 7 << 9;
    s.Skip(-4);
    EXPECT_EQ(s.ReadPrimitive(int()), 9);
    EXPECT_TRUE(s.AtEnd());
    s.Skip(3);
    EXPECT_TRUE(s.AtEnd());
    EXPECT_EQ(s.GetRemaining(), 0xFFFFFFFDu); // wraps past the end
    s.SetPosition(7);
    EXPECT_FALSE(s.AtEnd());
    EXPECT_EQ(s.GetRemaining(), 1u);
}

using Value = std::variant<bool, char, signed char, unsigned char, short, unsigned short, int,
                           unsigned int, long, unsigned long, float, double, String, Bytes>;

template <typename T>
T fromBits(unsigned long long bits) {
    T v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

Bytes randomBytes(std::mt19937_64& rng, unsigned lowest) {
    Bytes bytes(rng() % 40);
    for (unsigned char& b : bytes)
        b = static_cast<unsigned char>(lowest + rng() % (256 - lowest));
    return bytes;
}

Value randomValue(std::mt19937_64& rng) {
    unsigned long long const b = rng();
    switch (rng() % 14) {
    case 0:
        return (b & 1) != 0;
    case 1:
        return fromBits<char>(b);
    case 2:
        return fromBits<signed char>(b);
    case 3:
        return fromBits<unsigned char>(b);
    case 4:
        return fromBits<short>(b);
    case 5:
        return fromBits<unsigned short>(b);
    case 6:
        return fromBits<int>(b);
    case 7:
        return fromBits<unsigned int>(b);
    case 8: // the format keeps 32 bits of a long
        return static_cast<long>(fromBits<int>(b));
    case 9:
        return static_cast<unsigned long>(fromBits<unsigned int>(b));
    case 10:
        return fromBits<float>(b); // NaNs included: compared bit for bit below
    case 11:
        return fromBits<double>(b);
    case 12: {
        Bytes const text = randomBytes(rng, 1);
        return String(reinterpret_cast<char const*>(text.data()),
                      static_cast<unsigned int>(text.size()));
    }
    default:
        return randomBytes(rng, 0);
    }
}

TEST(ByteStream, RoundTripOfRandomSequences) {
    std::mt19937_64 rng(20240607);
    for (int trial = 0; trial < 300; ++trial) {
        std::vector<Value> values(rng() % 30);
        for (Value& v : values)
            v = randomValue(rng);
        auto const order = static_cast<DataStream::EndianType>(rng() % 3);

        ByteStream out;
        out.SetEndianType(order);
        for (Value const& v : values)
            std::visit([&out](auto const& x) { out << x; }, v);

        ByteStream in(contents(out));
        in.SetEndianType(order);
        DataStream& reader = in;
        for (Value const& v : values) {
            std::visit(
                [&reader, trial](auto const& expected) {
                    using T = std::decay_t<decltype(expected)>;
                    if constexpr (std::is_same_v<T, String> || std::is_same_v<T, Bytes>) {
                        T got;
                        if constexpr (std::is_same_v<T, Bytes>)
                            got.resize(expected.size()); // the size asks for that many bytes
                        reader >> got;
                        EXPECT_TRUE(got == expected) << "trial " << trial;
                    } else {
                        T const got = reader.ReadPrimitive(T());
                        EXPECT_EQ(std::memcmp(&got, &expected, sizeof got), 0) << "trial " << trial;
                    }
                },
                v);
        }
        EXPECT_TRUE(in.AtEnd()) << "trial " << trial;
    }
}

} // namespace
