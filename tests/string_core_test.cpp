// String core: construction, sharing, copy on write, comparison and UTF-16 conversion.
#include "common/common_string.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Builds a String holding exactly the given bytes (embedded zeros included).
String bytesOf(std::string const& bytes) {
    String s;
    for (char c : bytes)
        s += c;
    return s;
}

TEST(StringCore, NullAndEmptyTextsBehaveAlike) {
    String const fromNull(static_cast<char const*>(nullptr));
    String const fromEmpty("");
    String const defaulted;
    for (String const* s : {&fromNull, &fromEmpty, &defaulted}) {
        EXPECT_EQ(s->GetLength(), 0u);
        ASSERT_NE(s->Latin1(), nullptr);
        EXPECT_STREQ(s->Latin1(), "");
    }
    EXPECT_TRUE(fromNull == fromEmpty);
    EXPECT_TRUE(fromEmpty == defaulted);
    EXPECT_TRUE(fromNull <= fromEmpty);
    EXPECT_FALSE(fromNull < fromEmpty);
}

TEST(StringCore, ConstructorsTakeTheDocumentedBytes) {
    struct Row {
        String value;
        std::string bytes;
    };
    std::vector<Row> const rows = {
        {String("abc"), "abc"},
        {String("abcdef", 3), "abc"},
        {String("ab\0cd", 5), "ab"},
        {String("abc", 0), ""},
        {String("", 7), ""},
        {String('x'), "x"},
        {String('\0'), std::string(1, '\0')},
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(std::string(rows[i].value.Latin1(), rows[i].value.GetLength()), rows[i].bytes);
    }
}

TEST(StringCore, CopiesShareTextUntilOneChanges) {
    String a("abcdef");
    String b(a);
    String c;
    c = b;
    EXPECT_EQ(a.Latin1(), b.Latin1());
    EXPECT_EQ(a.Latin1(), c.Latin1());

    b.Truncate(3);
    EXPECT_STREQ(b.Latin1(), "abc");
    EXPECT_STREQ(a.Latin1(), "abcdef");
    EXPECT_EQ(a.Latin1(), c.Latin1());

    c.Insert(0, "x");
    EXPECT_STREQ(c.Latin1(), "xabcdef");
    EXPECT_STREQ(a.Latin1(), "abcdef");
}

TEST(StringCore, AppendingToOrFromEmptySharesTheOtherText) {
    String const abc("abc");
    String left(abc);
    left += String();
    EXPECT_EQ(left.Latin1(), abc.Latin1());

    String right;
    right += abc;
    EXPECT_EQ(right.Latin1(), abc.Latin1());
    EXPECT_EQ((String() + abc).Latin1(), abc.Latin1());
    EXPECT_EQ((abc + String("")).Latin1(), abc.Latin1());

    String joined = abc + "def";
    EXPECT_STREQ(joined.Latin1(), "abcdef");
    joined += 'g';
    EXPECT_STREQ(joined.Latin1(), "abcdefg");
    EXPECT_STREQ(abc.Latin1(), "abc");

    String self("ab");
    self += self;
    EXPECT_STREQ(self.Latin1(), "abab");
}

TEST(StringCore, AssignmentFromCStringIsSelfSafe) {
    String s("hello world");
    s = s.Latin1() + 6;
    EXPECT_STREQ(s.Latin1(), "world");
    s = static_cast<char const*>(nullptr);
    EXPECT_EQ(s.GetLength(), 0u);
}

TEST(StringCore, TruncateAndInsert) {
    struct Row {
        char const* text;
        unsigned int n;
        char const* expected;
    };
    for (Row const& r : {Row{"abcdef", 3, "abc"}, Row{"abcdef", 6, "abcdef"},
                         Row{"abcdef", 10, "abcdef"}, Row{"abcdef", 0, ""}}) {
        String s(r.text);
        s.Truncate(r.n);
        EXPECT_STREQ(s.Latin1(), r.expected) << r.text << " " << r.n;
    }
    String keep("abc");
    char const* const before = keep.Latin1();
    keep.Truncate(3);
    EXPECT_EQ(keep.Latin1(), before);

    struct InsertRow {
        unsigned int pos;
        char const* expected;
    };
    for (InsertRow const& r : {InsertRow{0, "xab"}, InsertRow{1, "axb"}, InsertRow{2, "abx"},
                               InsertRow{99, "abx"}}) {
        String s("ab");
        EXPECT_STREQ(s.Insert(r.pos, "x").Latin1(), r.expected) << r.pos;
        EXPECT_STREQ(s.Latin1(), r.expected);
    }
}

