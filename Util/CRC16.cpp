// Util::CRC16: table-driven CRC-16/ARC with a slicing-by-16 block loop and, on x86-64
// processors that have it, carry-less multiplication folding for large blocks: 512 bits wide
// with AVX-512 VPCLMULQDQ, else 128 bits wide with PCLMULQDQ.
#include "Util/CRC16.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define VELMORA_CRC16_CLMUL 1
// GCC 12 takes the deliberately undefined pass-through operands of the AVX-512 intrinsics for
// uninitialised variables.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop
#else
#include <immintrin.h>
#endif
#endif

namespace {

typedef std::array<std::uint16_t, 256> ByteTable;

// Entries of the single-bit bytes 0x01, 0x02, 0x04, ..., 0x80; every other entry is the XOR
// of the entries of its set bits, because the CRC is linear.
constexpr std::uint16_t kBitEntries[8] = {0xC0C1, 0xC181, 0xC301, 0xC601,
                                          0xCC01, 0xD801, 0xF001, 0xA001};

constexpr ByteTable makeByteTable() {
    ByteTable table{};
    for (unsigned i = 0; i < 256; ++i) {
        std::uint16_t entry = 0;
        for (unsigned bit = 0; bit < 8; ++bit)
            if (i & (1u << bit))
                entry ^= kBitEntries[bit];
        table[i] = entry;
    }
    return table;
}

// Built at compile time, so there is no first-use race and nothing to fill at run time.
constexpr ByteTable kByteTable = makeByteTable();

ByteTable const& GetCRCTable() {
    return kByteTable;
}

// kSlices[k][b] is the CRC of the byte b followed by k zero bytes, so one pass can fold
// sixteen bytes with sixteen independent lookups.
constexpr unsigned kSliceCount = 16;
typedef std::array<ByteTable, kSliceCount> SliceTables;

constexpr SliceTables makeSliceTables() {
    SliceTables slices{};
    slices[0] = kByteTable;
    for (unsigned k = 1; k < kSliceCount; ++k)
        for (unsigned b = 0; b < 256; ++b) {
            std::uint16_t const prev = slices[k - 1][b];
            slices[k][b] = static_cast<std::uint16_t>((prev >> 8) ^ kByteTable[prev & 0xFF]);
        }
    return slices;
}

constexpr SliceTables kSlices = makeSliceTables();

inline std::uint16_t foldByte(std::uint16_t crc, unsigned char byte) {
    return static_cast<std::uint16_t>((crc >> 8) ^ kByteTable[(crc ^ byte) & 0xFF]);
}

std::uint16_t crcSlicing(std::uint16_t crc, unsigned char const* p, std::size_t n) {
    while (n >= kSliceCount) {
        // The 16-bit state only reaches the first two bytes of the pass.
        unsigned const b0 = p[0] ^ (crc & 0xFFu);
        unsigned const b1 = p[1] ^ (crc >> 8);
        crc = static_cast<std::uint16_t>(
            kSlices[15][b0] ^ kSlices[14][b1] ^ kSlices[13][p[2]] ^ kSlices[12][p[3]] ^
            kSlices[11][p[4]] ^ kSlices[10][p[5]] ^ kSlices[9][p[6]] ^ kSlices[8][p[7]] ^
            kSlices[7][p[8]] ^ kSlices[6][p[9]] ^ kSlices[5][p[10]] ^ kSlices[4][p[11]] ^
            kSlices[3][p[12]] ^ kSlices[2][p[13]] ^ kSlices[1][p[14]] ^ kSlices[0][p[15]]);
        p += kSliceCount;
        n -= kSliceCount;
    }
    while (n-- > 0)
        crc = foldByte(crc, *p++);
    return crc;
}

// The multiplier for x^n mod P as one 64-bit operand: x * (x^(n-1) mod P), with bit k standing
// for x^(64-k). The extra factor x makes the 127-bit product land on the 128-bit layout.
constexpr std::uint64_t foldConstant(unsigned n) {
    std::uint32_t r = 1;
    for (unsigned i = 1; i < n; ++i) {
        r <<= 1;
        if (r & 0x10000u)
            r ^= 0x18005u;
    }
    std::uint64_t c = 0;
    for (unsigned e = 0; e < 16; ++e)
        if (r & (1u << e))
            c |= std::uint64_t{1} << (63 - e);
    return c;
}

} // namespace

