// String number formatting and parsing.
#include "common/common_string.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <climits>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace {

std::string text(String const& s) {
    return std::string(s.Latin1(), s.GetLength());
}

// The texts Number gives for each row of arguments (Args: the value's type, then those of the
// base, or of the precision and format), separated by spaces.
template <typename... Args>
std::string numbers(std::vector<std::tuple<Args...>> const& rows) {
    std::string out;
    for (auto const& row : rows)
        out += (out.empty() ? "" : " ") +
               text(std::apply([](auto... a) { return String::Number(a...); }, row));
    return out;
}

TEST(StringNumber, IntegersAndFloatingPoint) {
    // int and unsigned int: the digits of any base 2..36, another base meaning 10.
    EXPECT_EQ((numbers<uint32, uint32>(
                  {{255, 16}, {255, 1}, {255, 37}, {4294967295u, 36}, {4294967295u, 2}})),
              "FF 255 255 1Z141Z3 " + std::string(32, '1'));
    EXPECT_EQ((numbers<int, uint32>(
                  {{0, 2}, {36, 36}, {-255, 16}, {-1, 16}, {INT_MIN, 10}, {INT_MIN, 16}})),
              "0 10 -FF -1 -2147483648 -80000000");
    // long and unsigned long: the same rule over all their bits (32 on 32-bit CPUs).
    EXPECT_EQ((numbers<long, uint32>({{255, 2}, {LONG_MIN, 10}, {LONG_MIN, 16}, {LONG_MAX, 36}})),
              sizeof(long) == 8 ? "11111111 -9223372036854775808 -8000000000000000 1Y2P0IJ32E8E7"
                                : "11111111 -2147483648 -80000000 ZIK0ZJ");
    // long long and unsigned long long: "%llX" in base 16, decimal in every other base.
    EXPECT_EQ((numbers<long long, uint32>({{255, 2}, {-1, 16}, {-255, 8}, {LLONG_MIN, 10}})),
              "255 FFFFFFFFFFFFFFFF -255 -9223372036854775808");
    EXPECT_EQ((numbers<unsigned long long, uint32>({{255, 16}, {18446744073709551615ULL, 36}})),
              "FF 18446744073709551615");
    EXPECT_EQ(text(String::Number(ULONG_MAX, 2)), std::string(sizeof(long) * CHAR_BIT, '1'));

    unsigned int const none = 0xFFFFFFFF; // printf's default of six digits
    // An unknown format means 'f'; the precision is clamped to 99.
    std::string const zeros99(99, '0');
    std::vector<std::tuple<double, uint32, char>> const reals = {
        {1.5, none, 'f'}, {1.5, 2, 'f'},    {3.14159, 2, 'x'}, {-0.0, none, 'f'},
        {2.5, 0, 'f'},    {1234.5, 2, 'E'}, {0.0001, 3, 'g'},  {1e20, 3, 'G'},
        {1.5, 12, 'f'},   {1.0, 99, 'f'},   {1.0, 100, 'f'},   {1.5, 200, 'e'}};
    EXPECT_EQ(numbers(reals),
              "1.500000 1.50 3.14 -0.000000 2 1.23E+03 0.0001 1E+20 1.500000000000 1." + zeros99 +
                  " 1." + zeros99 + " 1.5" + zeros99.substr(1) + "e+00");
    // The float form drops the sign of a negative zero.
    EXPECT_EQ(
        (numbers<float, uint32, char>({{-0.0f, none, 'f'}, {-1.5f, 1, 'f'}, {0.1f, 10, 'f'}})),
        "0.000000 -1.5 0.1000000015");
    // The widest value at the widest precision: sign, 309 digits, point, 99 digits.
    EXPECT_EQ(String::Number(-std::numeric_limits<double>::max(), 99, 'f').GetLength(), 410u);
}