TEST(StringCore, DetachAndExtendMakesAPrivateLongEnoughText) {
    String shared("abc");
    String copy(shared);
    copy.detachAndExtend(1);
    EXPECT_NE(copy.Latin1(), shared.Latin1());
    EXPECT_STREQ(copy.Latin1(), "abc");
    EXPECT_EQ(copy.GetLength(), 3u);

    copy.detachAndExtend(5);
    EXPECT_EQ(std::string(copy.Latin1(), copy.GetLength()), std::string("abc\0\0\0", 6));

    String empty;
    empty.detachAndExtend(2);
    EXPECT_EQ(std::string(empty.Latin1(), empty.GetLength()), std::string(3, '\0'));
}

TEST(StringCore, ComparisonFollowsUnsignedByteOrder) {
    struct Row {
        char const* a;
        char const* b;
        int order; // -1, 0 or 1
    };
    std::vector<Row> const rows = {
        {"abc", "abd", -1}, {"B", "a", -1},       {"ab", "ab", 0},     {"ab", "abc", -1},
        {"", "a", -1},      {"\x7F", "\x80", -1}, {"\xFF", "\xE0", 1}, {"a", "A", 1},
    };
    for (auto const& r : rows) {
        SCOPED_TRACE(std::string(r.a) + " vs " + r.b);
        String const a(r.a);
        String const b(r.b);
        EXPECT_EQ(a == b, r.order == 0);
        EXPECT_EQ(a < b, r.order < 0);
        EXPECT_EQ(a <= b, r.order <= 0);
        EXPECT_EQ(a == r.b, r.order == 0);
        EXPECT_EQ(a < r.b, r.order < 0);
        EXPECT_EQ(a <= r.b, r.order <= 0);
    }
}

TEST(StringCore, NullCStringOnTheRightIsNeverEqualOrGreater) {
    char const* const none = nullptr;
    for (String const& s : {String(), String(""), String("a")}) {
        EXPECT_FALSE(s == none);
        EXPECT_FALSE(s < none);
        EXPECT_FALSE(s <= none);
    }
}

TEST(StringCore, BytesAfterAnEmbeddedZeroTakeNoPartInComparison) {
    EXPECT_TRUE(bytesOf(std::string("ab\0x", 4)) == bytesOf(std::string("ab\0y", 4)));
    EXPECT_TRUE(bytesOf(std::string("ab\0x", 4)) == "ab");
}

TEST(StringCore, UnicodeRoundTripsEveryMacRomanByte) {
    for (int b = 1; b < 256; ++b) {
        SCOPED_TRACE(b);
        String const one(static_cast<char>(b));
        shared_array<unsigned short> units = one.Unicode();
        ASSERT_TRUE(units);
        EXPECT_EQ(units[1], 0);
        unsigned short const back[] = {units[0], 0};
        String const again(back);
        ASSERT_EQ(again.GetLength(), 1u);
        EXPECT_EQ(static_cast<unsigned char>(again.Latin1()[0]), b);
    }
}

TEST(StringCore, UnicodeUsesApplesMacRomanTable) {
    struct Row {
        unsigned char byte;
        unsigned short unit;
    };
    for (Row const& r : {Row{0x41, 0x0041}, Row{0x8E, 0x00E9}, Row{0xDB, 0x20AC},
                         Row{0xF0, 0xF8FF}, Row{0xCA, 0x00A0}, Row{0xA5, 0x2022}}) {
        shared_array<unsigned short> units = String(static_cast<char>(r.byte)).Unicode();
        ASSERT_TRUE(units);
        EXPECT_EQ(units[0], r.unit) << int(r.byte);
    }
    shared_array<unsigned short> empty = String().Unicode();
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty[0], 0);
}

TEST(StringCore, Utf16WithoutAMacRomanFormGivesEmpty) {
    unsigned short const latinA[] = {'a', 0x0100, 0};
    unsigned short const han[] = {0x4E00, 0};
    unsigned short const surrogate[] = {0xD83D, 0xDE00, 0};
    for (unsigned short const* u : {latinA, han, surrogate}) {
        String const s(u);
        EXPECT_EQ(s.GetLength(), 0u);
    }
    unsigned short const empty[] = {0};
    EXPECT_EQ(String(empty).GetLength(), 0u);
    EXPECT_EQ(String(static_cast<unsigned short const*>(nullptr)).GetLength(), 0u);
}

