// String number formatting and parsing.
#include "common/common_string.h"

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
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