// What the parser makes of each text, in order, separated by spaces: the value, or "no" when
// it is rejected (with 0 and *ok false). Whatever *ok held before must not matter, and the
// parser must give the same value without it; a "?" marks a text where these disagree.
template <typename Parser, typename... Base>
std::string parsed(Parser parser, std::vector<String> const& texts, Base... base) {
    std::ostringstream out;
    out.precision(17);
    for (String const& t : texts) {
        bool okFromTrue = true, okFromFalse = false;
        auto const value = (t.*parser)(&okFromTrue, base...);
        bool const consistent =
            (t.*parser)(&okFromFalse, base...) == value && okFromFalse == okFromTrue &&
            (t.*parser)(nullptr, base...) == value && (okFromTrue || value == 0);
        out << (&t == &texts[0] ? "" : " ") << (consistent ? "" : "?");
        okFromTrue ? out << value : out << "no";
    }
    return out.str();
}

TEST(StringParse, IntegersAndTheRoundTripThroughNumberInEveryBase) {
    // The common rules, shown on ToInt: white space (0x09..0x0D, " ", 0xA0, not 0x85) around,
    // one optional sign, no radix prefix, a base of 2..36.
    EXPECT_EQ(parsed(&String::ToInt,
                     {" -12 ", "+7", "\t\n\v\f\r5\xA0", "", "-", "+-1", "12abc", "1 2", "5\x85"},
                     10),
              "-12 7 5 no no no no no no");
    // Bytes that are no digits of the base (those that are take part in the round trips
    // below): the first one past the digits, the neighbours of the letters, bytes from 0x80 up.
    for (auto const& [digit, base] : std::vector<std::pair<char const*, unsigned int>>{
             {"g", 16}, {"8", 8}, {"a", 10}, {"b", 11}, {"2", 2}, {"0x1F", 16}, {"5", 0}})
        EXPECT_EQ(parsed(&String::ToInt, {digit}, base), "no") << digit << " in base " << base;
    EXPECT_EQ(parsed(&String::ToInt, {"[", "{", "\xE1", "@", "`"}, 36), "no no no no no");
    // Each limit and one past it.
    EXPECT_EQ(
        parsed(&String::ToInt,
               {"2147483647", "2147483648", "-2147483648", "-2147483649", "99999999999999999999"},
               10),
        "2147483647 no -2147483648 no no");
    EXPECT_EQ(parsed(&String::ToInt, {"-80000000", "7FFFFFFF", "80000000"}, 16),
              "-2147483648 2147483647 no");
    EXPECT_EQ(parsed(&String::ToUInt, {"4294967295", "4294967296", "0", "-1"}, 10),
              "4294967295 no 0 no");
    EXPECT_EQ(parsed(&String::ToUInt, {"ff", "FFFFFFFF", "100000000"}, 16), "255 4294967295 no");
    EXPECT_EQ(parsed(&String::ToUInt, {"1Z141Z3", "1Z141Z4"}, 36), "4294967295 no");
    EXPECT_EQ(parsed(&String::ToUShort, {"65535", "65536", "0", "-1"}, 10), "65535 no 0 no");
    // ToShort: 32767 without a sign, any 16-bit magnitude after "-", cut to 16 bits.
    EXPECT_EQ(parsed(&String::ToShort,
                     {"32767", "32768", "-32768", "-32769", "-40000", "-65535", "-65536"}, 10),
              "32767 no -32768 32767 25536 1 no");
    // ToInt64: 32-bit magnitudes read as signed 32-bit numbers, and "-0" only.
    EXPECT_EQ(parsed(&String::ToInt64,
                     {"2147483647", "2147483648", "4294967295", "4294967296", "-0", "-1"}, 10),
              "2147483647 -2147483648 -1 no 0 no");
    EXPECT_EQ(
        parsed(&String::ToUInt64, {"18446744073709551615", "18446744073709551616", "-1", ""}, 10),
        "18446744073709551615 no no no");
    EXPECT_EQ(parsed(&String::ToUInt64, {"FFFFFFFFFFFFFFFF", "10000000000000000"}, 16) + " " +
                  parsed(&String::ToUInt64, {"3w5e11264sgsf", "3w5e11264sgsg"}, 36),
              "18446744073709551615 no 18446744073709551615 no");

    // For random integers and every base, Number then the matching parser gives the value back.
    std::mt19937_64 rng(42);
    for (unsigned int base = 2; base <= 36; ++base) {
        std::vector<uint64> bits = {0, 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, ~uint64(0)};
        for (int i = 0; i < 300; ++i)
            bits.push_back(rng() >> (rng() % 64));
        for (uint64 b : bits) {
            uint32 const u32 = static_cast<uint32>(b), u16 = static_cast<uint16>(b);
            int const i32 = static_cast<int>(u32), i16 = static_cast<short>(u16);
            long const small = static_cast<long>(b & 0x7FFFFFFF);
            unsigned long const ul = static_cast<unsigned long>(b); // b, where long has 64 bits
            bool ok[6] = {};
            EXPECT_EQ(std::make_tuple(String::Number(i32, base).ToLower().ToInt(&ok[0], base),
                                      String::Number(u32, base).ToUInt(&ok[1], base),
                                      String::Number(i16, base).ToShort(&ok[2], base),
                                      String::Number(u16, base).ToUShort(&ok[3], base),
                                      String::Number(ul, base).ToUInt64(&ok[4], base),
                                      String::Number(small, base).ToInt64(&ok[5], base)),
                      std::make_tuple(i32, u32, short(i16), uint16(u16), uint64(ul), small))
                << "bits " << b << " base " << base;
            EXPECT_TRUE(ok[0] && ok[1] && ok[2] && ok[3] && ok[4] && ok[5]) << b << " " << base;
            // long long prints a number ToUInt64 reads back in the bases 10 and 16.
            if (base == 10 || base == 16) {
                EXPECT_EQ(parsed(&String::ToUInt64, {String::Number(0ULL + b, base)}, base),
                          std::to_string(b));
            }
            // long and unsigned long print as int and unsigned int do inside 32 bits.
            EXPECT_EQ(text(String::Number(long(i32), base)) + " " +
                          text(String::Number(0UL + u32, base)),
                      text(String::Number(i32, base)) + " " + text(String::Number(u32, base)));
        }
    }
}

