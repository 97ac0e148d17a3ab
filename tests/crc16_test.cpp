// Util::CRC16: CRC-16/ARC checked against a plain bit-at-a-time reference.
#include "Util/CRC16.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

// Reflected CRC-16 with polynomial 0xA001, one bit at a time: no tables involved.
std::uint16_t referenceCrc(unsigned char const* p, std::size_t n) {
    std::uint16_t crc = 0;
    for (std::size_t i = 0; i < n; ++i) {
        crc ^= p[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1u) ? static_cast<std::uint16_t>((crc >> 1) ^ 0xA001u)
                             : static_cast<std::uint16_t>(crc >> 1);
    }
    return crc;
}

unsigned short foldEachByte(char const* p, std::size_t n) {
    unsigned short crc = 0;
    for (std::size_t i = 0; i < n; ++i)
        Util::CRC16(crc, p[i]);
    return crc;
}

std::vector<char> randomBytes(std::size_t n, std::uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<char> bytes(n);
    for (char& c : bytes)
        c = static_cast<char>(rng() & 0xFFu);
    return bytes;
}

TEST(CRC16, CheckValueOfTheDigits) {
    EXPECT_EQ(Util::CRC16("123456789", 9), 0xBB3D);
    EXPECT_EQ(foldEachByte("123456789", 9), 0xBB3D);
}

TEST(CRC16, EmptyBlockIsZeroAndReadsNothing) {
    EXPECT_EQ(Util::CRC16(nullptr, 0), 0);
    EXPECT_EQ(Util::CRC16("x", 0), 0);
}

TEST(CRC16, SingleBytes) {
    struct Row {
        unsigned char byte;
        unsigned short crc;
    };
    // The single-bit entries from which the whole table is built, plus 0 and 0xFF.
    Row const rows[] = {{0x00, 0x0000}, {0x01, 0xC0C1}, {0x02, 0xC181}, {0x04, 0xC301},
                        {0x08, 0xC601}, {0x10, 0xCC01}, {0x20, 0xD801}, {0x40, 0xF001},
                        {0x80, 0xA001}, {0xFF, 0x4040}};
    for (Row const& row : rows) {
        SCOPED_TRACE("byte 0x" + std::to_string(row.byte));
        char const c = static_cast<char>(row.byte);
        EXPECT_EQ(Util::CRC16(&c, 1), row.crc);
        unsigned short crc = 0;
        Util::CRC16(crc, c);
        EXPECT_EQ(crc, row.crc);
    }
}

TEST(CRC16, EveryTableEntryMatchesTheBitwiseReference) {
    for (unsigned i = 0; i < 256; ++i) {
        SCOPED_TRACE("byte " + std::to_string(i));
        unsigned char const u = static_cast<unsigned char>(i);
        char const c = static_cast<char>(u);
        unsigned short crc = 0;
        Util::CRC16(crc, c);
        EXPECT_EQ(crc, referenceCrc(&u, 1));
        EXPECT_EQ(Util::CRC16(&c, 1), crc);
    }
}

TEST(CRC16, BlocksOfEveryLengthAndAlignmentEqualTheByteFold) {
    std::vector<char> const pool = randomBytes(1024 + 16, 7);
    for (std::size_t align = 0; align < 16; ++align)
        for (std::size_t len = 0; len <= 1024; ++len) {
            char const* p = pool.data() + align;
            unsigned short const expected = foldEachByte(p, len);
            ASSERT_EQ(Util::CRC16(p, static_cast<unsigned int>(len)), expected)
                << "length " << len << ", alignment " << align;
            ASSERT_EQ(expected, referenceCrc(reinterpret_cast<unsigned char const*>(p), len))
                << "length " << len << ", alignment " << align;
        }
}

TEST(CRC16, LargeBlocksMatchTheReference) {
    for (std::size_t len : {4096u, 65536u + 13u, (1u << 20) + 255u}) {
        SCOPED_TRACE("length " + std::to_string(len));
        std::vector<char> const bytes = randomBytes(len, static_cast<std::uint32_t>(len));
        EXPECT_EQ(Util::CRC16(bytes.data(), static_cast<unsigned int>(len)),
                  referenceCrc(reinterpret_cast<unsigned char const*>(bytes.data()), len));
    }
}

TEST(CRC16, AppendingTheChecksumGivesZero) {
    // With no final XOR, a message followed by its CRC (low byte first) checks to 0.
    for (std::size_t len : {1u, 17u, 300u, 5000u}) {
        std::vector<char> bytes = randomBytes(len, 99);
        unsigned short const crc = Util::CRC16(bytes.data(), static_cast<unsigned int>(len));
        bytes.push_back(static_cast<char>(crc & 0xFF));
        bytes.push_back(static_cast<char>(crc >> 8));
        EXPECT_EQ(Util::CRC16(bytes.data(), static_cast<unsigned int>(bytes.size())), 0)
            << "length " << len;
    }
}

} // namespace
