// String searching, pieces, case, white space and editing.
#include "common/common_string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

// The bytes of s, embedded zeros included.
std::string text(String const& s) {
    return std::string(s.Latin1(), s.GetLength());
}

// A String holding exactly these bytes (appended one by one only when there are zeros).
String bytesOf(std::string const& bytes) {
    if (bytes.find('\0') == std::string::npos)
        return String(bytes.c_str());
    String s;
    for (char c : bytes)
        s += c;
    return s;
}

// A search result as a number: -1 when unset.
long long pos(checked_value<unsigned int> const& r) {
    return r.IsSet() ? static_cast<long long>(r.GetValue()) : -1;
}

checked_value<unsigned int> const kUnset;
std::string const kZeroInside("ab\0cd", 5);

TEST(StringSearch, FindAndFindRevOfOneCharacter) {
    struct Row {
        String s;
        char c;
        checked_value<unsigned int> start;
        bool caseSensitive;
        long long find; // Find(c, start or 0)
        long long rev;  // FindRev(c, start)
    };
    std::vector<Row> const rows = {
        {"abca", 'a', kUnset, true, 0, 3},
        {"abca", 'a', 1, true, 3, 0},
        {"abca", 'a', 2, true, 3, 0},
        {"abca", 'a', 3, true, 3, 3},
        {"abca", 'a', 4, true, -1, -1}, // one past the end: FindRev does not clamp
        {"abca", 'a', 100, true, -1, -1},
        {"bca", 'a', 1, true, 2, -1},
        {"abcA", 'a', kUnset, false, 0, 3},
        {"bA", 'a', kUnset, true, -1, -1},
        {"ba", 'A', kUnset, false, 1, 1},
        {"\xE0", '\xC0', kUnset, false, -1, -1}, // Latin-1 letters are not folded
        {"`@{[", '@', kUnset, false, 1, 1},      // neighbours of the letters stay apart
        {"`@{[", '{', kUnset, false, 2, 2},
        {"", 'a', kUnset, true, -1, -1},
        {String(), 'a', 0, true, -1, -1},
        {bytesOf(kZeroInside), '\0', kUnset, true, 2, 2},
        {bytesOf(kZeroInside), 'd', kUnset, true, 4, 4}};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        Row const& r = rows[i];
        EXPECT_EQ(pos(r.s.Find(r.c, r.start.GetValue(), r.caseSensitive)), r.find) << "row " << i;
        EXPECT_EQ(pos(r.s.FindRev(r.c, r.start, r.caseSensitive)), r.rev) << "row " << i;
    }
}

TEST(StringSearch, FindWithoutCaseInLongTexts) {
    // Matches on either side of every 32-byte boundary, after filler that folding must not
    // confuse with the letter ("`", "@", "\xC1" and "\xE1").
    std::string const filler = "xy`@\xC1\xE1"
                               "B{";
    for (std::size_t at : {0, 1, 31, 32, 33, 63, 64, 100}) {
        std::string bytes;
        while (bytes.size() < at)
            bytes += filler[bytes.size() % filler.size()];
        String const s = bytesOf(bytes + "A" + filler + "a");
        EXPECT_EQ(pos(s.Find('a', 0, false)), static_cast<long long>(at)) << at;
        EXPECT_EQ(pos(s.Find('A', at + 1, false)), static_cast<long long>(at + 9)) << at;
    }
    EXPECT_EQ(pos(bytesOf(std::string(100, 'x')).Find('X', 3, false)), 3);
    EXPECT_EQ(pos(bytesOf(std::string(100, 'x')).Find('Y', 3, false)), -1);
}