// The character table's entry for c, which a host may change.
unsigned char& category(char c) {
    return _CHAR_CATEGORIES[static_cast<unsigned char>(c)];
}

// Random 64-bit patterns: every length of magnitude, and as doubles every class of value.
std::vector<uint64> randomBits(std::mt19937_64& rng, std::size_t n) {
    std::vector<uint64> bits = {0, 1, ~uint64(0), uint64(1) << 63, 0x7FFFFFFF, 0x80000000};
    while (bits.size() < n)
        bits.push_back(rng() >> (rng() % 64));
    return bits;
}

// Up to maxLength random bytes of alphabet (zero bytes kept).
String randomText(std::mt19937_64& rng, std::string const& alphabet, std::size_t maxLength) {
    String s("");
    for (std::size_t n = rng() % (maxLength + 1); n != 0; --n)
        s += alphabet[rng() % alphabet.size()];
    return s;
}

// check(where) in "C" and, where installed, a locale whose decimal point is ",", each rounding
// to nearest and upward.
template <typename Check>
void inLocalesAndRoundings(Check check) {
#if defined(__powerpc__) && !defined(__powerpc64__)
    // qemu-ppc refuses the instruction 32-bit glibc sets the rounding mode with.
    bool const upward = false;
#else
    bool const upward = true;
#endif
    for (char const* locale : {"C", "de_DE.UTF-8"}) {
        if (std::setlocale(LC_NUMERIC, locale) == nullptr)
            continue;
        check(locale);
        if (upward && std::fesetround(FE_UPWARD) == 0) {
            check(std::string(locale) + " upward");
            std::fesetround(FE_TONEAREST);
        }
    }
    std::setlocale(LC_NUMERIC, "C");
}

template <typename... Values>
std::string printed(std::string const& format, Values... values) {
    char buffer[1024];
    return std::string(buffer, std::snprintf(buffer, sizeof buffer, format.c_str(), values...));
}

