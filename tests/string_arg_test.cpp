// String::Arg: filling "%1".."%9" placeholders.
#include "common/common_string.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <tuple>
#include <vector>

namespace {

std::string text(String const& s) {
    return std::string(s.Latin1(), s.GetLength());
}

TEST(StringArg, FillsTheLowestPlaceholder) {
    // Pattern, argument, result. One digit only is read ("%12" is "%1" then "2"); "%0" counts;
    // with no placeholder the argument is appended as it is.
    std::vector<std::tuple<String, String, char const*>> const rows = {
        {"%1", "x", "x"},     {"%2 %1", "x", "%2 x"}, {"%1%1", "x", "x%1"},
        {"%12", "x", "x2"},   {"%0 %1", "x", "x %1"}, {"%9%0", "x", "%9x"},
        {"%%1", "x", "%x"},   {"%a%1", "x", "%ax"},   {"a%1b", "", "ab"},
        {"%1", "%2", "%2"},   {"abc", "x", "abcx"},   {"100%", "x", "100%x"},
        {"% 1", "x", "% 1x"}, {"", "x", "x"},         {String(), "x", "x"},
        {"abc", "", "abc"}};
    for (auto const& [pattern, arg, expected] : rows)
        EXPECT_EQ(text(pattern.Arg(arg)), expected)
            << "\"" << text(pattern) << "\".Arg(\"" << text(arg) << "\")";
}

TEST(StringArg, DigitOrderDecidesWhichCallFillsWhich) {
    EXPECT_EQ(text(String("%1 of %2").Arg("a").Arg("b")), "a of b");
    EXPECT_EQ(text(String("%2 of %1").Arg("a").Arg("b")), "b of a");
    EXPECT_EQ(text(String("%1 of %2").Arg("a")), "a of %2");
    // A placeholder brought in by an argument is left for the next call.
    EXPECT_EQ(text(String("%1 and %3").Arg("%2").Arg("b")), "b and %3");
    // With nothing left to fill, a further call appends; the template itself is left alone.
    String const pattern("%1");
    EXPECT_EQ(text(pattern.Arg("a").Arg("b")) + " " + text(pattern), "ab %1");
}

TEST(StringArg, EveryOverloadUsesItsNumberText) {
    // Each call fills the next of nine placeholders.
    String const nine("%1|%2|%3|%4|%5|%6|%7|%8|%9");
    char const* const none = nullptr;
    short const minus5 = -5;
    unsigned short const ushortMax = 65535;
    String first = nine.Arg("ab").Arg(none).Arg('c').Arg(Char('d')).Arg(-255).Arg(-255, 16);
    first = first.Arg(255, 99).Arg(minus5, 2).Arg(ushortMax, 16);
    EXPECT_EQ(text(first), "ab||c|d|-255|-FF|255|-101|FFFF");
    // long as int over all its bits (32 on 32-bit CPUs); long long "%llX" in base 16 and
    // decimal in the others.
    String second = nine.Arg(4294967295u, 16).Arg(-1L, 16).Arg(LONG_MIN, 16);
    second = second.Arg(ULONG_MAX, 36).Arg(255LL, 2).Arg(-1LL, 16).Arg(255ULL, 16);
    EXPECT_EQ(text(second.Arg(1.5, 2, 'f').Arg(1.5)),
              std::string("FFFFFFFF|-1|") +
                  (sizeof(long) == 8 ? "-8000000000000000|3W5E11264SGSF" : "-80000000|1Z141Z3") +
                  "|255|FFFFFFFFFFFFFFFF|FF|1.50|1.500000");
    // The float form drops the sign of a negative zero; the double form keeps it.
    EXPECT_EQ(text(String("%1|%2|%3").Arg(-0.0, 1, 'f').Arg(-0.0f, 1, 'f').Arg(0.25f, 3, 'e')),
              "-0.0|0.0|2.500e-01");
    EXPECT_EQ(text(String("n=").Arg(5)), "n=5");
}

} // namespace
