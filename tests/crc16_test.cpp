// Util::CRC16: CRC-16/ARC checked against a plain bit-at-a-time reference.
#include "Util/CRC16.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace Util::detail {
std::uint64_t CRC16FoldMultiplier(unsigned n);
}

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

// x^n mod G(x) = x^16 + x^15 + x^2 + 1 by square-and-multiply with carry-less products: another
// way to the folding multipliers than the library's shift register.
std::uint32_t reduceModG(std::uint64_t v) {
    for (int bit = 62; bit >= 16; --bit)
        if ((v >> bit) & 1)
            v ^= std::uint64_t{0x18005} << (bit - 16);
    return static_cast<std::uint32_t>(v);
}
std::uint32_t mulModG(std::uint32_t a, std::uint32_t b) {
    std::uint64_t product = 0;
    for (int i = 0; i < 16; ++i)
        if ((b >> i) & 1)
            product ^= std::uint64_t{a} << i;
    return reduceModG(product);
}
std::uint32_t xPowerModG(unsigned n) {
    std::uint32_t result = 1, base = 2; // 2 is x
    for (; n != 0; n >>= 1, base = mulModG(base, base))
        if (n & 1)
            result = mulModG(result, base);
    return result;
}

// Each multiplier is x^(n-1) mod G bit-reflected into the top 16 bits of a 64-bit operand (the
// missing factor x is the one-bit shift of a reflected carry-less product), for the folding
// distances of 128, 256, 384, 512, 1024 and 2048 bits and those plus 64.
TEST(CRC16, FoldingMultipliersArePowersOfXModuloTheGenerator) {
    for (unsigned d : {128u, 256u, 384u, 512u, 1024u, 2048u})
        for (unsigned n : {d, d + 64}) {
            std::uint32_t const r = xPowerModG(n - 1);
            std::uint64_t expected = 0;
            for (unsigned e = 0; e < 16; ++e)
                if ((r >> e) & 1)
                    expected |= std::uint64_t{1} << (63 - e);
            EXPECT_EQ(Util::detail::CRC16FoldMultiplier(n), expected) << "x^" << n;
        }
}

} // namespace
