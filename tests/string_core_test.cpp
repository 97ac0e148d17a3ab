// String core: construction, sharing, copy on write, comparison and UTF-16 conversion.
#include "common/common_string.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace {

// The bytes of s, embedded zeros included.
std::string text(String const& s) {
    return std::string(s.Latin1(), s.GetLength());
}

// The texts of the strings, each followed by the terminator after it (Latin1() is never null).
std::string all(std::vector<String> const& strings) {
    std::string out;
    for (String const& s : strings)
        out.append(s.Latin1(), s.GetLength() + 1);
    return out;
}

TEST(StringCore, ConstructionSharingCopyOnWriteAppendTruncateInsert) {
    char const* const none = nullptr;
    EXPECT_EQ(all({String(), String(none), String(""), String("abcdef", 3), String("ab\0cd", 5),
                   String("abc", 0), String("", 7), String('x'), String('\0')}),
              std::string("\0\0\0abc\0ab\0\0\0x\0\0\0", 16));

    // checked_value: unset by default, ordering ignores the flag.
    // The last comparison is unsigned.
    checked_value<unsigned int> const unset, five(5u), zero(0u), big(0xFFFFFFFFu);
    EXPECT_TRUE(!unset.IsSet() && unset.GetValue() == 0u && five.IsSet() && five.GetValue() == 5u &&
                five > unset && five >= 5u && 6u > five && unset >= zero && big > 1u);

    String a("abcdef"), b(a), c;
    c = b;
    EXPECT_TRUE(a.Latin1() == b.Latin1() && b.Latin1() == c.Latin1());
    b.Truncate(3);
    EXPECT_EQ(a.Latin1(), c.Latin1()); // the other sharers still share
    c.Insert(0, "x");
    EXPECT_EQ(all({a, b, c}), std::string("abcdef\0abc\0xabcdef\0", 19));

    // detachAndExtend makes a private text, lengthened with zero bytes past i.
    String shared("abc"), copy(shared), empty;
    copy.detachAndExtend(1);
    EXPECT_NE(copy.Latin1(), shared.Latin1());
    copy.detachAndExtend(5);
    empty.detachAndExtend(2);
    EXPECT_EQ(text(copy) + "|" + text(empty), std::string("abc\0\0\0|\0\0\0", 10));

    // Appending to or from an empty text shares the other text.
    String const abc("abc");
    String left(abc), right;
    left += String();
    right += abc;
    for (String const& s : {left, right, String() + abc, abc + String("")})
        EXPECT_EQ(s.Latin1(), abc.Latin1());

    String joined = abc + "def", self("ab"), assigned("hello world");
    joined += 'g';
    self += self;
    assigned = assigned.Latin1() + 6; // from its own text
    String const before = assigned;
    assigned = static_cast<char const*>(nullptr);
    EXPECT_EQ(all({joined, abc, self, before, assigned}),
              std::string("abcdefg\0abc\0abab\0world\0\0", 24));

    std::vector<std::tuple<unsigned int, char const*, char const*>> const rows = {
        {0, "", "xabc"},
        {1, "a", "axbc"},
        {2, "ab", "abxc"},
        {3, "abc", "abcx"},
        {99, "abc", "abcx"}};
    for (auto const& [n, truncated, inserted] : rows) {
        String cut("abc"), grown(cut);
        char const* const before = cut.Latin1();
        cut.Truncate(n);
        EXPECT_EQ(cut.Latin1() == before, n >= 3) << n; // a shared text is copied, if changed
        EXPECT_EQ(&grown.Insert(n, "x"), &grown);
        EXPECT_EQ(text(cut) + " " + text(grown), std::string(truncated) + " " + inserted) << n;
    }
}

TEST(StringCore, ComparisonFollowsUnsignedByteOrder) {
    // Bytes after a zero take no part.
    char const* const none = nullptr;
    String const noText(none), zeroX = String("ab") + String('\0') + "x",
                               zeroY = String("ab") + String('\0') + "y";
    ASSERT_EQ(text(zeroX), std::string("ab\0x", 4));
    // a, b (also compared as the C string b.Latin1()) and the order: -1, 0 or 1.
    std::vector<std::tuple<String, String, int>> const rows = {
        {"abc", "abd", -1}, {"B", "a", -1},       {"ab", "ab", 0},     {"ab", "abc", -1},
        {"", "a", -1},      {"\x7F", "\x80", -1}, {"\xFF", "\xE0", 1}, {"a", "A", 1},
        {noText, "", 0},    {noText, noText, 0},  {zeroX, zeroY, 0},   {zeroX, "ab", 0},
    };
    for (auto const& [a, b, order] : rows) {
        char const* const c = b.Latin1();
        bool const eq = order == 0, lt = order < 0, le = order <= 0;
        EXPECT_EQ(std::make_tuple(a == b, a < b, a <= b, a == c, a < c, a <= c),
                  std::make_tuple(eq, lt, le, eq, lt, le))
            << text(a) << " vs " << text(b);
    }
    // A null C string on the right is never equal, greater or smaller.
    for (String const& s : {String(), String(""), String("a")})
        EXPECT_FALSE(s == none || s < none || s <= none) << text(s);
}