TEST(StringCore, ConversionsStopAtOneHundredThousandUnits) {
    std::string const just(99999, 'x');
    std::string const over(100000, 'x');
    EXPECT_TRUE(String(just.c_str()).Unicode());
    EXPECT_FALSE(String(over.c_str()).Unicode());

    std::vector<unsigned short> units(100001, 'y');
    units[99999] = 0;
    EXPECT_EQ(String(units.data()).GetLength(), 99999u);
    units[99999] = 'y';
    units[100000] = 0;
    EXPECT_EQ(String(units.data()).GetLength(), 0u);
}

TEST(CharCategories, TableMatchesTheCategoryRanges) {
    struct Range {
        int first;
        int last;
        int category;
    };
    std::vector<Range> const ranges = {
        {0x30, 0x39, 4},  {0xB2, 0xB3, 6},  {0xB9, 0xB9, 6},  {0xBC, 0xBE, 6},  {0x20, 0x20, 7},
        {0xA0, 0xA0, 7},  {0x00, 0x1F, 10}, {0x7F, 0x9F, 10}, {0x41, 0x5A, 15}, {0xC0, 0xD6, 15},
        {0xD8, 0xDE, 15}, {0x61, 0x7A, 16}, {0xAA, 0xAA, 16}, {0xB5, 0xB5, 16}, {0xBA, 0xBA, 16},
        {0xDF, 0xF6, 16}, {0xF8, 0xFF, 16}, {0x5F, 0x5F, 20}, {0x2D, 0x2D, 21}, {0xAD, 0xAD, 21},
        {0x28, 0x28, 22}, {0x5B, 0x5B, 22}, {0x7B, 0x7B, 22}, {0x29, 0x29, 23}, {0x5D, 0x5D, 23},
        {0x7D, 0x7D, 23}, {0xAB, 0xAB, 24}, {0xBB, 0xBB, 25}, {0x21, 0x23, 26}, {0x25, 0x27, 26},
        {0x2A, 0x2A, 26}, {0x2C, 0x2C, 26}, {0x2E, 0x2F, 26}, {0x3A, 0x3B, 26}, {0x3F, 0x40, 26},
        {0x5C, 0x5C, 26}, {0xA1, 0xA1, 26}, {0xB7, 0xB7, 26}, {0xBF, 0xBF, 26}, {0x2B, 0x2B, 27},
        {0x3C, 0x3E, 27}, {0x7C, 0x7C, 27}, {0x7E, 0x7E, 27}, {0xAC, 0xAC, 27}, {0xB1, 0xB1, 27},
        {0xD7, 0xD7, 27}, {0xF7, 0xF7, 27}, {0x24, 0x24, 28}, {0xA2, 0xA5, 28}, {0x5E, 0x5E, 29},
        {0x60, 0x60, 29}, {0xA8, 0xA8, 29}, {0xAF, 0xAF, 29}, {0xB4, 0xB4, 29}, {0xB8, 0xB8, 29},
        {0xA6, 0xA7, 30}, {0xA9, 0xA9, 30}, {0xAE, 0xAE, 30}, {0xB0, 0xB0, 30}, {0xB6, 0xB6, 30},
    };
    int expected[256];
    std::fill(std::begin(expected), std::end(expected), -1);
    for (auto const& r : ranges)
        for (int b = r.first; b <= r.last; ++b) {
            ASSERT_EQ(expected[b], -1) << "byte listed twice: " << b;
            expected[b] = r.category;
        }
    for (int b = 0; b < 256; ++b) {
        ASSERT_NE(expected[b], -1) << "byte without a category: " << b;
        EXPECT_EQ(_CHAR_CATEGORIES[b], expected[b]) << "byte " << b;
    }
}

TEST(CharCategories, DigitAndSpaceClassification) {
    for (int b = 0; b < 256; ++b) {
        Char const c(static_cast<char>(b));
        EXPECT_EQ(c.IsDigit(), b >= '0' && b <= '9') << b;
        bool const space = b == 0x20 || (b >= 0x09 && b <= 0x0D) || b == 0xA0;
        EXPECT_EQ(c.IsSpace(), space) << b;
    }
}

TEST(CheckedValue, DefaultIsUnsetAndOrderingIgnoresTheFlag) {
    checked_value<unsigned int> const unset;
    checked_value<unsigned int> const five(5u);
    EXPECT_FALSE(unset.IsSet());
    EXPECT_EQ(unset.GetValue(), 0u);
    EXPECT_TRUE(five.IsSet());
    EXPECT_TRUE(five > unset);
    EXPECT_TRUE(five >= 5u);
    EXPECT_TRUE(6u > five);
    EXPECT_TRUE(unset >= checked_value<unsigned int>(0u));
    EXPECT_TRUE(checked_value<unsigned int>(0xFFFFFFFFu) > 1u); // unsigned comparison
}

} // namespace
