// String::Arg: filling "%1".."%9" placeholders.
#include "common/common_string.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace {

std::string text(String const& s) {
    return std::string(s.Latin1(), s.GetLength());
}

TEST(StringArg, FillsTheLowestPlaceholder) {
    struct Row {
        String pattern;
        String arg;
        char const* expected;
    };
    std::vector<Row> const rows = {
        {"%1", "x", "x"},
        {"%2 %1", "x", "%2 x"},
        {"%1%1", "x", "x%1"},
        {"%12", "x", "x2"}, // one digit only
        {"%0 %1", "x", "x %1"},
        {"%9%0", "x", "%9x"},
        {"%%1", "x", "%x"},
        {"%a%1", "x", "%ax"},
        {"a%1b", "", "ab"},
        {"%1", "%2", "%2"},
        // No placeholder: the argument is appended as it is.
        {"abc", "x", "abcx"},
        {"100%", "x", "100%x"},
        {"% 1", "x", "% 1x"},
        {"", "x", "x"},
        {String(), "x", "x"},
        {"abc", "", "abc"},
    };
    for (Row const& r : rows)
        EXPECT_EQ(text(r.pattern.Arg(r.arg)), r.expected)
            << "\"" << text(r.pattern) << "\".Arg(\"" << text(r.arg) << "\")";
}

TEST(StringArg, DigitOrderDecidesWhichCallFillsWhich) {
    EXPECT_EQ(text(String("%1 of %2").Arg("a").Arg("b")), "a of b");
    EXPECT_EQ(text(String("%2 of %1").Arg("a").Arg("b")), "b of a");
    EXPECT_EQ(text(String("%1 of %2").Arg("a")), "a of %2");
    // A placeholder brought in by an argument is left for the next call.
    EXPECT_EQ(text(String("%1 and %3").Arg("%2").Arg("b")), "b and %3");
    // With nothing left to fill, a further call appends.
    String const pattern("%1");
    EXPECT_EQ(text(pattern.Arg("a").Arg("b")), "ab");
    EXPECT_EQ(text(pattern), "%1"); // the template itself is left alone
}

TEST(StringArg, EveryOverloadUsesItsNumberText) {
    String const p("<%1>");
    struct Row {
        char const* what;
        String result;
        char const* expected;
    };
    std::vector<Row> const rows = {
        {"char const*", p.Arg("ab"), "<ab>"},
        {"null char const*", p.Arg(static_cast<char const*>(nullptr)), "<>"},
        {"char", p.Arg('c'), "<c>"},
        {"Char", p.Arg(Char('d')), "<d>"},
        {"int", p.Arg(-255), "<-255>"},
        {"int base 16", p.Arg(-255, 16), "<-FF>"},
        {"int bad base", p.Arg(255, 99), "<255>"},
        {"short", p.Arg(static_cast<short>(-5), 2), "<-101>"},
        {"unsigned short", p.Arg(static_cast<unsigned short>(65535), 16), "<FFFF>"},
        {"unsigned int", p.Arg(4294967295u, 16), "<FFFFFFFF>"},
        {"long", p.Arg(-1L, 16), "<-1>"},
        {"long wide", p.Arg(-4294967296L, 16), "<-100000000>"},
        {"unsigned long", p.Arg(18446744073709551615UL, 36), "<3W5E11264SGSF>"},
        {"long long base 2", p.Arg(255LL, 2), "<255>"},
        {"long long base 16", p.Arg(-1LL, 16), "<FFFFFFFFFFFFFFFF>"},
        {"unsigned long long", p.Arg(255ULL, 16), "<FF>"},
        {"double", p.Arg(1.5, 2, 'f'), "<1.50>"},
        {"double default", p.Arg(1.5), "<1.500000>"},
        {"double negative zero", p.Arg(-0.0, 1, 'f'), "<-0.0>"},
        {"float negative zero", p.Arg(-0.0f, 1, 'f'), "<0.0>"},
        {"float", p.Arg(0.25f, 3, 'e'), "<2.500e-01>"},
        {"no placeholder", String("n=").Arg(5), "n=5"},
    };
    for (Row const& r : rows)
        EXPECT_EQ(text(r.result), r.expected) << r.what;
}

} // namespace
