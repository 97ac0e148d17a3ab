// String searching, pieces, case, white space and editing.
#include "common/common_string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using namespace std::string_literals;
using Pos = checked_value<unsigned int>;

// The bytes of s, embedded zeros included.
std::string text(String const& s) {
    return std::string(s.Latin1(), s.GetLength());
}

// The texts of the strings, each followed by "|".
std::string all(std::vector<String> const& strings) {
    std::string out;
    for (String const& s : strings)
        out += text(s) + "|";
    return out;
}

// A String holding exactly these bytes, embedded zeros included.
String bytesOf(std::string const& bytes) {
    String s;
    for (char c : bytes)
        s += c;
    return s;
}

// Up to maxLength bytes drawn from alphabet.
std::string randomText(std::mt19937& rng, std::string const& alphabet, std::size_t maxLength) {
    std::string s(rng() % (maxLength + 1), ' ');
    for (char& c : s)
        c = alphabet[rng() % alphabet.size()];
    return s;
}

// A search result as a number: -1 when unset.
int pos(Pos const& r) {
    return r.IsSet() ? static_cast<int>(r.GetValue()) : -1;
}

String const kZeroInside = bytesOf("ab\0cd"s);

TEST(StringSearch, FindFindRevBeginsWithAndEndsWith) {
    // Text, character, start, case-sensitive, Find(c, start or 0), FindRev(c, start). FindRev
    // does not clamp a start past the end; Latin-1 letters are not folded; the neighbours of
    // the letters ("`@{[") stay apart from them.
    std::vector<std::tuple<String, char, Pos, bool, int, int>> const rows = {
        {"abca", 'a', {}, true, 0, 3},       {"abca", 'a', 1, true, 3, 0},
        {"abca", 'a', 3, true, 3, 3},        {"abca", 'a', 4, true, -1, -1},
        {"bca", 'a', 1, true, 2, -1},        {"abcA", 'a', {}, false, 0, 3},
        {"bA", 'a', {}, true, -1, -1},       {"ba", 'A', {}, false, 1, 1},
        {"\xE0", '\xC0', {}, false, -1, -1}, {"`@{[", '@', {}, false, 1, 1},
        {"`@{[", '{', {}, false, 2, 2},      {"", 'a', {}, true, -1, -1},
        {String(), 'a', 0, true, -1, -1},    {kZeroInside, '\0', {}, true, 2, 2},
        {kZeroInside, 'd', {}, true, 4, 4}};
    for (auto const& [s, c, start, cs, find, rev] : rows)
        EXPECT_EQ(std::pair(pos(s.Find(c, start.GetValue(), cs)), pos(s.FindRev(c, start, cs))),
                  std::pair(find, rev))
            << "'" << c << "' in \"" << text(s) << "\" from " << pos(start);

    // Matches on either side of every 32-byte boundary, after filler that folding must not
    // confuse with the letter ("`", "@", "\xC1" and "\xE1").
    std::string const lead = all(std::vector<String>(16, "xyB{`@\xC1\xE1"));
    for (int at : {0, 1, 31, 32, 33, 63, 64, 100}) {
        String const s = bytesOf(lead.substr(0, at) + "A" + lead.substr(at, 8) + "a");
        EXPECT_EQ(std::tuple(pos(s.Find('a', 0, false)), pos(s.Find('A', at + 1, false)),
                             pos(s.Find('Z', 0, false))),
                  std::tuple(at, at + 9, -1));
    }

    // Text, what, start, case-sensitive, result.
    std::vector<std::tuple<String, char const*, unsigned int, bool, int>> const strings = {
        {"abc", "", 2, true, 2},          {"ab", "", 2, true, -1}, // start not below the length
        {"abc", nullptr, 1, true, 1},     {"abcabc", "bc", 0, true, 1},
        {"abcabc", "bc", 2, true, 4},     {"ABCabc", "bc", 0, true, 4},
        {"ABCabc", "bc", 0, false, 1},    {"xAbab", "AB", 2, false, 3},
        {"a\xC0", "\xE0", 0, false, -1},  {String(), "", 0, true, -1},
        {kZeroInside, "cd", 0, true, -1}, // the search stops at the zero byte
        {kZeroInside, "cd", 3, true, 3},  {kZeroInside, "CD", 3, false, 3}};
    for (auto const& [s, what, start, cs, expected] : strings)
        EXPECT_EQ(pos(s.Find(what, start, cs)), expected)
            << (what ? what : "(null)") << " in " << text(s) << " from " << start;
    // Against a plain search of the text up to its first zero byte (lower-cased when case does
    // not count), on texts full of near misses, some long enough for a pattern that keeps
    // nearly matching to hand the search over.
    std::mt19937 rng(11);
    for (int round = 0; round < 4000; ++round) {
        bool const cs = round % 2, longText = round % 8 < 2;
        std::string const hay = randomText(rng, longText ? "aaaaaaaAb"s : "aA\0b"s,
                                           longText ? 3000 : 40),
                          what = randomText(rng, longText ? "aaaaaaaaaaaab" : "aAb", 12);
        unsigned int const start = rng() % 8;
        std::string tail = start < hay.size() ? hay.substr(start) : "", lowerWhat = what;
        tail.resize(std::min(tail.size(), tail.find('\0')));
        for (std::string* t : {&tail, &lowerWhat})
            for (char& c : *t)
                c = cs ? c : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        std::size_t const plain = start < hay.size() ? tail.find(lowerWhat) : hay.npos;
        EXPECT_EQ(pos(bytesOf(hay).Find(what.c_str(), start, cs)),
                  plain == hay.npos ? -1 : static_cast<int>(start + plain))
            << what << " in " << hay << " from " << start << ", case " << cs;
    }

    // A run of n letters, then the pattern's last byte: every candidate nearly matches.
    for (unsigned int n = 2; n < 600; ++n)
        EXPECT_EQ(pos(bytesOf(std::string(n, 'a') + "b").Find("aab", 0, n % 2)), int(n) - 2) << n;

    // Text, affix, case-sensitive, BeginsWith, EndsWith.
    std::vector<std::tuple<String, String, bool, bool, bool>> const affixes = {
        {"abc", "AB", false, true, false},   {"abc", "AB", true, false, false},
        {"abc", "abcd", true, false, false}, {"abc", "ABC", false, true, true},
        {"abc", "", true, true, true},       {String(), String(), true, true, true},
        {String(), "a", true, false, false}, {"abc", "BC", false, false, true},
        {"aba", "a", true, true, true},      {"\xE0x", "\xC0", false, false, false}};
    for (auto const& [s, a, cs, begins, ends] : affixes)
        EXPECT_EQ(std::pair(s.BeginsWith(a, cs), s.EndsWith(a, cs)), std::pair(begins, ends))
            << "\"" << text(s) << "\" and \"" << text(a) << "\", case " << cs;
}

