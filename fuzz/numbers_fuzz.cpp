// The String number parsers, Number round trips and Arg on arbitrary text. Input:
//
//   byte 0      the base: below 200 it is taken mod 40 (so 0, 1 and 37..39 occur), above it
//               counts down from 0xFFFFFFFF
//   byte 1      bit 0: the text is built byte by byte, so zero bytes stay inside it;
//               bit 1: parse and format in a "," decimal-point locale when there is one
//   bytes 2, 3  precision (255: printf's default) and format of the floating-point forms
//   the rest    the text; its first 8 bytes are also the value of the round trips, and its
//               first 0xFF byte splits it into an Arg pattern and argument
//
// The parsers are checked against the rules of common/common_string.h.
#include "common/common_string.h"
#include "fuzz/fuzz_support.h"

#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string bytes(String const& s) {
    return std::string(s.Latin1(), s.GetLength());
}

String makeString(std::string const& text, bool keepZeros) {
    if (!keepZeros)
        return String(text.c_str(), static_cast<unsigned int>(text.size()));
    String s;
    for (char c : text)
        s += c;
    return s;
}

bool isWhite(unsigned char c) {
    return c == ' ' || (c >= 0x09 && c <= 0x0D) || c == 0xA0;
}

int digitOf(unsigned char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'Z')
        return c - 'A' + 10;
    return 99;
}

// The integer syntax every parser shares: white space, an optional sign ("-" only when
// allowed), at least one digit of base, white space. tooBig: past 64 bits, where magnitude stops.
struct Integer {
    bool valid = false;
    bool negative = false;
    bool tooBig = false;
    std::uint64_t magnitude = 0;
};

Integer scan(std::string const& t, unsigned base, bool allowMinus) {
    Integer r;
    std::size_t i = 0;
    while (i < t.size() && isWhite(t[i]))
        ++i;
    if (i < t.size() && (t[i] == '+' || (allowMinus && t[i] == '-')))
        r.negative = t[i++] == '-';
    std::size_t const first = i;
    for (; i < t.size() && digitOf(t[i]) < static_cast<int>(base); ++i) {
        unsigned const d = static_cast<unsigned>(digitOf(t[i]));
        if (r.magnitude > (UINT64_MAX - d) / base)
            r.tooBig = true;
        else
            r.magnitude = r.magnitude * base + d;
    }
    if (i == first)
        return r;
    while (i < t.size() && isWhite(t[i]))
        ++i;
    r.valid = i == t.size();
    return r;
}

// Calls a parser with *ok starting true and false and without ok, and checks that all three
// agree with the expected outcome.
template <typename T, typename Parse>
void checkParser(Parse parse, bool accept, T expected) {
    bool okTrue = true;
    bool okFalse = false;
    T const a = parse(&okTrue);
    T const b = parse(&okFalse);
    T const c = parse(nullptr);
    FUZZ_CHECK(okTrue == accept && okFalse == accept);
    FUZZ_CHECK(a == b && b == c);
    FUZZ_CHECK(a == (accept ? expected : T(0)));
}

void checkIntegerParsers(String const& s, std::string const& t, unsigned base) {
    if (base < 2 || base > 36) {
        // Outside the documented bases only the absence of faults is checked.
        bool ok = false;
        (void)s.ToShort(&ok, base), (void)s.ToUShort(&ok, base), (void)s.ToInt(&ok, base);
        (void)s.ToUInt(&ok, base), (void)s.ToInt64(&ok, base), (void)s.ToUInt64(&ok, base);
        return;
    }
    Integer const u = scan(t, base, false);
    Integer const n = scan(t, base, true);
    std::uint64_t const mag = n.magnitude;
    auto fitsSigned = [&](std::uint64_t maxPositive, std::uint64_t maxNegative) {
        return n.valid && !n.tooBig && mag <= (n.negative ? maxNegative : maxPositive);
    };
    auto fitsUnsigned = [&](std::uint64_t max) {
        return u.valid && !u.tooBig && u.magnitude <= max;
    };
    auto negated = [&](auto bits) {
        return n.negative ? static_cast<decltype(bits)>(0 - bits) : bits;
    };

    checkParser<short>([&](bool* ok) { return s.ToShort(ok, base); }, fitsSigned(32767, 65535),
                       static_cast<short>(negated(static_cast<std::uint16_t>(mag))));
    checkParser<unsigned short>([&](bool* ok) { return s.ToUShort(ok, base); }, fitsUnsigned(65535),
                                static_cast<unsigned short>(u.magnitude));
    checkParser<int>([&](bool* ok) { return s.ToInt(ok, base); },
                     fitsSigned(2147483647u, 2147483648u),
                     static_cast<int>(negated(static_cast<std::uint32_t>(mag))));
    checkParser<unsigned int>([&](bool* ok) { return s.ToUInt(ok, base); },
                              fitsUnsigned(4294967295u), static_cast<unsigned int>(u.magnitude));
    // Only "-0" is accepted with a sign; the low 32 bits come back as a signed number.
    checkParser<int64>([&](bool* ok) { return s.ToInt64(ok, base); }, fitsSigned(4294967295u, 0),
                       static_cast<std::int32_t>(static_cast<std::uint32_t>(mag)));
    checkParser<uint64>([&](bool* ok) { return s.ToUInt64(ok, base); }, fitsUnsigned(UINT64_MAX),
                        u.magnitude);
}