TEST(StringCore, UnicodeRoundTripsEveryMacRomanByteAndRefusesTheRest) {
    std::map<int, unsigned short> const known = {{0x41, 0x0041}, {0x8E, 0x00E9}, {0xDB, 0x20AC},
                                                 {0xF0, 0xF8FF}, {0xCA, 0x00A0}, {0xA5, 0x2022}};
    for (int b = 1; b < 256; ++b) {
        shared_array<unsigned short> units = String(static_cast<char>(b)).Unicode();
        ASSERT_TRUE(units) << b;
        unsigned short const back[] = {units[0], 0};
        EXPECT_EQ(std::tuple(units[0], units[1], text(String(back))),
                  std::tuple(known.count(b) ? known.at(b) : units[0], 0, std::string(1, char(b))));
    }
    EXPECT_TRUE(String().Unicode() && String().Unicode()[0] == 0);
    // UTF-16 without a Mac Roman form gives an empty String.
    unsigned short const latinA[] = {'a', 0x0100, 0}, han[] = {0x4E00, 0},
                         surrogate[] = {0xD83D, 0xDE00, 0}, nothing[] = {0};
    for (unsigned short const* u :
         {latinA, han, surrogate, nothing, static_cast<unsigned short const*>(nullptr)})
        EXPECT_EQ(String(u).GetLength(), 0u);
    // Conversions stop at 100,000 units.
    std::vector<unsigned short> fits(100000, 'y'), tooLong(100001, 'y');
    fits.back() = tooLong.back() = 0;
    EXPECT_EQ(std::tuple(!String(std::string(99999, 'x').c_str()).Unicode(),
                         !String(std::string(100000, 'x').c_str()).Unicode(),
                         String(fits.data()).GetLength(), String(tooLong.data()).GetLength()),
              std::tuple(false, true, 99999u, 0u));
}

TEST(CharCategories, TableMatchesTheCategoryRanges) {
    // Each category ("4:") followed by the bytes carrying it (hexadecimal, "first-last" for a
    // range).
    std::istringstream in("4: 30-39  6: B2-B3 B9 BC-BE  7: 20 A0  10: 00-1F 7F-9F  "
                          "15: 41-5A C0-D6 D8-DE  16: 61-7A AA B5 BA DF-F6 F8-FF  20: 5F  "
                          "21: 2D AD  22: 28 5B 7B  23: 29 5D 7D  24: AB  25: BB  "
                          "26: 21-23 25-27 2A 2C 2E-2F 3A-3B 3F-40 5C A1 B7 BF  "
                          "27: 2B 3C-3E 7C 7E AC B1 D7 F7  28: 24 A2-A5  29: 5E 60 A8 AF B4 B8  "
                          "30: A6-A7 A9 AE B0 B6");
    std::vector<int> expected(256, -1);
    int category = -1;
    for (std::string token; in >> token;) {
        unsigned int first = 0, last = 0;
        int const fields = std::sscanf(token.c_str(), "%x-%x", &first, &last);
        category = token.back() == ':' ? std::stoi(token) : category;
        for (unsigned int b = first; token.back() != ':' && b <= (fields == 2 ? last : first); ++b)
            expected[b] = category;
    }
    EXPECT_EQ(std::vector<int>(_CHAR_CATEGORIES, _CHAR_CATEGORIES + 256), expected);
    for (int b = 0; b < 256; ++b)
        EXPECT_EQ(
            std::pair(Char(static_cast<char>(b)).IsDigit(), Char(static_cast<char>(b)).IsSpace()),
            std::pair(b >= '0' && b <= '9', b == 0x20 || (b >= 0x09 && b <= 0x0D) || b == 0xA0))
            << b;
}

} // namespace
