// String number formatting and parsing.
#include "common/common_string.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

std::string text(String const& s) {
    return std::string(s.Latin1(), s.GetLength());
}

TEST(StringNumber, Integers) {
    int const intMin = std::numeric_limits<int>::min();
    long const longMin = std::numeric_limits<long>::min();
    long long const llMin = std::numeric_limits<long long>::min();
    std::vector<std::pair<String, std::string>> const rows = {
        {String::Number(255u, 16), "FF"},
        {String::Number(255u, 1), "255"}, // a base outside 2..36 means 10
        {String::Number(255u, 37), "255"},
        {String::Number(0, 2), "0"},
        {String::Number(36, 36), "10"},
        {String::Number(-255, 16), "-FF"},
        {String::Number(-1, 16), "-1"},
        {String::Number(intMin, 10), "-2147483648"},
        {String::Number(intMin, 16), "-80000000"},
        {String::Number(4294967295u, 36), "1Z141Z3"},
        {String::Number(4294967295u, 2), std::string(32, '1')},
        // long and unsigned long: the same rule over all 64 bits.
        {String::Number(255L, 2), "11111111"},
        {String::Number(longMin, 10), "-9223372036854775808"},
        {String::Number(longMin, 16), "-8000000000000000"},
        {String::Number(9223372036854775807L, 36), "1Y2P0IJ32E8E7"},
        {String::Number(18446744073709551615UL, 2), std::string(64, '1')},
        // long long and unsigned long long: "%llX" in base 16, decimal in every other base.
        {String::Number(255LL, 2), "255"},
        {String::Number(255ULL, 16), "FF"},
        {String::Number(18446744073709551615ULL, 36), "18446744073709551615"},
        {String::Number(-1LL, 16), "FFFFFFFFFFFFFFFF"},
        {String::Number(-255LL, 8), "-255"},
        {String::Number(llMin, 10), "-9223372036854775808"}};
    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(text(rows[i].first), rows[i].second) << "row " << i;
}

TEST(StringNumber, FloatingPoint) {
    unsigned int const none = 0xFFFFFFFF;
    std::string const zeros99(99, '0');
    std::vector<std::pair<String, std::string>> const rows = {
        {String::Number(1.5, none, 'f'), "1.500000"},
        {String::Number(1.5, 2, 'f'), "1.50"},
        {String::Number(3.14159, 2, 'x'), "3.14"}, // an unknown format means 'f'
        {String::Number(2.5, 0, 'f'), "2"},
        {String::Number(1234.5, 2, 'E'), "1.23E+03"},
        {String::Number(0.0001, 3, 'g'), "0.0001"},
        {String::Number(1e20, 3, 'G'), "1E+20"},
        {String::Number(1.5, 12, 'f'), "1.500000000000"},
        {String::Number(1.5, 200, 'e'), "1.5" + zeros99.substr(1) + "e+00"},
        {String::Number(1.0, 99, 'f'), "1." + zeros99},
        {String::Number(1.0, 100, 'f'), "1." + zeros99},
        {String::Number(-0.0, none, 'f'), "-0.000000"},
        {String::Number(-0.0f, none, 'f'), "0.000000"}, // the float form drops the sign
        {String::Number(-1.5f, 1, 'f'), "-1.5"},
        {String::Number(0.1f, 10, 'f'), "0.1000000015"}};
    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(text(rows[i].first), rows[i].second) << "row " << i;
    // The widest value at the widest precision: sign, 309 digits, point, 99 digits.
    EXPECT_EQ(String::Number(-std::numeric_limits<double>::max(), 99, 'f').GetLength(), 410u);
}

enum Parser { SHORT, USHORT, INT, UINT, INT64 };

long long parse(Parser p, String const& s, bool* ok, unsigned int base) {
    switch (p) {
    case SHORT:
        return s.ToShort(ok, base);
    case USHORT:
        return s.ToUShort(ok, base);
    case INT:
        return s.ToInt(ok, base);
    case UINT:
        return s.ToUInt(ok, base);
    case INT64:
        return s.ToInt64(ok, base);
    }
    return 0;
}