TEST(StringSearch, FindCString) {
    struct Row {
        String s;
        char const* what;
        unsigned int start;
        bool caseSensitive;
        long long expected;
    };
    std::vector<Row> const rows = {
        {"abc", "", 2, true, 2},
        {"ab", "", 2, true, -1}, // start not below the length
        {"abc", nullptr, 1, true, 1},
        {"abcabc", "bc", 0, true, 1},
        {"abcabc", "bc", 2, true, 4},
        {"ABCabc", "bc", 0, true, 4},
        {"ABCabc", "bc", 0, false, 1},
        {"xAbab", "AB", 2, false, 3},
        {"a\xC0", "\xE0", 0, false, -1},
        {String(), "", 0, true, -1},
        {bytesOf(kZeroInside), "cd", 0, true, -1}, // the search stops at the zero byte
        {bytesOf(kZeroInside), "cd", 3, true, 3},
        {bytesOf(kZeroInside), "CD", 3, false, 3}};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        Row const& r = rows[i];
        EXPECT_EQ(pos(r.s.Find(r.what, r.start, r.caseSensitive)), r.expected) << "row " << i;
    }
}

TEST(StringSearch, BeginsWithAndEndsWith) {
    struct Row {
        String s;
        String affix;
        bool caseSensitive;
        bool begins;
        bool ends;
    };
    std::vector<Row> const rows = {
        {"abc", "AB", false, true, false},   {"abc", "AB", true, false, false},
        {"abc", "abcd", true, false, false}, {"abc", "ABC", false, true, true},
        {"abc", "", true, true, true},       {String(), String(), true, true, true},
        {String(), "a", true, false, false}, {"abc", "BC", false, false, true},
        {"aba", "a", true, true, true},      {"\xE0x", "\xC0", false, false, false}};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        Row const& r = rows[i];
        EXPECT_EQ(r.s.BeginsWith(r.affix, r.caseSensitive), r.begins) << "row " << i;
        EXPECT_EQ(r.s.EndsWith(r.affix, r.caseSensitive), r.ends) << "row " << i;
    }
}

TEST(StringSearch, LeftRightMid) {
    String const abc("abc");
    std::vector<std::pair<String, std::string>> const rows = {
        {abc.Left(0), ""},
        {abc.Left(2), "ab"},
        {abc.Left(10), "abc"},
        {abc.Right(2), "bc"},
        {abc.Right(10), "abc"},
        {abc.Mid(1), "bc"},
        {abc.Mid(3), ""},
        {abc.Mid(7), ""},
        {abc.Mid(1, 10), "bc"},
        {abc.Mid(1, 1), "b"},
        {abc.Mid(1, 0), ""},
        {String().Left(3), ""},
        {String().Right(3), ""},
        {String().Mid(0, 1), ""},
        {bytesOf(kZeroInside).Mid(1, 3), kZeroInside.substr(1, 3)}};
    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(text(rows[i].first), rows[i].second) << "row " << i;
    // A piece equal to the whole shares the text.
    EXPECT_EQ(abc.Left(3).Latin1(), abc.Latin1());
    EXPECT_EQ(abc.Right(10).Latin1(), abc.Latin1());
    EXPECT_EQ(abc.Mid(0).Latin1(), abc.Latin1());
}

TEST(StringSearch, CaseMappingIsAsciiOnly) {
    struct Row {
        String s;
        std::string upper;
        std::string lower;
    };
    std::vector<Row> const rows = {
        {"Hello, World 1!", "HELLO, WORLD 1!", "hello, world 1!"},
        {"az\xE0\xC0\xFF@[`{", "AZ\xE0\xC0\xFF@[`{", "az\xE0\xC0\xFF@[`{"},
        {String(), "", ""},
        {bytesOf(std::string("a\0B", 3)), std::string("A\0B", 3), std::string("a\0b", 3)}};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(text(rows[i].s.ToUpper()), rows[i].upper) << "row " << i;
        EXPECT_EQ(text(rows[i].s.ToLower()), rows[i].lower) << "row " << i;
    }
}