TEST(StringNumber, WritesWhatPrintfWrites) {
    std::mt19937_64 rng(7);
    for (uint64 b : randomBits(rng, 3000)) {
        long long const ll = static_cast<long long>(b);
        unsigned long const ul = static_cast<unsigned long>(b); // 32 bits on 32-bit CPUs
        EXPECT_EQ(text(String::Number(int(b))) + text(String::Number(uint32(b))) +
                      text(String::Number(long(b))) + text(String::Number(ul)) +
                      text(String::Number(ll, 2)) + text(String::Number(ll, 16)) +
                      text(String::Number(0ULL + b, 3)) + text(String::Number(0ULL + b, 16)),
                  printed("%d%u%ld%lu%lld%llX%llu%llX", int(b), uint32(b), long(b), ul, ll, ll,
                          0ULL + b, 0ULL + b));
    }
    // Every class of double in every format and precision (unset, 99 and past it included).
    std::vector<double> values = {0.0, -0.0, 0.5, 2.5, -1e-7, 9.5, 0.15, 1e21, 5e-324};
    for (uint64 b : randomBits(rng, 400)) {
        values.push_back(static_cast<double>(static_cast<int64>(b)) / 1024);
        std::memcpy(&values.emplace_back(), &b, sizeof b);
    }
    inLocalesAndRoundings([&](std::string const& where) {
        for (double d : values)
            for (char format : std::string("fFeEgG"))
                for (unsigned int precision : {0xFFFFFFFFu, 0u, 1u, 6u, 17u, 99u, 120u}) {
                    std::string const conversion =
                        precision == 0xFFFFFFFF
                            ? std::string("%") + format
                            : "%." + std::to_string(std::min(precision, 99u)) + format;
                    ASSERT_EQ(text(String::Number(d, precision, format)), printed(conversion, d))
                        << conversion << " " << where;
                }
    });
}

// The decimal rules read plainly: white space, a sign ("-" only when signed), "0".."9" as far
// as the character table has them as digits, white space. False when the text breaks them or
// the magnitude needs more than 64 bits.
bool readByTheRules(String const& s, bool allowMinus, uint64& magnitude, bool& negative) {
    std::string const t = text(s);
    std::size_t i = 0;
    while (i < t.size() && Char(t[i]).IsSpace())
        ++i;
    negative = allowMinus && i < t.size() && t[i] == '-';
    i += i < t.size() && (negative || t[i] == '+');
    std::size_t const first = i;
    for (magnitude = 0; i < t.size() && t[i] >= '0' && t[i] <= '9' && Char(t[i]).IsDigit(); ++i) {
        if (magnitude > (~uint64(0) - (t[i] - '0')) / 10)
            return false;
        magnitude = magnitude * 10 + (t[i] - '0');
    }
    bool const digits = i != first;
    while (i < t.size() && Char(t[i]).IsSpace())
        ++i;
    return digits && i == t.size();
}

TEST(StringParse, IntegersFollowTheRulesOnRandomTexts) {
    std::mt19937_64 rng(11);
    // Mostly digits and signs; then the neighbours "/" and ":", a letter, white space (0x85 is
    // none), zero bytes and 0xB0 (a "0" with the top bit).
    std::string const alphabet = std::string(40, '0') + "0123456789012345678999999999++--- " +
                                 "/:a\t\xA0\x85\xB0" + std::string(1, '\0');
    unsigned char const saved7 = category('7'), savedMinus = category('-');
    for (int round = 0; round < 3; ++round) {
        // As the table comes, then as a host may change it: "7" no digit, "-" white space.
        category('7') = round == 1 ? static_cast<unsigned char>(Char::LETTER_LOWERCASE) : saved7;
        category('-') = round == 2 ? static_cast<unsigned char>(Char::SEPARATOR_SPACE) : savedMinus;
        for (int i = 0; i < 20000; ++i) {
            String const s = randomText(rng, alphabet, i % 2 ? 12 : 24);
            uint64 m = 0, u = 0;
            bool negative = false, unused = false;
            bool const isSigned = readByTheRules(s, true, m, negative);
            bool const isUnsigned = readByTheRules(s, false, u, unused);
            // Each parser's limits (a rejected text gives 0); m ^ flip - flip negates after "-".
            uint64 const flip = negative ? ~uint64(0) : 0, value = (m ^ flip) - flip;
            bool const okShort = isSigned && m <= (negative ? 65535u : 32767u);
            bool const okInt = isSigned && m <= (negative ? 2147483648u : 2147483647u);
            bool const okInt64 = isSigned && m <= (negative ? 0u : 4294967295u);
            bool const okUShort = isUnsigned && u <= 65535, okUInt = isUnsigned && u <= 4294967295u;
            bool ok[6] = {};
            EXPECT_EQ(std::make_tuple(s.ToShort(&ok[0]), s.ToUShort(&ok[1]), s.ToInt(&ok[2]),
                                      s.ToUInt(&ok[3]), s.ToInt64(&ok[4]), s.ToUInt64(&ok[5]),
                                      ok[0], ok[1], ok[2], ok[3], ok[4], ok[5]),
                      std::make_tuple(short(okShort ? value : 0), uint16(okUShort ? u : 0),
                                      int(okInt ? value : 0), uint32(okUInt ? u : 0),
                                      int64(okInt64 ? int32(m) : 0), isUnsigned ? u : 0, okShort,
                                      okUShort, okInt, okUInt, okInt64, isUnsigned))
                << "\"" << text(s) << "\", round " << round;
        }
    }
    category('7') = saved7;
    category('-') = savedMinus;
}