// Pieces; a piece equal to the whole, or a text that nothing changes, shares the text. Case
// mapping is ASCII only: Latin-1 letters and the neighbours of the ASCII letters stay, letters
// after a zero byte are mapped.
TEST(StringSearch, PiecesCaseAndWhiteSpace) {
    String const abc("abc"), e, mixed = bytesOf("Hello, World 1! \xE0\xC0\xFF@[`{\0aZ"s);
    EXPECT_EQ(all({abc.Left(0), abc.Left(2), abc.Left(10), abc.Right(2), abc.Right(10), abc.Mid(1),
                   abc.Mid(3), abc.Mid(7), abc.Mid(1, 10), abc.Mid(1, 1), abc.Mid(1, 0), e.Left(3),
                   e.Right(3), e.Mid(0, 1), kZeroInside.Mid(1, 3)}),
              "|ab|abc|bc|abc|bc|||bc|b|||||b\0c|"s);
    for (String const& whole :
         {abc.Left(3), abc.Right(10), abc.Mid(0), abc.StripWhiteSpace(), abc.Replace("x", "y")})
        EXPECT_EQ(whole.Latin1(), abc.Latin1());
    EXPECT_EQ(all({mixed.ToUpper(), mixed.ToLower(), e.ToUpper(), e.ToLower()}),
              "HELLO, WORLD 1! \xE0\xC0\xFF@[`{\0AZ|hello, world 1! \xE0\xC0\xFF@[`{\0az|||"s);

    // Text, stripped, simplified. White space is 0x09..0x0D, " " and 0xA0, not the bytes just
    // outside that range nor the C1 controls.
    std::vector<std::tuple<char const*, char const*, char const*>> const rows = {
        {"\x08x\x0E", "\x08x\x0E", "\x08x\x0E"}, {"\ta\r\nb\vc\fd", "a\r\nb\vc\fd", "a b c d"},
        {"\x85x\x9F", "\x85x\x9F", "\x85x\x9F"}, {"\t a b \xA0", "a b", "a b"},
        {"a\xA0\xA0z", "a\xA0\xA0z", "a z"},     {" \t\r\n\xA0 ", "", ""},
        {"  a \t\n b  ", "a \t\n b", "a b"},     {"", "", ""}};
    for (auto const& [s, strip, simple] : rows)
        EXPECT_EQ(all({String(s).StripWhiteSpace(), String(s).SimplifyWhiteSpace()}),
                  std::string(strip) + "|" + simple + "|");

    // Against the plain rule, the words joined by single spaces, also after the host has made
    // "b" white space and "\t" a letter.
    std::mt19937 rng(20240605);
    unsigned char& b = _CHAR_CATEGORIES['b'];
    unsigned char& tab = _CHAR_CATEGORIES['\t'];
    unsigned char const savedB = b, savedTab = tab;
    for (int round = 0; round < 3000; ++round) {
        b = round % 3 == 2 ? static_cast<unsigned char>(Char::SEPARATOR_SPACE) : savedB;
        tab = round % 3 == 2 ? static_cast<unsigned char>(Char::LETTER_LOWERCASE) : savedTab;
        std::string const bytes = randomText(rng, "ab \t\n\xA0\r\x08\0"s,
                                             round % 2    ? 11
                                             : round % 50 ? 100
                                                          : 20000);
        std::string plain, word;
        for (char c : bytes + " ") {
            if (!Char(c).IsSpace())
                word += c;
            else if (!word.empty())
                plain += (plain.empty() ? "" : " ") + std::exchange(word, "");
        }
        EXPECT_EQ(text(bytesOf(bytes).SimplifyWhiteSpace()), plain) << "\"" << bytes << "\"";
    }
    b = savedB;
    tab = savedTab;
}

