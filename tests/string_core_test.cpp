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

TEST(StringCore, ConstructorsTakeTheDocumentedBytes) {
    char const* const none = nullptr;
    std::string const zero(1, '\0');
    std::vector<std::pair<String, std::string>> const rows = {
        {String(), ""},         {String(none), ""},           {String(""), ""},
        {String("abc"), "abc"}, {String("abcdef", 3), "abc"}, {String("ab\0cd", 5), "ab"},
        {String("abc", 0), ""}, {String("", 7), ""},          {String('x'), "x"},
        {String('\0'), zero}};
    // The bytes and the terminator after them (Latin1() is never null).
    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(std::string(rows[i].first.Latin1(), rows[i].first.GetLength() + 1),
                  rows[i].second + '\0')
            << "row " << i;
}

TEST(StringCore, CopiesShareTextUntilOneChanges) {
    String a("abcdef"), b(a), c;
    c = b;
    EXPECT_TRUE(a.Latin1() == b.Latin1() && b.Latin1() == c.Latin1());
    b.Truncate(3);
    EXPECT_EQ(a.Latin1(), c.Latin1()); // the other sharers still share
    c.Insert(0, "x");
    EXPECT_EQ((std::vector<std::string>{text(a), text(b), text(c)}),
              (std::vector<std::string>{"abcdef", "abc", "xabcdef"}));

    // detachAndExtend makes a private text, lengthened with zero bytes past i.
    String shared("abc"), copy(shared), empty;
    copy.detachAndExtend(1);
    EXPECT_NE(copy.Latin1(), shared.Latin1());
    EXPECT_EQ(text(copy), "abc");
    copy.detachAndExtend(5);
    empty.detachAndExtend(2);
    EXPECT_EQ(text(copy) + "|" + text(empty), std::string("abc\0\0\0|\0\0\0", 10));
}

TEST(StringCore, AppendingToOrFromEmptySharesTheOtherText) {
    String const abc("abc");
    String left(abc), right;
    left += String();
    right += abc;
    for (String const& s : {left, right, String() + abc, abc + String("")})
        EXPECT_EQ(s.Latin1(), abc.Latin1());

    String joined = abc + "def";
    joined += 'g';
    String self("ab");
    self += self;
    String assigned("hello world");
    assigned = assigned.Latin1() + 6; // from its own text
    EXPECT_EQ((std::vector<std::string>{text(joined), text(abc), text(self), text(assigned)}),
              (std::vector<std::string>{"abcdefg", "abc", "abab", "world"}));
    assigned = static_cast<char const*>(nullptr);
    EXPECT_EQ(assigned.GetLength(), 0u);
}

TEST(StringCore, TruncateAndInsert) {
    std::vector<std::tuple<unsigned int, char const*, char const*>> const rows = {
        {0, "", "xabc"},    {1, "a", "axbc"},    {2, "ab", "abxc"},
        {3, "abc", "abcx"}, {99, "abc", "abcx"},
    };
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
    String const noText(static_cast<char const*>(nullptr));
    String const zeroX = String("ab") + String('\0') + "x"; // bytes after a zero take no part
    String const zeroY = String("ab") + String('\0') + "y";
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
    char const* const none = nullptr;
    for (String const& s : {String(), String(""), String("a")})
        EXPECT_FALSE(s == none || s < none || s <= none) << text(s);
}

TEST(StringCore, UnicodeRoundTripsEveryMacRomanByteAndRefusesTheRest) {
    std::map<int, unsigned short> const known = {{0x41, 0x0041}, {0x8E, 0x00E9}, {0xDB, 0x20AC},
                                                 {0xF0, 0xF8FF}, {0xCA, 0x00A0}, {0xA5, 0x2022}};
    for (int b = 1; b < 256; ++b) {
        shared_array<unsigned short> units = String(static_cast<char>(b)).Unicode();
        ASSERT_TRUE(units) << b;
        EXPECT_EQ(units[1], 0) << b;
        unsigned short const back[] = {units[0], 0};
        EXPECT_EQ(text(String(back)), std::string(1, static_cast<char>(b))) << b;
    }
    for (auto const& [b, unit] : known)
        EXPECT_EQ(String(static_cast<char>(b)).Unicode()[0], unit) << b;
    shared_array<unsigned short> const empty = String().Unicode();
    EXPECT_TRUE(empty && empty[0] == 0);
    // UTF-16 without a Mac Roman form gives an empty String.
    unsigned short const latinA[] = {'a', 0x0100, 0}, han[] = {0x4E00, 0},
                         surrogate[] = {0xD83D, 0xDE00, 0}, nothing[] = {0};
    for (unsigned short const* u :
         {latinA, han, surrogate, nothing, static_cast<unsigned short const*>(nullptr)})
        EXPECT_EQ(String(u).GetLength(), 0u);
    // Conversions stop at 100,000 units.
    EXPECT_TRUE(String(std::string(99999, 'x').c_str()).Unicode());
    EXPECT_FALSE(String(std::string(100000, 'x').c_str()).Unicode());
    std::vector<unsigned short> units(100001, 'y');
    units[99999] = 0;
    EXPECT_EQ(String(units.data()).GetLength(), 99999u);
    units[99999] = 'y';
    units[100000] = 0;
    EXPECT_EQ(String(units.data()).GetLength(), 0u);
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
        if (token.back() == ':')
            category = std::stoi(token);
        else
            for (unsigned int b = first; b <= (fields == 2 ? last : first); ++b)
                expected[b] = category;
    }
    for (int b = 0; b < 256; ++b) {
        EXPECT_EQ(_CHAR_CATEGORIES[b], expected[b]) << "byte " << b;
        Char const c(static_cast<char>(b));
        EXPECT_EQ(c.IsDigit(), b >= '0' && b <= '9') << b;
        EXPECT_EQ(c.IsSpace(), b == 0x20 || (b >= 0x09 && b <= 0x0D) || b == 0xA0) << b;
    }
}

TEST(CheckedValue, DefaultIsUnsetAndOrderingIgnoresTheFlag) {
    checked_value<unsigned int> const unset, five(5u);
    EXPECT_TRUE(!unset.IsSet() && unset.GetValue() == 0u && five.IsSet() && five.GetValue() == 5u);
    EXPECT_TRUE(five > unset && five >= 5u && 6u > five);
    EXPECT_TRUE(unset >= checked_value<unsigned int>(0u));
    EXPECT_TRUE(checked_value<unsigned int>(0xFFFFFFFFu) > 1u); // unsigned comparison
}

} // namespace