TEST(StringParse, ToDoubleReadsWhatStrtodReads) {
    std::mt19937_64 rng(13);
    // Printed doubles of every class, and random texts of number bytes and a few others.
    std::vector<String> texts;
    for (uint64 b : randomBits(rng, 3000)) {
        double d = static_cast<double>(b) / 1e9;
        if (b % 2)
            std::memcpy(&d, &b, sizeof d);
        for (char const* format : {"%.17g", "%f", "%e", "%.3g", "%a"})
            texts.push_back(printed(format, d).c_str());
    }
    std::string const alphabet =
        std::string(20, '5') + "0123456789..,,eE+--+ \xA0xpinfa" + std::string(1, '\0');
    for (int i = 0; i < 20000; ++i)
        texts.push_back(randomText(rng, alphabet, i % 2 ? 8 : 30));
    unsigned char const saved5 = category('5');
    for (unsigned char five : {saved5, static_cast<unsigned char>(Char::SEPARATOR_SPACE)}) {
        category('5') = five; // a host may make "5" white space
        inLocalesAndRoundings([&](std::string const& where) {
            char const point = *std::localeconv()->decimal_point;
            for (String const& s : texts) {
                // The whole text, no white space at either end, "." and "," as the point.
                std::string t = text(s);
                for (char& c : t)
                    c = c == '.' || c == ',' ? point : c;
                char* end = nullptr;
                double const expected = std::strtod(t.c_str(), &end);
                bool const whole = !t.empty() && !Char(t.front()).IsSpace() &&
                                   !Char(t.back()).IsSpace() && end == t.c_str() + t.size();
                bool ok = !whole;
                double const value = s.ToDouble(&ok), wanted = whole ? expected : 0.0;
                ASSERT_EQ(ok, whole) << "\"" << t << "\" " << where;
                ASSERT_EQ(std::memcmp(&value, &wanted, sizeof value), 0) << t << " " << where;
            }
        });
    }
    category('5') = saved5;
}

TEST(StringParse, ToDoubleAndTheDecimalCommaLocale) {
    ASSERT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C");
    // "," is a decimal point too; the whole text must be the number, a zero byte included.
    EXPECT_EQ(parsed(&String::ToDouble, {"1,5", "1.5", "1e3", "-.5", " 1.5", "1.5 ", "abc", "",
                                         "1.5x", "1,5,5", String("12") + String('\0')}),
              "1.5 1.5 1000 -0.5 no no no no no no no");
    EXPECT_EQ(parsed(&String::ToFloat, {"0,1"}), "0.10000000149011612");

    // With a locale whose decimal point is ",".
    if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8") == nullptr)
        GTEST_SKIP() << "locale de_DE.UTF-8 is not installed (scripts/bootstrap generates it)";
    std::string const got =
        parsed(&String::ToDouble, {"1,5", "1.5", " 1,5"}) + " " + text(String::Number(1.5, 1, 'f'));
    std::setlocale(LC_NUMERIC, "C");
    EXPECT_EQ(got, "1.5 1.5 no 1,5");
}

} // namespace