TEST(StringParse, Integers) {
    struct Row {
        Parser parser;
        char const* text;
        unsigned int base;
        long long value;
        bool ok;
    };
    std::vector<Row> const rows = {
        // The common rules, shown on ToInt.
        {INT, " -12 ", 10, -12, true},
        {INT, "+7", 10, 7, true},
        {INT, "\t\n\v\f\r5\xA0", 10, 5, true},
        {INT, "", 10, 0, false},
        {INT, "-", 10, 0, false},
        {INT, "+-1", 10, 0, false},
        {INT, "12abc", 10, 0, false},
        {INT, "1 2", 10, 0, false},
        {INT, "5\x85", 10, 0, false}, // 0x85 is not white space
        {INT, "0x1F", 16, 0, false},
        {INT, "99999999999999999999", 10, 0, false},
        {INT, "5", 0, 0, false},
        // Digits of each base.
        {INT, "f", 16, 15, true},
        {INT, "g", 16, 0, false},
        {INT, "7", 8, 7, true},
        {INT, "8", 8, 0, false},
        {INT, "9", 8, 0, false},
        {INT, "2", 2, 0, false},
        {INT, "a", 10, 0, false},
        {INT, "A", 11, 10, true},
        {INT, "b", 11, 0, false},
        {INT, "z", 36, 35, true},
        {INT, "Z", 36, 35, true},
        {INT, "[", 36, 0, false},
        {INT, "{", 36, 0, false},
        {INT, "\xE1", 36, 0, false}, // bytes from 0x80 up are never digits
        // Bounds: each limit and one past it.
        {INT, "2147483647", 10, 2147483647, true},
        {INT, "2147483648", 10, 0, false},
        {INT, "-2147483648", 10, -2147483648LL, true},
        {INT, "-2147483649", 10, 0, false},
        {INT, "-80000000", 16, -2147483648LL, true},
        {UINT, "4294967295", 10, 4294967295LL, true},
        {UINT, "4294967296", 10, 0, false},
        {UINT, "0", 10, 0, true},
        {UINT, "-1", 10, 0, false},
        {UINT, "ff", 16, 255, true},
        {UINT, "1Z141Z4", 36, 0, false},
        {USHORT, "65535", 10, 65535, true},
        {USHORT, "65536", 10, 0, false},
        {USHORT, "0", 10, 0, true},
        {USHORT, "-1", 10, 0, false},
        // ToShort: 32767 without a sign, any 16-bit magnitude after "-", cut to 16 bits.
        {SHORT, "32767", 10, 32767, true},
        {SHORT, "32768", 10, 0, false},
        {SHORT, "-32768", 10, -32768, true},
        {SHORT, "-32769", 10, 32767, true},
        {SHORT, "-40000", 10, 25536, true},
        {SHORT, "-65535", 10, 1, true},
        {SHORT, "-65536", 10, 0, false},
        // ToInt64: 32-bit magnitudes read as signed 32-bit numbers, and "-0" only.
        {INT64, "2147483647", 10, 2147483647, true},
        {INT64, "2147483648", 10, -2147483648LL, true},
        {INT64, "3000000000", 10, -1294967296LL, true},
        {INT64, "4294967295", 10, -1, true},
        {INT64, "4294967296", 10, 0, false},
        {INT64, "-0", 10, 0, true},
        {INT64, "-1", 10, 0, false}};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        Row const& r = rows[i];
        bool ok = !r.ok; // the parser must overwrite it
        EXPECT_EQ(parse(r.parser, String(r.text), &ok, r.base), r.value) << "row " << i;
        EXPECT_EQ(ok, r.ok) << "row " << i;
        EXPECT_EQ(parse(r.parser, String(r.text), nullptr, r.base), r.value) << "row " << i;
    }
}

TEST(StringParse, ToUInt64Bounds) {
    uint64 const max = std::numeric_limits<uint64>::max();
    bool ok = false;
    EXPECT_EQ(String("18446744073709551615").ToUInt64(&ok, 10), max);
    EXPECT_TRUE(ok);
    EXPECT_EQ(String("3w5e11264sgsf").ToUInt64(&ok, 36), max);
    EXPECT_TRUE(ok);
    std::pair<char const*, unsigned int> const rejected[] = {
        {"18446744073709551616", 10}, {"10000000000000000", 16}, {"-1", 10}, {"", 10}};
    for (auto const& r : rejected) {
        EXPECT_EQ(String(r.first).ToUInt64(&ok, r.second), 0u) << r.first;
        EXPECT_FALSE(ok) << r.first;
    }
}

