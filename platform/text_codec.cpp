#include "platform/text_codec.h"

#include <algorithm>
#include <array>
#include <utility>

namespace velmora::text {

namespace {

// Apple's Mac OS Roman mapping of the bytes 0x80..0xFF (0x00..0x7F are ASCII).
constexpr char16_t kHighHalf[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, // 80
    0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5, 0x00E7, 0x00E9, 0x00E8, // 88
    0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3, // 90
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, // 98
    0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6, 0x00DF, // A0
    0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8, // A8
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211, // B0
    0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8, // B8
    0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB, // C0
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153, // C8
    0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA, // D0
    0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02, // D8
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1, // E0
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4, // E8
    0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC, // F0
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7, // F8
};

// The high half sorted by unit, for the reverse lookup.
using ReverseTable = std::array<std::pair<char16_t, unsigned char>, 128>;

ReverseTable makeReverseTable() {
    ReverseTable table{};
    for (int i = 0; i < 128; ++i)
        table[i] = {kHighHalf[i], static_cast<unsigned char>(0x80 + i)};
    std::sort(table.begin(), table.end());
    return table;
}

ReverseTable const& reverseTable() {
    static ReverseTable const table = makeReverseTable();
    return table;
}

} // namespace

char16_t macRomanToUnit(unsigned char byte) {
    return byte < 0x80 ? static_cast<char16_t>(byte) : kHighHalf[byte - 0x80];
}

int unitToMacRoman(char16_t unit) {
    if (unit < 0x80)
        return unit;
    auto const& table = reverseTable();
    auto it = std::lower_bound(table.begin(), table.end(), unit,
                               [](auto const& entry, char16_t u) { return entry.first < u; });
    return it != table.end() && it->first == unit ? it->second : -1;
}

bool utf8ToUtf16(char const* bytes, std::size_t n, std::u16string& out) {
    auto const* s = reinterpret_cast<unsigned char const*>(bytes);
    std::size_t i = 0;
    while (i < n) {
        unsigned char const lead = s[i];
        char32_t cp;
        std::size_t len;
        char32_t min;
        if (lead < 0x80) {
            out.push_back(lead);
            ++i;
            continue;
        } else if ((lead & 0xE0) == 0xC0) {
            cp = lead & 0x1F, len = 2, min = 0x80;
        } else if ((lead & 0xF0) == 0xE0) {
            cp = lead & 0x0F, len = 3, min = 0x800;
        } else if ((lead & 0xF8) == 0xF0) {
            cp = lead & 0x07, len = 4, min = 0x10000;
        } else {
            return false;
        }
        if (n - i < len)
            return false;
        for (std::size_t k = 1; k < len; ++k) {
            if ((s[i + k] & 0xC0) != 0x80)
                return false;
            cp = (cp << 6) | (s[i + k] & 0x3F);
        }
        if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
            return false;
        if (cp >= 0x10000) {
            cp -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(cp));
        }
        i += len;
    }
    return true;
}

bool utf16ToUtf8(char16_t const* units, std::size_t n, std::string& out) {
    for (std::size_t i = 0; i < n; ++i) {
        char32_t cp = units[i];
        if (cp >= 0xD800 && cp <= 0xDBFF) {
            if (i + 1 >= n || units[i + 1] < 0xDC00 || units[i + 1] > 0xDFFF)
                return false;
            cp = 0x10000 + ((cp - 0xD800) << 10) + (units[++i] - 0xDC00);
        } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
            return false;
        }
        if (cp < 0x80) {
            out.push_back(static_cast<char>(cp));
        } else if (cp < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        }
    }
    return true;
}

} // namespace velmora::text