// ReplaceChar compares exact bytes and its result ends at the first zero byte. Replace does
// not search again the text brought in by with.
TEST(StringSearch, ReplaceCharReplaceAndRemove) {
    EXPECT_EQ(all({String("a.b.c").ReplaceChar('.', ','), String("aAa").ReplaceChar('a', 'b'),
                   String().ReplaceChar('a', 'b'), bytesOf("a.\0."s).ReplaceChar('.', ',')}),
              "a,b,c|bAb||a,|");
    String const zero('\0'), none;
    EXPECT_EQ(all({String("aaa").Replace("aa", "b"), String("abc").Replace("", "x"),
                   String("abc").Replace(none, "x"), none.Replace("a", "x"),
                   String("xyz").Replace("y", none), String("aaaa").Replace("a", "bb"),
                   String("abc").Replace("abc", "X"), String("abc").Replace("abcd", "X"),
                   String("abab").Replace("ab", "abab"), String("cab").Replace("c", "XYZ"),
                   (String("a") + zero + "b").Replace(zero, "-")}),
              "ba|abc|abc||xz|bbbbbbbb|X|abc|abababab|XYZab|a-b|");

    // Remove: start, count, result; the last row must not wrap round.
    std::vector<std::tuple<unsigned int, Pos, char const*>> const rows = {
        {1, {}, "a"}, {1, 1, "ac"}, {3, 1, "abc"},        {0, 0, "abc"},
        {0, {}, ""},  {2, 5, "ab"}, {1, 0xFFFFFFFFu, "a"}};
    for (auto const& [start, count, expected] : rows) {
        String s("abc"), other(s);
        EXPECT_EQ(&s.Remove(start, count), &s);
        EXPECT_EQ(all({s, other}), std::string(expected) + "|abc|") << start;
    }

    // Replace agrees with a reference written straight from its definition: walk the text,
    // and where what matches (compared as C strings compare) put with and jump over it, else
    // copy one byte.
    std::mt19937 rng(77);
    std::string const alphabet = "ababc\0"s;
    for (int round = 0; round < 5000; ++round) {
        std::string const s = randomText(rng, alphabet, 10), what = randomText(rng, alphabet, 3),
                          with = randomText(rng, alphabet, 4);
        std::string expected;
        for (std::size_t i = 0; i < s.size();) {
            bool const match = !what.empty() && i + what.size() <= s.size() &&
                               std::string(s.substr(i, what.size()).c_str()) == what.c_str();
            expected += match ? with : s.substr(i, 1);
            i += match ? what.size() : 1;
        }
        EXPECT_EQ(text(bytesOf(s).Replace(bytesOf(what), bytesOf(with))), expected) << round;
    }
    // A lone occurrence after any number of near misses (linear searches that skip ahead).
    for (std::size_t k : {1, 3, 12, 40, 300}) {
        std::string const what = std::string(k, 'a') + "b";
        for (std::size_t misses = 0; misses < 1500; ++misses)
            ASSERT_EQ(text(bytesOf(std::string(misses + k, 'a') + "b").Replace(bytesOf(what), "X")),
                      std::string(misses, 'a') + "X")
                << k << " a's before the b, " << misses << " near misses";
    }
}

TEST(StringSearch, SplitKeepsEmptyFieldsAndJoinPutsThemBack) {
    std::vector<std::pair<char const*, char const*>> const rows = {
        {"", "|"},         {"abc", "abc|"}, {"a,,b", "a||b|"},
        {"a,b,", "a|b||"}, {",a", "|a|"},   {",,", "|||"}};
    for (auto const& [s, fields] : rows) {
        std::vector<String> out = {"stale"};
        String(s).Split(',', out);
        EXPECT_EQ(all(out), fields) << "Split of \"" << s << "\"";
    }
    EXPECT_EQ(all({String::Join(", ", {"a"}), String::Join(", ", {}),
                   String::Join(", ", {"a", String(), "b"})}),
              "a||a, , b|");
    std::vector<String> v = {"a:b"}; // splitting the vector's own element
    v[0].Split(':', v);
    EXPECT_EQ(all(v), "a|b|");

    // Split then Join with the same separator gives the input back.
    std::mt19937 rng(5);
    for (int round = 0; round < 3000; ++round) {
        std::string const bytes = randomText(rng, "ab,, \0"s, 9);
        std::vector<String> fields;
        bytesOf(bytes).Split(',', fields);
        EXPECT_EQ(text(String::Join(",", fields)), bytes) << "round " << round;
        EXPECT_EQ(fields.size(), std::count(bytes.begin(), bytes.end(), ',') + 1u) << round;
        EXPECT_EQ(all(Util::SplitString(',', bytesOf(bytes))), all(fields)) << round;
    }
}

} // namespace