TEST(StringSearch, StripAndSimplifyWhiteSpace) {
    struct Row {
        char const* s;
        char const* stripped;
        char const* simplified;
    };
    std::vector<Row> const rows = {
        {"\t a b \xA0", "a b", "a b"},
        {"  a \t\n b  ", "a \t\n b", "a b"},
        {"   ", "", ""},
        {"", "", ""},
        {"a\xA0\xA0z", "a\xA0\xA0z", "a z"},
        {"\ta\r\nb\vc\fd", "a\r\nb\vc\fd", "a b c d"},
        {"\x08x\x0E", "\x08x\x0E", "\x08x\x0E"}, // just outside 0x09..0x0D
        {"\x85x\x9F", "\x85x\x9F", "\x85x\x9F"}, // C1 controls are not white space
    };
    for (Row const& r : rows) {
        EXPECT_EQ(text(String(r.s).StripWhiteSpace()), r.stripped) << "\"" << r.s << "\"";
        EXPECT_EQ(text(String(r.s).SimplifyWhiteSpace()), r.simplified) << "\"" << r.s << "\"";
    }
    String const clean("a b");
    EXPECT_EQ(clean.StripWhiteSpace().Latin1(), clean.Latin1());
}

TEST(StringSearch, SimplifyWhiteSpaceIsIdempotentAndLeavesSingleSpaces) {
    std::mt19937 rng(20240605);
    char const alphabet[] = {'a', 'b', ' ', '\t', '\n', '\xA0', '\r', '\x08'};
    for (int round = 0; round < 2000; ++round) {
        std::string bytes(rng() % 12, ' ');
        for (char& c : bytes)
            c = alphabet[rng() % sizeof alphabet];
        String const once = bytesOf(bytes).SimplifyWhiteSpace();
        std::string const t = text(once);
        SCOPED_TRACE("input \"" + bytes + "\" gave \"" + t + "\"");
        EXPECT_EQ(text(once.SimplifyWhiteSpace()), t);
        EXPECT_EQ(t.find_first_of("\t\n\r\xA0"), std::string::npos);
        EXPECT_EQ(t.find("  "), std::string::npos);
        EXPECT_TRUE(t.empty() || (t.front() != ' ' && t.back() != ' '));
    }
}

TEST(StringSearch, ReplaceChar) {
    EXPECT_EQ(text(String("a.b.c").ReplaceChar('.', ',')), "a,b,c");
    EXPECT_EQ(text(String("aAa").ReplaceChar('a', 'b')), "bAb"); // exact bytes, no folding
    EXPECT_EQ(text(String().ReplaceChar('a', 'b')), "");
    // The result ends at the first zero byte.
    EXPECT_EQ(text(bytesOf(std::string("a.\0.", 4)).ReplaceChar('.', ',')), "a,");
}

TEST(StringSearch, Replace) {
    struct Row {
        String s;
        String what;
        String with;
        std::string expected;
    };
    std::vector<Row> const rows = {
        {"aaa", "aa", "b", "ba"},
        {"abc", "", "x", "abc"},
        {"abc", String(), "x", "abc"},
        {String(), "a", "x", ""},
        {"abab", "ab", "abab", "abababab"}, // inserted text is not searched again
        {"xyz", "y", String(), "xz"},
        {"aaaa", "a", "bb", "bbbbbbbb"},
        {"abc", "abc", "X", "X"},
        {"abc", "abcd", "X", "abc"},
        {"cab", "c", "XYZ", "XYZab"},
        {bytesOf(std::string("a\0b", 3)), String('\0'), "-", "a-b"}};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        Row const& r = rows[i];
        EXPECT_EQ(text(r.s.Replace(r.what, r.with)), r.expected) << "row " << i;
    }
    String const untouched("abc");
    EXPECT_EQ(untouched.Replace("x", "y").Latin1(), untouched.Latin1());
}

// Replacement written straight from its definition: walk the text, and where what matches
// (compared as C strings compare) put with and jump over it, else copy one byte.
std::string referenceReplace(std::string const& s, std::string const& what,
                             std::string const& with) {
    if (s.empty() || what.empty())
        return s;
    std::string out;
    for (std::size_t i = 0; i < s.size();) {
        if (i + what.size() <= s.size() &&
            std::string(s.substr(i, what.size()).c_str()) == what.c_str()) {
            out += with;
            i += what.size();
        } else {
            out += s[i++];
        }
    }
    return out;
}