TEST(StringParse, NumberThenParserGivesTheValueBackInEveryBase) {
    std::mt19937_64 rng(42);
    for (unsigned int base = 2; base <= 36; ++base) {
        std::vector<uint64> bits = {0, 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, ~uint64(0)};
        for (int i = 0; i < 300; ++i)
            bits.push_back(rng() >> (rng() % 64));
        for (uint64 b : bits) {
            SCOPED_TRACE("bits " + std::to_string(b) + " base " + std::to_string(base));
            bool ok[7] = {};
            int const i32 = static_cast<int>(static_cast<uint32>(b));
            EXPECT_EQ(String::Number(i32, base).ToLower().ToInt(&ok[0], base), i32);
            uint32 const u32 = static_cast<uint32>(b);
            EXPECT_EQ(String::Number(u32, base).ToUInt(&ok[1], base), u32);
            short const i16 = static_cast<short>(static_cast<uint16>(b));
            EXPECT_EQ(String::Number(int(i16), base).ToShort(&ok[2], base), i16);
            uint16 const u16 = static_cast<uint16>(b);
            EXPECT_EQ(String::Number(int(u16), base).ToUShort(&ok[3], base), u16);
            EXPECT_EQ(String::Number(b, base).ToUInt64(&ok[4], base), b);
            long const small = static_cast<long>(b & 0x7FFFFFFF);
            EXPECT_EQ(String::Number(small, base).ToInt64(&ok[5], base), small);
            ok[6] = true;
            if (base == 10 || base == 16) {
                EXPECT_EQ(String::Number(0ULL + b, base).ToUInt64(&ok[6], base), b);
            }
            for (bool accepted : ok)
                EXPECT_TRUE(accepted);
            // long and unsigned long print as int and unsigned int do inside 32 bits.
            EXPECT_EQ(text(String::Number(long(i32), base)), text(String::Number(i32, base)));
            EXPECT_EQ(text(String::Number(0UL + u32, base)), text(String::Number(u32, base)));
        }
    }
}

TEST(StringParse, ToDouble) {
    ASSERT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C");
    struct Row {
        char const* text;
        double value;
        bool ok;
    };
    std::vector<Row> const rows = {
        {"1,5", 1.5, true},   {"1.5", 1.5, true},   {"1e3", 1000.0, true}, {"-.5", -0.5, true},
        {" 1.5", 0.0, false}, {"1.5 ", 0.0, false}, {"abc", 0.0, false},   {"", 0.0, false},
        {"1.5x", 0.0, false}, {"1,5,5", 0.0, false}};
    for (Row const& r : rows) {
        bool ok = !r.ok;
        EXPECT_EQ(String(r.text).ToDouble(&ok), r.value) << "\"" << r.text << "\"";
        EXPECT_EQ(ok, r.ok) << "\"" << r.text << "\"";
    }
    bool ok = false;
    EXPECT_EQ(String("0,1").ToFloat(&ok), 0.1f);
    EXPECT_TRUE(ok);
    String withZero("12");
    withZero += '\0';
    EXPECT_EQ(withZero.ToDouble(&ok), 0.0); // the zero byte is part of the text
    EXPECT_FALSE(ok);
}

TEST(StringParse, DecimalCommaLocale) {
    std::string const previous = std::setlocale(LC_NUMERIC, nullptr);
    if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8") == nullptr)
        GTEST_SKIP() << "locale de_DE.UTF-8 is not installed (scripts/bootstrap generates it)";
    bool ok[3] = {};
    double const values[] = {String("1,5").ToDouble(&ok[0]), String("1.5").ToDouble(&ok[1]),
                             String(" 1,5").ToDouble(&ok[2])};
    std::string const printed = text(String::Number(1.5, 1, 'f'));
    std::setlocale(LC_NUMERIC, previous.c_str());

    EXPECT_EQ(values[0], 1.5);
    EXPECT_TRUE(ok[0]);
    EXPECT_EQ(values[1], 1.5);
    EXPECT_TRUE(ok[1]);
    EXPECT_FALSE(ok[2]);
    EXPECT_EQ(printed, "1,5");
}

} // namespace