bool sameDouble(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

char decimalPoint() {
    std::lconv const* const conv = std::localeconv();
    return conv != nullptr && conv->decimal_point != nullptr && conv->decimal_point[0] != '\0'
               ? conv->decimal_point[0]
               : '.';
}

// The whole text must be one number as strtod reads it, "." and "," both being the point.
void checkFloatingPointParsers(String const& s, std::string const& t) {
    bool accept = !t.empty() && t.find('\0') == std::string::npos &&
                  !isWhite(static_cast<unsigned char>(t.front())) &&
                  !isWhite(static_cast<unsigned char>(t.back()));
    double expected = 0.0;
    if (accept) {
        std::string local = t;
        for (char& c : local)
            if (c == '.' || c == ',')
                c = decimalPoint();
        char* end = nullptr;
        expected = std::strtod(local.c_str(), &end);
        accept = end == local.c_str() + local.size();
    }
    bool ok = !accept;
    double const d = s.ToDouble(&ok);
    FUZZ_CHECK(ok == accept);
    FUZZ_CHECK(sameDouble(d, accept ? expected : 0.0));
    FUZZ_CHECK(sameDouble(s.ToDouble(), d));
    ok = !accept;
    float const f = s.ToFloat(&ok);
    FUZZ_CHECK(ok == accept);
    FUZZ_CHECK(sameDouble(f, static_cast<float>(d)));
}

// Number and the parsers undo each other where both are exact.
void checkRoundTrips(std::uint64_t bits, unsigned base) {
    auto const i = static_cast<int>(static_cast<std::uint32_t>(bits));
    auto const u = static_cast<unsigned int>(bits);
    auto const sh = static_cast<short>(bits);
    auto const l = static_cast<long>(bits);
    auto const ul = static_cast<unsigned long>(bits);
    bool ok = false;
    if (base >= 2 && base <= 36) {
        FUZZ_CHECK(String::Number(i, base).ToInt(&ok, base) == i && ok);
        FUZZ_CHECK(String::Number(u, base).ToUInt(&ok, base) == u && ok);
        FUZZ_CHECK(String::Number(ul, base).ToUInt64(&ok, base) == ul && ok);
        FUZZ_CHECK(String::Number(static_cast<int>(sh), base).ToShort(&ok, base) == sh && ok);
        FUZZ_CHECK(String::Number(static_cast<unsigned int>(static_cast<unsigned short>(sh)), base)
                           .ToUShort(&ok, base) == static_cast<unsigned short>(sh) &&
                   ok);
    } else {
        FUZZ_CHECK(String::Number(i, base) == String::Number(i, 10));
        FUZZ_CHECK(String::Number(l, base) == String::Number(l, 10));
        FUZZ_CHECK(String::Number(ul, base) == String::Number(ul, 10));
    }
    // long and unsigned long print as the int forms wherever a value fits in 32 bits.
    FUZZ_CHECK(String::Number(static_cast<long>(i), base) == String::Number(i, base));
    FUZZ_CHECK(String::Number(static_cast<unsigned long>(u), base) == String::Number(u, base));
    // long long and unsigned long long: "%llX" in base 16, decimal elsewhere.
    char expected[32];
    std::snprintf(expected, sizeof expected, base == 16 ? "%llX" : "%lld",
                  static_cast<long long>(bits));
    FUZZ_CHECK(String::Number(static_cast<long long>(bits), base) == expected);
    std::snprintf(expected, sizeof expected, base == 16 ? "%llX" : "%llu",
                  static_cast<unsigned long long>(bits));
    FUZZ_CHECK(String::Number(static_cast<unsigned long long>(bits), base) == expected);

    // 17 significant digits give a double back exactly, 9 a float; a negative zero float
    // prints without its sign, which == does not see.
    double d;
    std::memcpy(&d, &bits, sizeof d);
    FUZZ_CHECK(sameDouble(String::Number(d, 17, 'g').ToDouble(&ok), d) && ok);
    FUZZ_CHECK(sameDouble(String::Number(d, 16, 'e').ToDouble(&ok), d) && ok);
    float f;
    auto const low = static_cast<std::uint32_t>(bits);
    std::memcpy(&f, &low, sizeof f);
    float const back = String::Number(f, 9, 'G').ToFloat(&ok);
    FUZZ_CHECK(ok && (std::isnan(f) ? std::isnan(back) : back == f));
}

// Number(double) is printf's text for the documented conversion.
void checkFloatFormat(std::uint64_t bits, unsigned precision, char format) {
    double d;
    std::memcpy(&d, &bits, sizeof d);
    char const used = format != '\0' && std::strchr("fFeEgG", format) != nullptr ? format : 'f';
    char conversion[16];
    if (precision == 0xFFFFFFFFu)
        std::snprintf(conversion, sizeof conversion, "%%%c", used);
    else
        std::snprintf(conversion, sizeof conversion, "%%.%u%c", precision > 99 ? 99 : precision,
                      used);
    char expected[1024];
    std::snprintf(expected, sizeof expected, conversion, d);
    FUZZ_CHECK(String::Number(d, precision, format) == expected);
    float const f = static_cast<float>(d);
    std::snprintf(expected, sizeof expected, conversion, static_cast<double>(f) + 0.0);
    FUZZ_CHECK(String::Number(f, precision, format) == expected);
}

// The placeholder "%d" with the lowest digit, the leftmost of equals, becomes the argument;
// without one the argument is appended.
std::string arg(std::string const& pattern, std::string const& a) {
    std::size_t best = std::string::npos;
    for (std::size_t i = 0; i + 1 < pattern.size(); ++i)
        if (pattern[i] == '%' && pattern[i + 1] >= '0' && pattern[i + 1] <= '9' &&
            (best == std::string::npos || pattern[i + 1] < pattern[best + 1]))
            best = i;
    if (best == std::string::npos)
        return pattern + a;
    return pattern.substr(0, best) + a + pattern.substr(best + 2);
}

void checkArg(String const& pattern, String const& a, std::uint64_t bits, unsigned base,
              unsigned precision, char format) {
    std::string const p = bytes(pattern);
    std::string const x = bytes(a);
    FUZZ_CHECK(bytes(pattern.Arg(a)) == arg(p, x));
    FUZZ_CHECK(bytes(pattern.Arg(a).Arg(a)) == arg(arg(p, x), x));
    FUZZ_CHECK(bytes(pattern.Arg(a.Latin1())) == arg(p, a.Latin1()));
    char const c = x.empty() ? '\0' : x[0];
    FUZZ_CHECK(bytes(pattern.Arg(c)) == arg(p, std::string(1, c)));
    FUZZ_CHECK(bytes(pattern.Arg(Char(c))) == arg(p, std::string(1, c)));
    // The numeric forms substitute Number's text.
    auto const i = static_cast<int>(bits);
    auto const sh = static_cast<short>(bits);
    auto const ush = static_cast<unsigned short>(bits);
    double d;
    std::memcpy(&d, &bits, sizeof d);
    auto const f = static_cast<float>(d);
    auto const same = [&](String const& a, String const& number) {
        return bytes(a) == bytes(pattern.Arg(number));
    };
    FUZZ_CHECK(same(pattern.Arg(i, base), String::Number(i, base)));
    FUZZ_CHECK(same(pattern.Arg(sh, base), String::Number(static_cast<int>(sh), base)));
    FUZZ_CHECK(same(pattern.Arg(ush, base), String::Number(static_cast<int>(ush), base)));
    FUZZ_CHECK(same(pattern.Arg(static_cast<long>(bits), base),
                    String::Number(static_cast<long>(bits), base)));
    FUZZ_CHECK(same(pattern.Arg(static_cast<unsigned long long>(bits), base),
                    String::Number(static_cast<unsigned long long>(bits), base)));
    FUZZ_CHECK(same(pattern.Arg(d, precision, format), String::Number(d, precision, format)));
    FUZZ_CHECK(same(pattern.Arg(f, precision, format), String::Number(f, precision, format)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 4)
        return 0;
    unsigned const base = data[0] < 200 ? data[0] % 40u : 0xFFFFFFFFu - (data[0] - 200u);
    bool const keepZeros = (data[1] & 1) != 0;
    bool const commaLocale = (data[1] & 2) != 0;
    unsigned const precision = data[2] == 255 ? 0xFFFFFFFFu : data[2];
    char const format = static_cast<char>(data[3]);
    std::string const text(reinterpret_cast<char const*>(data + 4), size - 4);

    // Without zero bytes kept, the text ends at the first one, as String(char const*, n) does.
    String const s = makeString(text, keepZeros);
    std::string const t = bytes(s);
    std::uint64_t bits = 0;
    std::memcpy(&bits, t.data(), t.size() < 8 ? t.size() : 8);

    if (commaLocale && std::setlocale(LC_NUMERIC, "de_DE.UTF-8") == nullptr)
        return 0; // no such locale here: nothing new to learn from this input
    checkIntegerParsers(s, t, base);
    checkFloatingPointParsers(s, t);
    checkRoundTrips(bits, base);
    checkFloatFormat(bits, precision, format);
    std::size_t const split = t.find('\xFF');
    String const pattern = makeString(t.substr(0, split), true);
    String const argument =
        makeString(split == std::string::npos ? std::string() : t.substr(split + 1), true);
    checkArg(pattern, argument, bits, base, precision, format);
    if (commaLocale)
        std::setlocale(LC_NUMERIC, "C");
    return 0;
}