TEST(StringSearch, ReplaceAgreesWithAReferenceOnRandomStrings) {
    std::mt19937 rng(77);
    char const alphabet[] = {'a', 'b', 'a', 'b', 'c', '\0'};
    auto randomText = [&](std::size_t maxLength) {
        std::string s(rng() % (maxLength + 1), 'a');
        for (char& c : s)
            c = alphabet[rng() % sizeof alphabet];
        return s;
    };
    for (int round = 0; round < 5000; ++round) {
        std::string const s = randomText(10);
        std::string const what = randomText(3);
        std::string const with = randomText(4);
        EXPECT_EQ(text(bytesOf(s).Replace(bytesOf(what), bytesOf(with))),
                  referenceReplace(s, what, with))
            << "round " << round;
    }
}

TEST(StringSearch, ReplaceFindsALoneOccurrenceAfterAnyNumberOfNearMisses) {
    for (std::size_t k : {1, 3, 12, 40, 300}) {
        std::string const what = std::string(k, 'a') + "b";
        for (std::size_t misses = 0; misses < 1500; ++misses) {
            std::string const bytes = std::string(misses + k, 'a') + "b";
            ASSERT_EQ(text(bytesOf(bytes).Replace(bytesOf(what), "X")),
                      std::string(misses, 'a') + "X")
                << k << " a's before the b, " << misses << " near misses";
        }
    }
}

TEST(StringSearch, Remove) {
    struct Row {
        unsigned int start;
        checked_value<unsigned int> count;
        char const* expected;
    };
    std::vector<Row> const rows = {
        {1, kUnset, "a"}, {1, 1, "ac"}, {3, 1, "abc"},         {0, 0, "abc"},
        {0, kUnset, ""},  {2, 5, "ab"}, {1, 0xFFFFFFFFu, "a"}, // no wrap-round
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        String s("abc");
        String const other(s);
        EXPECT_EQ(&s.Remove(rows[i].start, rows[i].count), &s);
        EXPECT_EQ(text(s), rows[i].expected) << "row " << i;
        EXPECT_EQ(text(other), "abc"); // other sharers keep the old text
    }
}

TEST(StringSearch, SplitKeepsEmptyFieldsAndJoinPutsThemBack) {
    struct Row {
        char const* s;
        std::vector<std::string> fields;
    };
    std::vector<Row> const rows = {
        {"", {""}},        {"abc", {"abc"}},    {"a,,b", {"a", "", "b"}}, {"a,b,", {"a", "b", ""}},
        {",a", {"", "a"}}, {",,", {"", "", ""}}};
    for (Row const& r : rows) {
        std::vector<String> out = {"stale"};
        String(r.s).Split(',', out);
        std::vector<std::string> got;
        for (String const& f : out)
            got.push_back(text(f));
        EXPECT_EQ(got, r.fields) << "Split of \"" << r.s << "\"";
        EXPECT_EQ(Util::SplitString(',', String(r.s)).size(), r.fields.size()) << r.s;
        EXPECT_EQ(text(String::Join(",", out)), r.s);
    }
    EXPECT_EQ(text(String::Join(", ", {"a"})), "a");
    EXPECT_EQ(text(String::Join(", ", {})), "");
    EXPECT_EQ(text(String::Join(", ", {"a", String(), "b"})), "a, , b");

    std::vector<String> v = {"a:b"}; // splitting the vector's own element
    v[0].Split(':', v);
    ASSERT_EQ(v.size(), 2u);
    EXPECT_EQ(text(v[1]), "b");
}

TEST(StringSearch, SplitThenJoinGivesTheInputBack) {
    std::mt19937 rng(5);
    char const alphabet[] = {'a', 'b', ',', ',', ' ', '\0'};
    for (int round = 0; round < 3000; ++round) {
        std::string bytes(rng() % 10, 'a');
        for (char& c : bytes)
            c = alphabet[rng() % sizeof alphabet];
        std::vector<String> fields;
        bytesOf(bytes).Split(',', fields);
        EXPECT_EQ(text(String::Join(",", fields)), bytes) << "round " << round;
        EXPECT_EQ(fields.size(), std::count(bytes.begin(), bytes.end(), ',') + 1u)
            << "round " << round;
    }
}

} // namespace
