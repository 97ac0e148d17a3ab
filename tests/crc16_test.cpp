// Util::CRC16: CRC-16/ARC checked against a plain bit-at-a-time reference.
#include "Util/CRC16.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

// Reflected CRC-16 with polynomial 0xA001, one bit at a time: no tables involved.
std::uint16_t referenceCrc(char const* p, std::size_t n) {
    std::uint16_t crc = 0;
    for (std::size_t i = 0; i < n; ++i) {
        crc ^= static_cast<unsigned char>(p[i]);
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<std::uint16_t>((crc & 1u) ? (crc >> 1) ^ 0xA001u : crc >> 1);
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

TEST(CRC16, CheckValueAndEmptyBlock) {
    EXPECT_EQ(Util::CRC16("123456789", 9), 0xBB3D);
    EXPECT_EQ(foldEachByte("123456789", 9), 0xBB3D);
    EXPECT_EQ(Util::CRC16(nullptr, 0), 0); // a null pointer is not read
}

// The stated single-bit entries (from which the whole table is built) and 0xFF, then every
// byte in both forms against the reference.
TEST(CRC16, SingleBytes) {
    struct Row {
        unsigned char byte;
        unsigned short crc;
    } const rows[] = {{0x01, 0xC0C1}, {0x02, 0xC181}, {0x04, 0xC301},
                      {0x08, 0xC601}, {0x10, 0xCC01}, {0x20, 0xD801},
                      {0x40, 0xF001}, {0x80, 0xA001}, {0xFF, 0x4040}};
    for (Row const& row : rows)
        EXPECT_EQ(foldEachByte(reinterpret_cast<char const*>(&row.byte), 1), row.crc)
            << "byte " << int(row.byte);
    for (int i = 0; i < 256; ++i) {
        char const c = static_cast<char>(i);
        EXPECT_EQ(foldEachByte(&c, 1), referenceCrc(&c, 1)) << "byte " << i;
        EXPECT_EQ(Util::CRC16(&c, 1), referenceCrc(&c, 1)) << "byte " << i;
    }
}

// Short blocks take the table loop, longer ones the 128-bit folding and from 1024 bytes the
// 512-bit folding where the processor has them; every length up to 2048 at 16 alignments
// crosses each boundary of each.
TEST(CRC16, BlocksOfEveryLengthAndAlignmentEqualTheByteFold) {
    std::vector<char> const pool = randomBytes(2048 + 16, 7);
    for (std::size_t align = 0; align < 16; ++align)
        for (std::size_t len = 0; len <= 2048; ++len) {
            char const* p = pool.data() + align;
            unsigned short const expected = foldEachByte(p, len);
            ASSERT_EQ(Util::CRC16(p, static_cast<unsigned int>(len)), expected)
                << "length " << len << ", alignment " << align;
            ASSERT_EQ(expected, referenceCrc(p, len))
                << "length " << len << ", alignment " << align;
        }
}

TEST(CRC16, LargeBlocksMatchTheReference) {
    for (std::size_t len : {65536u + 13u, (1u << 20) + 255u}) {
        std::vector<char> const bytes = randomBytes(len, static_cast<std::uint32_t>(len));
        EXPECT_EQ(Util::CRC16(bytes.data(), static_cast<unsigned int>(len)),
                  referenceCrc(bytes.data(), len))
            << "length " << len;
    }
}

} // namespace