namespace Util::detail {

// The folding multipliers, for the test that derives them another way.
std::uint64_t CRC16FoldMultiplier(unsigned n) {
    return foldConstant(n);
}

} // namespace Util::detail

namespace {

#if VELMORA_CRC16_CLMUL

// Carry-less multiplication folding. A 16-byte block is a polynomial of degree < 128 in the
// reflected order: bit j of the little-endian 128-bit value is the coefficient of x^(127-j).
// Folding a block A over a distance of d bits replaces A * x^d by
// A.high64 * (x^(d+64) mod P) + A.low64 * (x^d mod P), which has the same remainder and fits
// in 128 bits again; the running value then only ever needs a final 16-byte table pass.

constexpr std::uint64_t kFold128Low = foldConstant(128 + 64);
constexpr std::uint64_t kFold128High = foldConstant(128);
constexpr std::uint64_t kFold1024Low = foldConstant(1024 + 64);
constexpr std::uint64_t kFold1024High = foldConstant(1024);

constexpr std::uint64_t kFold256Low = foldConstant(256 + 64);
constexpr std::uint64_t kFold256High = foldConstant(256);
constexpr std::uint64_t kFold384Low = foldConstant(384 + 64);
constexpr std::uint64_t kFold384High = foldConstant(384);
constexpr std::uint64_t kFold512Low = foldConstant(512 + 64);
constexpr std::uint64_t kFold512High = foldConstant(512);

// Below this the setup and the final reduction cost more than the table loop.
constexpr std::size_t kClmulMinimum = 64;
// Below this four lanes folded at once beat the eight of the main loop.
constexpr std::size_t kClmulEightLanes = 256;

__attribute__((target("pclmul"))) inline __m128i fold(__m128i acc, __m128i k, __m128i next) {
    __m128i const low = _mm_clmulepi64_si128(acc, k, 0x00);
    __m128i const high = _mm_clmulepi64_si128(acc, k, 0x11);
    return _mm_xor_si128(_mm_xor_si128(low, high), next);
}

inline __m128i load(unsigned char const* p) {
    return _mm_loadu_si128(reinterpret_cast<__m128i const*>(p));
}

// The two 64-bit multipliers of one folding distance as one operand.
inline __m128i multipliers(std::uint64_t high, std::uint64_t low) {
    return _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
}

// Folds the lanes, in message order, into one, then the remaining 16-byte blocks of p, and
// finishes the last bytes with the table loop.
__attribute__((target("pclmul"))) std::uint16_t
finishFolding(__m128i const* lanes, int count, unsigned char const* p, std::size_t n) {
    __m128i const k128 = multipliers(kFold128High, kFold128Low);
    __m128i acc = lanes[0];
    for (int i = 1; i < count; ++i)
        acc = fold(acc, k128, lanes[i]);
    while (n >= 16) {
        acc = fold(acc, k128, load(p));
        p += 16;
        n -= 16;
    }
    alignas(16) unsigned char rest[16];
    _mm_store_si128(reinterpret_cast<__m128i*>(rest), acc);
    return crcSlicing(crcSlicing(0, rest, 16), p, n);
}

// Short blocks: four lanes of 16 bytes, at the end each folded straight onto the last over its
// own distance, so that the three folds run side by side instead of one after another.
__attribute__((target("pclmul"))) std::uint16_t
crcClmulShort(std::uint16_t crc, unsigned char const* p, std::size_t n) {
    __m128i lane[4];
    for (int i = 0; i < 4; ++i)
        lane[i] = load(p + 16 * i);
    lane[0] = _mm_xor_si128(lane[0], _mm_cvtsi32_si128(crc));
    p += 64;
    n -= 64;
    while (n >= 64) {
        __m128i const k512 = multipliers(kFold512High, kFold512Low);
        for (int i = 0; i < 4; ++i)
            lane[i] = fold(lane[i], k512, load(p + 16 * i));
        p += 64;
        n -= 64;
    }
    __m128i const last = fold(lane[2], multipliers(kFold128High, kFold128Low), lane[3]);
    __m128i const acc = fold(lane[0], multipliers(kFold384High, kFold384Low),
                             fold(lane[1], multipliers(kFold256High, kFold256Low), last));
    return finishFolding(&acc, 1, p, n);
}

__attribute__((target("pclmul"))) std::uint16_t crcClmul(std::uint16_t crc, unsigned char const* p,
                                                         std::size_t n) {
    if (n < kClmulMinimum)
        return crcSlicing(crc, p, n);
    if (n < kClmulEightLanes)
        return crcClmulShort(crc, p, n);

    __m128i const k1024 = multipliers(kFold1024High, kFold1024Low);

    // Eight independent lanes of 16 bytes hide the multiplier's latency.
    __m128i lane[8];
    for (int i = 0; i < 8; ++i)
        lane[i] = load(p + 16 * i);
    // A running value is the same as XORing it into the first two message bytes.
    lane[0] = _mm_xor_si128(lane[0], _mm_cvtsi32_si128(crc));
    p += 128;
    n -= 128;
    while (n >= 128) {
        for (int i = 0; i < 8; ++i)
            lane[i] = fold(lane[i], k1024, load(p + 16 * i));
        p += 128;
        n -= 128;
    }

    return finishFolding(lane, 8, p, n);
}

// The same folding over 64-byte vectors: four accumulators of four 16-byte lanes each cover
// 256 bytes a step, folded over 2048 bits. At the end the sixteen lanes, in message order,
// are folded into one as the 128-bit path folds its eight.
constexpr std::uint64_t kFold2048Low = foldConstant(2048 + 64);
constexpr std::uint64_t kFold2048High = foldConstant(2048);
constexpr std::size_t kClmul512Minimum = 1024;

__attribute__((target("avx512f,vpclmulqdq"))) inline __m512i fold512(__m512i acc, __m512i k,
                                                                     __m512i next) {
    __m512i const low = _mm512_clmulepi64_epi128(acc, k, 0x00);
    __m512i const high = _mm512_clmulepi64_epi128(acc, k, 0x11);
    return _mm512_ternarylogic_epi64(low, high, next, 0x96); // low ^ high ^ next
}

__attribute__((target("avx512f,vpclmulqdq,pclmul"))) std::uint16_t
crcClmul512(std::uint16_t crc, unsigned char const* p, std::size_t n) {
    if (n < kClmul512Minimum)
        return crcClmul(crc, p, n);
    __m512i const k2048 = _mm512_broadcast_i32x4(multipliers(kFold2048High, kFold2048Low));
    __m512i acc[4];
    for (int i = 0; i < 4; ++i)
        acc[i] = _mm512_loadu_si512(p + 64 * i);
    acc[0] = _mm512_xor_si512(
        acc[0], _mm512_inserti32x4(_mm512_setzero_si512(), _mm_cvtsi32_si128(crc), 0));
    p += 256;
    n -= 256;
    while (n >= 256) {
        for (int i = 0; i < 4; ++i)
            acc[i] = fold512(acc[i], k2048, _mm512_loadu_si512(p + 64 * i));
        p += 256;
        n -= 256;
    }
    alignas(64) __m128i lanes[16];
    for (int i = 0; i < 4; ++i)
        _mm512_store_si512(lanes + 4 * i, acc[i]);
    return finishFolding(lanes, 16, p, n);
}

#endif // VELMORA_CRC16_CLMUL

typedef std::uint16_t (*BlockFunction)(std::uint16_t, unsigned char const*, std::size_t);

BlockFunction chooseBlockFunction() {
#if VELMORA_CRC16_CLMUL
    // VELMORA_CRC16_PORTABLE=128 stops at the 128-bit folding; any other value keeps to the
    // table method.
    char const* portable = std::getenv("VELMORA_CRC16_PORTABLE");
    std::string const limit = portable != nullptr ? portable : "";
    __builtin_cpu_init();
    if (limit.empty() && __builtin_cpu_supports("avx512f") &&
        __builtin_cpu_supports("vpclmulqdq") && __builtin_cpu_supports("pclmul"))
        return crcClmul512;
    if ((limit.empty() || limit == "128") && __builtin_cpu_supports("pclmul"))
        return crcClmul;
#endif
    return crcSlicing;
}

} // namespace

namespace Util {

void CRC16(unsigned short& crc, char byte) {
    crc = static_cast<unsigned short>(
        (crc >> 8) ^ GetCRCTable()[(crc ^ static_cast<unsigned char>(byte)) & 0xFF]);
}

unsigned short CRC16(char const* data, unsigned int length) {
    if (length == 0)
        return 0;
    static BlockFunction const blockFunction = chooseBlockFunction();
    return blockFunction(0, reinterpret_cast<unsigned char const*>(data), length);
}

} // namespace Util
