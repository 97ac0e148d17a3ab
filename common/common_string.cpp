#include "common/common_string.h"

#include <Carbon/Carbon.h>

#include <cfenv>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <type_traits>

#include <langinfo.h>

namespace {

char const kEmptyText[] = "";

// Conversions give up on texts without a terminator in their first 100,000 units.
unsigned int const kMaxConvertedUnits = 100000;

// 0 when both pointers are equal, -1 or 1 when only one is null, else strcmp (unsigned bytes).
int StringCompare(char const* a, char const* b) {
    if (a == b)
        return 0;
    if (a == nullptr)
        return -1;
    if (b == nullptr)
        return 1;
    return std::strcmp(a, b);
}

// The bytes 0x09..0x0D, " " and those the table marks as separators (0xA0).
inline bool isWhite(char c) {
    return Char(c).IsSpace();
}

// ASCII-only case folding: "A".."Z" to "a".."z", every other byte unchanged.
inline unsigned char foldCase(char c) {
    unsigned char const b = static_cast<unsigned char>(c);
    return static_cast<unsigned int>(b - 'A') < 26u ? static_cast<unsigned char>(b + 0x20) : b;
}

// Compares n bytes as C strings compare them (stopping where both hold a zero byte),
// optionally folding case. The callers know both texts hold at least n bytes.
bool sameCText(char const* a, char const* b, unsigned int n, bool caseSensitive) {
    if (caseSensitive)
        return std::strncmp(a, b, n) == 0;
    for (unsigned int i = 0; i < n; ++i) {
        unsigned char const x = foldCase(a[i]);
        if (x != foldCase(b[i]))
            return false;
        if (x == 0)
            return true;
    }
    return true;
}

// A lower-case copy of the terminated text s.
std::string lowerCopy(char const* s) {
    std::string result(s);
    for (char& c : result)
        c = static_cast<char>(foldCase(c));
    return result;
}

char const kDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

// "00", "01", .. "99": decimal digits are written two at a time, halving the divisions.
struct DigitPairs {
    char text[200];
    constexpr DigitPairs() : text() {
        for (int i = 0; i < 100; ++i) {
            text[2 * i] = static_cast<char>('0' + i / 10);
            text[2 * i + 1] = static_cast<char>('0' + i % 10);
        }
    }
};
constexpr DigitPairs kDigitPairs;

// 10^0 to 10^9.
uint32 const kPowersOfTen[10] = {1,      10,      100,      1000,      10000,
                                 100000, 1000000, 10000000, 100000000, 1000000000};

// Writes the decimal digits of magnitude backwards so that they end just before end, which
// has room for 20. Below 2^32 all ten places are written, two at a time, and the first that
// counts is returned, so that no branch depends on the length: it is as likely one as another.
template <typename Unsigned>
char* writeDecimal(Unsigned magnitude, char* end) {
    char* p = end;
    if constexpr (sizeof(Unsigned) > sizeof(uint32)) {
        while (magnitude > 0xFFFFFFFFu) {
            unsigned int const pair = static_cast<unsigned int>(magnitude % 100);
            magnitude /= 100;
            p -= 2;
            std::memcpy(p, kDigitPairs.text + 2 * pair, 2);
        }
    }
    uint32 const m = static_cast<uint32>(magnitude);
    uint32 const low = m % 100000000, upper = low / 10000, lower = low % 10000;
    std::memcpy(p - 10, kDigitPairs.text + 2 * (m / 100000000), 2);
    std::memcpy(p - 8, kDigitPairs.text + 2 * (upper / 100), 2);
    std::memcpy(p - 6, kDigitPairs.text + 2 * (upper % 100), 2);
    std::memcpy(p - 4, kDigitPairs.text + 2 * (lower / 100), 2);
    std::memcpy(p - 2, kDigitPairs.text + 2 * (lower % 100), 2);
    unsigned int digits = 1;
    for (unsigned int i = 1; i < 10; ++i)
        digits += m >= kPowersOfTen[i];
    return p - digits;
}

// Writes the digits of magnitude in Base backwards so that they end just before end.
template <unsigned int Base, typename Unsigned>
char* writeDigitsIn(Unsigned magnitude, char* end) {
    char* p = end;
    do {
        *--p = kDigits[magnitude % Base];
        magnitude /= Base;
    } while (magnitude != 0);
    return p;
}

// Writes the digits of magnitude backwards so that they end just before end, with a "-" in
// front when negative, and returns the first character written. A base outside 2..36 means
// 10. end must have room for 64 binary digits and the sign.
template <typename Unsigned>
char* writeDigits(Unsigned magnitude, bool negative, unsigned int base, char* end) {
    static_assert(std::is_unsigned<Unsigned>::value, "digits are written from a magnitude");
    char* p;
    // The common bases get a constant divisor, which the compiler turns into cheap steps.
    if (base == 10 || base < 2 || base > 36) {
        p = writeDecimal(magnitude, end);
    } else if (base == 16) {
        p = writeDigitsIn<16>(magnitude, end);
    } else {
        p = end;
        do {
            *--p = kDigits[magnitude % base];
            magnitude /= base;
        } while (magnitude != 0);
    }
    // A "-" is written in any case and then kept or not, without a branch: the sign is as
    // likely one way as the other.
    *--p = '-';
    return p + !negative;
}

// Room for 64 binary digits and a sign.
unsigned int const kDigitBufferSize = 65;

// The magnitude is taken in unsigned arithmetic, so the most negative value needs no
// special case and prints as "-" and its magnitude in every base.
template <typename Signed>
String formatSigned(Signed value, unsigned int base) {
    using Unsigned = std::make_unsigned_t<Signed>;
    Unsigned const bits = static_cast<Unsigned>(value);
    bool const negative = value < 0;
    char buffer[kDigitBufferSize];
    char* const end = buffer + sizeof buffer;
    char const* const first =
        writeDigits<Unsigned>(negative ? Unsigned(0) - bits : bits, negative, base, end);
    return String(first, static_cast<unsigned int>(end - first));
}

template <typename Unsigned>
String formatUnsigned(Unsigned value, unsigned int base) {
    char buffer[kDigitBufferSize];
    char* const end = buffer + sizeof buffer;
    char const* const first = writeDigits<Unsigned>(value, false, base, end);
    return String(first, static_cast<unsigned int>(end - first));
}

String formatInteger(int value, unsigned int base) {
    return formatSigned(value, base);
}
String formatInteger(long value, unsigned int base) {
    return formatSigned(value, base);
}
String formatInteger(unsigned int value, unsigned int base) {
    return formatUnsigned(value, base);
}
String formatInteger(unsigned long value, unsigned int base) {
    return formatUnsigned(value, base);
}

// The 64-bit forms print as printf's "%llX" in base 16 (the two's-complement bits of a
// negative value) and as "%lld" / "%llu" in every other base.
String formatInteger(long long value, unsigned int base) {
    if (base == 16)
        return formatUnsigned(static_cast<unsigned long long>(value), 16);
    return formatSigned(value, 10);
}

String formatInteger(unsigned long long value, unsigned int base) {
    return formatUnsigned(value, base == 16 ? 16u : 10u);
}

#if defined(__cpp_lib_to_chars)

// Whether the current rounding is to nearest, asked the way the C library's printf and strtod
// ask, so that both always agree (valgrind, for one, keeps the mode but rounds to nearest).
// On 32-bit PowerPC the arithmetic answers instead: 1 + 3/4 ulp rounds up and 1 + 1/4 ulp
// rounds down only when rounding to nearest, while glibc's fegetround there uses an
// instruction that emulators refuse.
bool roundingToNearest() {
#if defined(__powerpc__) && !defined(__powerpc64__)
    volatile double one = 1.0, threeQuarters = 0x1.8p-53, quarter = 0x1p-54;
    return one + threeQuarters != one && one + quarter == one;
#else
    return std::fegetround() == FE_TONEAREST;
#endif
}
// to_chars and from_chars round correctly to nearest, as printf and strtod do in that rounding
// mode, and differ from them only in the decimal point, which is always ".". So they stand in
// for the C library when the rounding is to nearest and the current decimal point is the one
// byte "." or "," (exchanged afterwards); this returns that byte, or 0 when they cannot.
char plainDecimalPoint() {
    if (!roundingToNearest())
        return 0;
    char const* const point = ::nl_langinfo(RADIXCHAR);
    if (point == nullptr || (point[0] != '.' && point[0] != ',') || point[1] != '\0')
        return 0;
    return point[0];
}

// Writes printf's text for a finite value in the formats f, e and g (upper case: E and G) with
// the given number of digits to buffer and returns its length; 0 when the C library has to
// write it.
unsigned int formatFinite(double value, unsigned int digits, char format, char (&buffer)[1024]) {
    char const point = plainDecimalPoint();
    if (point == 0 || !std::isfinite(value))
        return 0;
    std::chars_format const style = format == 'f' || format == 'F'   ? std::chars_format::fixed
                                    : format == 'e' || format == 'E' ? std::chars_format::scientific
                                                                     : std::chars_format::general;
    // One byte short, as printf's text is cut to 1023 bytes (none is that long: "%.99f" of
    // the largest double takes 410).
    std::to_chars_result const r =
        std::to_chars(buffer, buffer + sizeof buffer - 1, value, style, static_cast<int>(digits));
    if (r.ec != std::errc())
        return 0;
    bool const upper = format == 'E' || format == 'G';
    if (point != '.' || upper) {
        for (char* p = buffer; p != r.ptr; ++p) {
            if (*p == '.')
                *p = point;
            else if (*p == 'e' && upper)
                *p = 'E';
        }
    }
    return static_cast<unsigned int>(r.ptr - buffer);
}

// Longest text readPlainReal takes; a longer one goes to strtod.
unsigned int const kMaxPlainReal = 64;

inline bool isDecimalDigit(char c) {
    return static_cast<unsigned int>(static_cast<unsigned char>(c) - '0') < 10u;
}

// Reads the whole of text when it is plainly [+-]digits[.digits][(e|E)[+-]digits], with at
// least one digit before the exponent and "." or "," as the point: strtod reads such a text
// whole, and to the same value. False when strtod must decide.
bool readPlainReal(char const* text, unsigned int length, double& value) {
    if (length == 0 || length > kMaxPlainReal || plainDecimalPoint() == 0)
        return false;
    // ToDouble strips white space first and then finds the text too short; a host may have
    // made any byte white space.
    if (isWhite(text[0]) || isWhite(text[length - 1]))
        return false;
    // A copy as from_chars reads it: no "+", and "." as the point.
    char buffer[kMaxPlainReal];
    char* out = buffer;
    char const* p = text;
    char const* const end = text + length;
    if (*p == '-')
        *out++ = *p++;
    else if (*p == '+')
        ++p;
    char const* const mantissa = p;
    while (p != end && isDecimalDigit(*p))
        *out++ = *p++;
    std::ptrdiff_t points = 0;
    if (p != end && (*p == '.' || *p == ',')) {
        *out++ = '.';
        ++p;
        points = 1;
        while (p != end && isDecimalDigit(*p))
            *out++ = *p++;
    }
    if (p - mantissa == points)
        return false;
    if (p != end && (*p == 'e' || *p == 'E')) {
        *out++ = *p++;
        if (p != end && (*p == '+' || *p == '-'))
            *out++ = *p++;
        if (p == end)
            return false;
        while (p != end && isDecimalDigit(*p))
            *out++ = *p++;
    }
    if (p != end)
        return false;
    double read = 0.0;
    std::from_chars_result const r = std::from_chars(buffer, out, read);
    // Out of range (strtod gives infinity or zero) and anything else goes to strtod.
    if (r.ec != std::errc() || r.ptr != out)
        return false;
    value = read;
    return true;
}
#endif

String formatFloat(double value, checked_value<unsigned int> const& precision, char format) {
    if (format == '\0' || std::strchr("fFeEgG", format) == nullptr)
        format = 'f';
    char buffer[1024];
#if defined(__cpp_lib_to_chars)
    {
        // printf's default precision is six digits in every one of these formats.
        unsigned int const digits = !precision.IsSet()           ? 6u
                                    : precision.GetValue() > 99u ? 99u
                                                                 : precision.GetValue();
        unsigned int const length = formatFinite(value, digits, format, buffer);
        if (length != 0)
            return String(buffer, length);
    }
#endif
    char conversion[8];
    char* p = conversion;
    *p++ = '%';
    if (precision.IsSet()) {
        unsigned int const digits = precision.GetValue() > 99u ? 99u : precision.GetValue();
        *p++ = '.';
        if (digits >= 10)
            *p++ = static_cast<char>('0' + digits / 10);
        *p++ = static_cast<char>('0' + digits % 10);
    }
    *p++ = format;
    *p = '\0';
    int const n = std::snprintf(buffer, sizeof buffer, conversion, value);
    unsigned int const length = n < 0 ? 0u : static_cast<unsigned int>(n < 1024 ? n : 1023);
    return String(buffer, length);
}

// 0xFFFFFFFF stands for "no precision".
checked_value<unsigned int> precisionOf(unsigned int precision) {
    return precision == 0xFFFFFFFFu ? checked_value<unsigned int>()
                                    : checked_value<unsigned int>(precision);
}

// Whether c is a digit of base. Up to base 10 only decimal digits below the base count.
// Above it, letters extend the digits from 10 upward in either case; the byte is compared
// as a signed char, so bytes from 0x80 up are never digits.
bool checkCharInBase(Char const& c, unsigned int base) {
    if (base <= 10)
        return c.IsDigit() && static_cast<unsigned int>(c.Value() - '0') < base;
    if (c.IsDigit())
        return true;
    signed char const s = static_cast<signed char>(c.Value());
    if (s > 0x60 && s < static_cast<signed char>(0x57 + base))
        return true;
    if (s <= 0x40)
        return false;
    return s < static_cast<signed char>(0x37 + base);
}

// Reads digits of base from p while they last, stepping p and remaining on. ok is false on
// overflow of T (the result is then 0); at the first non-digit or the end, ok is true and p
// and remaining describe the unread tail.
template <typename T>
T scanUInt(char const*& p, unsigned int& remaining, unsigned int base, bool& ok) {
    ok = false;
    if (base == 0) // no character is a digit of base 0; this only guards the divisions
        return 0;
    T const limit = std::numeric_limits<T>::max() / base;
    T const rest = std::numeric_limits<T>::max() % base;
    T value = 0;
    while (remaining != 0 && checkCharInBase(*p, base)) {
        unsigned int const c = static_cast<unsigned char>(*p);
        unsigned int digit;
        if (Char(*p).IsDigit())
            digit = c - '0';
        else if (c >= 'a' && c <= 'z')
            digit = c - 87;
        else
            digit = c - 55;
        if (value > limit || (value == limit && digit > rest))
            return 0;
        value = static_cast<T>(value * base + digit);
        ++p;
        --remaining;
    }
    ok = true;
    return value;
}

// Whether the character table makes "0".."9" the digits of base 10, as it does unless a host
// has patched it. Only these bytes can be, so the decimal path needs no table look-ups.
bool decimalDigitsAsUsual() {
    static unsigned char const kDigitRow[10] = {
        Char::NUMBER_DECIMALDIGIT, Char::NUMBER_DECIMALDIGIT, Char::NUMBER_DECIMALDIGIT,
        Char::NUMBER_DECIMALDIGIT, Char::NUMBER_DECIMALDIGIT, Char::NUMBER_DECIMALDIGIT,
        Char::NUMBER_DECIMALDIGIT, Char::NUMBER_DECIMALDIGIT, Char::NUMBER_DECIMALDIGIT,
        Char::NUMBER_DECIMALDIGIT};
    return std::memcmp(&_CHAR_CATEGORIES[unsigned('0')], kDigitRow, sizeof kDigitRow) == 0;
}

// The bytes at p, p[0] in the lowest byte whatever the CPU's byte order.
template <typename Word>
Word loadText(char const* p) {
    Word w;
    std::memcpy(&w, p, sizeof w);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    w = sizeof w == 8 ? static_cast<Word>(__builtin_bswap64(w))
                      : static_cast<Word>(__builtin_bswap32(static_cast<uint32>(w)));
#endif
    return w;
}

// Whether each byte of w is "0".."9". Carries and borrows between bytes only arise next to a
// byte that is no digit, so they cannot hide one.
inline bool eightDigitBytes(uint64 w) {
    uint64 const high = 0x8080808080808080u;
    return ((w | (w + 0x4646464646464646u) | (w - 0x3030303030303030u)) & high) == 0;
}

// The value of eight digit bytes, the first one in the lowest byte: pairs, then fours, then
// all eight, each step with one multiplication.
inline uint64 eightDigitsValue(uint64 w) {
    uint64 const mask = 0x000000FF000000FFu;
    w -= 0x3030303030303030u;
    w = w * 10 + (w >> 8);
    return ((w & mask) * (100 + (1000000ull << 32)) +
            ((w >> 16) & mask) * (1 + (10000ull << 32))) >>
           32;
}

// Eight "0" bytes: what a short text's missing bytes are read from.
char const kZeroDigits[8] = {'0', '0', '0', '0', '0', '0', '0', '0'};

// The lowest n bytes, for n = 0..8.
uint64 const kLowBytes[9] = {0,
                             0xFF,
                             0xFFFF,
                             0xFFFFFF,
                             0xFFFFFFFF,
                             0xFFFFFFFFFF,
                             0xFFFFFFFFFFFF,
                             0xFFFFFFFFFFFFFF,
                             0xFFFFFFFFFFFFFFFF};

// All ones when c holds, else 0.
inline uint64 maskIf(bool c) {
    return uint64(0) - uint64(c);
}

// a where mask is all ones, b where it is 0, computed rather than branched to.
inline uint64 pick(uint64 mask, uint64 a, uint64 b) {
    return b ^ ((a ^ b) & mask);
}
inline char const* pick(uint64 mask, char const* a, char const* b) {
    std::uintptr_t const x = reinterpret_cast<std::uintptr_t>(a);
    std::uintptr_t const y = reinterpret_cast<std::uintptr_t>(b);
    return reinterpret_cast<char const*>(y ^ ((x ^ y) & static_cast<std::uintptr_t>(mask)));
}

// The common decimal text without a branch on its length: an optional sign ("-" only when
// allowMinus) and 1 to 16 digits "0".."9", nothing else, and a value that fits in U. Gives false
// for every other text (white space, more digits, overflow), which the byte-wise reading then
// decides. text must be terminated; only its bytes and the terminator are read. The caller has
// made sure that "0".."9" are the digits of base 10 and no white space.
template <typename U>
bool readPlainInteger(char const* text, unsigned int length, bool allowMinus, U& magnitude,
                      bool& negative) {
    // Sign and length are as likely one way as the other, so no branch depends on them: the
    // readings for every length are done, short texts reading "0"s in place of bytes they lack,
    // and the right one is picked.
    bool const minus = allowMinus & (text[0] == '-');
    unsigned int const sign = static_cast<unsigned int>(minus) | (text[0] == '+');
    char const* const p = text + sign;
    unsigned int const n = length - sign;
    // A host may have made a sign white space, which the byte-wise reading would then skip.
    if (length == 0 || n > 16 || isWhite(text[0]))
        return false;
    uint64 const long8 = maskIf(n >= 8);
    uint64 const long4 = maskIf(n >= 4);
    // The value is head * 10^(n - 8) + tail: head holds the first eight digits of a long text
    // ("0"s for a short one), tail the rest, right-aligned, with "0"s filled in below.
    uint64 const head = loadText<uint64>(pick(long8, p, kZeroDigits));
    // 8 to 16 digits: the last eight bytes, of which the fill replaces those in head.
    uint64 const tail8 = loadText<uint64>(pick(long8, p + ((n - 8) & long8), kZeroDigits));
    // 4 to 7: the last four bytes in the upper half, the first four just above the fill.
    uint64 const tail4 =
        uint64(loadText<uint32>(pick(long4, p + ((n - 4) & long4), kZeroDigits))) << 32 |
        uint64(loadText<uint32>(pick(long4, p, kZeroDigits))) << (8 * ((8 - n) & 7));
    // 1 to 3: the last three bytes one by one; p[0] (the terminator when n is 0) stands in for
    // missing ones, and p[-1] is the sign when n is 0.
    uint64 const last1 = static_cast<unsigned char>(p[static_cast<std::ptrdiff_t>(n) - 1]);
    uint64 const last2 = static_cast<unsigned char>(p[(n - 2) & maskIf(n >= 2)]);
    uint64 const last3 = static_cast<unsigned char>(p[(n - 3) & maskIf(n >= 3)]);
    uint64 const tail1 = last1 << 56 | last2 << 48 | last3 << 40;
    uint64 const fill = kLowBytes[(8 - n + (8 & static_cast<unsigned int>(long8))) & 15];
    uint64 const tail =
        pick(fill, 0x3030303030303030u, pick(long8, tail8, pick(long4, tail4, tail1)));
    if (n == 0 || !eightDigitBytes(head) || !eightDigitBytes(tail))
        return false;
    uint64 const value =
        eightDigitsValue(head) * kPowersOfTen[(n - 8) & long8] + eightDigitsValue(tail);
    if (value > std::numeric_limits<U>::max())
        return false;
    magnitude = static_cast<U>(value);
    negative = minus;
    return true;
}

// scanUInt for base 10 with the usual digits: reads "0".."9" from p up to end while they last
// and returns false on overflow of T.
template <typename T>
bool scanDecimal(char const*& p, char const* end, T& value) {
    T const limit = std::numeric_limits<T>::max() / 10;
    unsigned int const rest = std::numeric_limits<T>::max() % 10;
    T v = 0;
    for (; p != end; ++p) {
        unsigned int const digit = static_cast<unsigned char>(*p) - static_cast<unsigned int>('0');
        if (digit > 9)
            break;
        if (v >= limit && (v > limit || digit > rest))
            return false;
        v = static_cast<T>(v * 10u + digit);
    }
    value = v;
    return true;
}

// The common part of the integer parsers, read byte by byte: white space, a sign ("-" only
// when allowMinus), digits, white space, and nothing else. decimal tells that base is 10 and
// "0".."9" are its digits. Returns false when the text is rejected.
template <typename U>
bool readIntegerBytewise(char const* p, unsigned int remaining, unsigned int base, bool decimal,
                         bool allowMinus, U& magnitude, bool& negative) {
    while (remaining != 0 && isWhite(*p)) {
        ++p;
        --remaining;
    }
    negative = false;
    if (remaining != 0 && (*p == '+' || (allowMinus && *p == '-'))) {
        negative = *p == '-';
        ++p;
        --remaining;
    }
    if (decimal) {
        char const* const end = p + remaining;
        char const* const digits = p;
        if (!scanDecimal<U>(p, end, magnitude) || p == digits)
            return false;
        while (p != end && isWhite(*p))
            ++p;
        return p == end;
    }
    if (remaining == 0 || !checkCharInBase(*p, base))
        return false;
    bool scanned = false;
    magnitude = scanUInt<U>(p, remaining, base, scanned);
    if (!scanned)
        return false;
    while (remaining != 0 && isWhite(*p)) {
        ++p;
        --remaining;
    }
    return remaining == 0;
}

// The common part of the integer parsers for a String's text (null for none): the common
// decimal texts in few steps, everything else byte by byte.
template <typename U>
inline bool readInteger(std::string const* text, unsigned int base, bool allowMinus, U& magnitude,
                        bool& negative) {
    unsigned int const length = text != nullptr ? static_cast<unsigned int>(text->size()) : 0u;
    char const* const p = text != nullptr ? text->c_str() : kEmptyText;
    bool const decimal = base == 10 && decimalDigitsAsUsual();
    if (decimal && readPlainInteger(p, length, allowMinus, magnitude, negative))
        return true;
    return readIntegerBytewise(p, length, base, decimal, allowMinus, magnitude, negative);
}

template <typename T>
T toUInt(std::string const* text, bool* ok, unsigned int base) {
    if (ok != nullptr)
        *ok = false;
    T value = 0;
    bool negative = false;
    if (!readInteger<T>(text, base, false, value, negative))
        return 0;
    if (ok != nullptr)
        *ok = true;
    return value;
}

// Reads a magnitude of type U, accepts it up to maxPositive (maxNegative after a "-") and
// returns it, negated after a "-", cut to the width of S.
template <typename U, typename S>
S toInt(std::string const* text, bool* ok, unsigned int base, U maxPositive, U maxNegative) {
    if (ok != nullptr)
        *ok = false;
    U magnitude = 0;
    bool negative = false;
    if (!readInteger<U>(text, base, true, magnitude, negative))
        return 0;
    // The sign picks the limit and the negation without a branch: it is as likely one way as
    // the other.
    U const negativeMask = static_cast<U>(U(0) - U(negative));
    if (magnitude > static_cast<U>(maxPositive ^ ((maxPositive ^ maxNegative) & negativeMask)))
        return 0;
    if (ok != nullptr)
        *ok = true;
    using Bits = std::make_unsigned_t<S>;
    Bits const flip = static_cast<Bits>(Bits(0) - Bits(negative));
    return static_cast<S>(static_cast<Bits>((static_cast<Bits>(magnitude) ^ flip) - flip));
}

// Finds a fixed pattern in a text, left to right, in time linear in the text. Most texts
// are served fastest by memchr on the first byte and memcmp on the rest; when failed
// comparisons have cost more than a few times the bytes passed (think "aaa...ab" in
// "aaaa..."), the search moves on to memmem, which is linear for every pattern.
class PatternSearch {
public:
    PatternSearch(char const* text, char const* pattern, std::size_t patternLength)
        : m_text(text), m_pattern(pattern), m_patternLength(patternLength) {}

    // The first occurrence that starts in [from, last], or null.
    char const* Next(char const* from, char const* last) {
        if (!m_useMemmem) {
            unsigned char const first = static_cast<unsigned char>(m_pattern[0]);
            for (char const* p = from; p <= last; ++p) {
                p = static_cast<char const*>(std::memchr(p, first, last - p + 1));
                if (p == nullptr)
                    return nullptr;
                if (std::memcmp(p + 1, m_pattern + 1, m_patternLength - 1) == 0)
                    return p;
                m_wasted += m_patternLength;
                if (m_wasted > 4 * static_cast<std::size_t>(p - m_text) + 1024) {
                    m_useMemmem = true;
                    from = p + 1;
                    break;
                }
            }
            if (!m_useMemmem)
                return nullptr;
        }
        if (from > last)
            return nullptr;
        return static_cast<char const*>(
            ::memmem(from, static_cast<std::size_t>(last - from) + m_patternLength, m_pattern,
                     m_patternLength));
    }

private:
    char const* m_text;
    char const* m_pattern;
    std::size_t m_patternLength;
    std::size_t m_wasted = 0; // upper bound of the bytes compared at failed candidates
    bool m_useMemmem = false;
};

} // namespace

String::String() = default;

String::String(char const* s) : m_pString(s != nullptr ? new std::string(s) : nullptr) {}

String::String(char const* s, unsigned int n)
    : m_pString(s != nullptr ? new std::string(s, ::strnlen(s, n)) : nullptr) {}

String::String(unsigned short const* u) {
    if (u == nullptr)
        return;
    if (u[0] == 0) {
        m_pString.reset(new std::string);
        return;
    }
    // The converter allocates nothing, so asking for one per call costs nothing.
    UnicodeToTextInfo info = nullptr;
    if (CreateUnicodeToTextInfoByEncoding(CreateTextEncoding(kTextEncodingMacRoman, 0, 0), &info) !=
        noErr)
        return;
    unsigned int n = 0;
    while (n < kMaxConvertedUnits && u[n] != 0)
        ++n;
    if (n == kMaxConvertedUnits)
        return;
    std::unique_ptr<char[]> buffer(new char[n + 1]());
    ByteCount read = 0;
    ByteCount written = 0;
    if (ConvertFromUnicodeToText(info, 2 * static_cast<ByteCount>(n), u, 0, 0, nullptr, nullptr,
                                 nullptr, n + 1, &read, &written, buffer.get()) != noErr)
        return;
    buffer[n] = '\0';
    m_pString.reset(new std::string(buffer.get()));
}

String::String(char c) : m_pString(new std::string(1, c)) {}

String::String(String const& other) = default;

String::~String() = default;

String& String::operator=(String const& other) {
    m_pString = other.m_pString;
    return *this;
}

String& String::operator=(char const* s) {
    String const value(s);
    m_pString = value.m_pString;
    return *this;
}

unsigned int String::GetLength() const {
    return m_pString.get() != nullptr ? static_cast<unsigned int>(m_pString->size()) : 0;
}

char const* String::Latin1() const {
    return m_pString.get() != nullptr ? m_pString->c_str() : kEmptyText;
}

shared_array<unsigned short> String::Unicode() const {
    char const* const bytes = Latin1();
    TextToUnicodeInfo info = nullptr;
    if (CreateTextToUnicodeInfoByEncoding(CreateTextEncoding(kTextEncodingMacRoman, 0, 0), &info) !=
        noErr)
        return shared_array<unsigned short>();
    unsigned int const n = static_cast<unsigned int>(::strnlen(bytes, kMaxConvertedUnits));
    if (n == kMaxConvertedUnits)
        return shared_array<unsigned short>();
    shared_array<unsigned short> units(new unsigned short[n + 1]);
    ByteCount read = 0;
    ByteCount written = 0;
    if (ConvertFromTextToUnicode(info, n, bytes, 0, 0, nullptr, nullptr, nullptr,
                                 2 * static_cast<ByteCount>(n), &read, &written,
                                 units.get()) != noErr)
        return shared_array<unsigned short>();
    ByteCount const produced = written / 2;
    if (produced > n)
        return shared_array<unsigned short>();
    units[static_cast<std::ptrdiff_t>(produced)] = 0;
    return units;
}

String& String::operator+=(String const& other) {
    if (other.GetLength() == 0)
        return *this;
    if (GetLength() != 0) {
        shared_ptr<std::string> joined(new std::string);
        joined->reserve(GetLength() + other.GetLength());
        joined->append(*m_pString).append(*other.m_pString);
        m_pString = joined;
    } else {
        m_pString = other.m_pString;
    }
    return *this;
}

String& String::operator+=(char c) {
    return *this += String(c);
}

String& String::Insert(unsigned int pos, String const& s) {
    unsigned int const length = GetLength();
    if (pos > length)
        pos = length;
    shared_ptr<std::string> text(new std::string);
    text->reserve(length + s.GetLength());
    text->append(Latin1(), pos).append(s.Latin1(), s.GetLength());
    text->append(Latin1() + pos, length - pos);
    m_pString = text;
    return *this;
}

void String::Truncate(unsigned int n) {
    if (m_pString.get() == nullptr || n >= GetLength())
        return;
    m_pString.reset(new std::string(*m_pString, 0, n));
}

void String::detachAndExtend(unsigned int i) {
    unsigned int const length = GetLength();
    shared_ptr<std::string> text(length != 0 ? new std::string(*m_pString) : new std::string);
    if (i >= length)
        text->resize(static_cast<std::size_t>(i) + 1, '\0');
    m_pString = text;
}

bool String::operator==(String const& other) const {
    return StringCompare(Latin1(), other.Latin1()) == 0;
}

bool String::operator==(char const* other) const {
    return other != nullptr && StringCompare(Latin1(), other) == 0;
}

bool String::operator<(String const& other) const {
    return StringCompare(Latin1(), other.Latin1()) < 0;
}

bool String::operator<(char const* other) const {
    return other != nullptr && StringCompare(Latin1(), other) < 0;
}

bool String::operator<=(String const& other) const {
    return StringCompare(Latin1(), other.Latin1()) <= 0;
}

bool String::operator<=(char const* other) const {
    return other != nullptr && StringCompare(Latin1(), other) <= 0;
}

String operator+(String const& a, String const& b) {
    String result(a);
    result += b;
    return result;
}

String operator+(String const& a, char const* b) {
    String result(a);
    result += String(b);
    return result;
}

String String::fromBytes(std::string&& bytes) {
    // Built in place: a default String and reset() would allocate and free a count first.
    return String(Adopt(), new std::string(std::move(bytes)));
}

// --- Searching ----------------------------------------------------------------------------

checked_value<unsigned int> String::Find(char c, unsigned int start, bool caseSensitive) const {
    unsigned int const length = GetLength();
    if (start >= length)
        return checked_value<unsigned int>();
    char const* const text = m_pString->data();
    unsigned char const wanted = caseSensitive ? static_cast<unsigned char>(c) : foldCase(c);
    // A byte that folding leaves alone can only match itself, so memchr does the scan.
    if (caseSensitive || static_cast<unsigned int>(wanted - 'a') >= 26u) {
        void const* const hit = std::memchr(text + start, wanted, length - start);
        if (hit == nullptr)
            return checked_value<unsigned int>();
        return static_cast<unsigned int>(static_cast<char const*>(hit) - text);
    }
    // wanted is a lower-case letter: a byte matches exactly when it equals wanted with bit 5
    // set. Blocks of 32 without a match are skipped by a loop the compiler vectorises.
    unsigned int i = start;
    for (; length - i >= 32; i += 32) {
        unsigned char const* const block = reinterpret_cast<unsigned char const*>(text) + i;
        unsigned char any = 0;
        for (int k = 0; k < 32; ++k)
            any |= static_cast<unsigned char>((block[k] | 0x20) == wanted);
        if (any != 0)
            break;
    }
    for (; i < length; ++i) {
        if ((static_cast<unsigned char>(text[i]) | 0x20) == wanted)
            return i;
    }
    return checked_value<unsigned int>();
}

checked_value<unsigned int> String::FindRev(char c, checked_value<unsigned int> const& start,
                                            bool caseSensitive) const {
    unsigned int const length = GetLength();
    if (length == 0)
        return checked_value<unsigned int>();
    unsigned int const from = start.IsSet() ? start.GetValue() : length - 1;
    if (from >= length)
        return checked_value<unsigned int>();
    char const* const text = m_pString->data();
    unsigned char const wanted = caseSensitive ? static_cast<unsigned char>(c) : foldCase(c);
    for (unsigned int i = from + 1; i-- > 0;) {
        unsigned char const b =
            caseSensitive ? static_cast<unsigned char>(text[i]) : foldCase(text[i]);
        if (b == wanted)
            return i;
    }
    return checked_value<unsigned int>();
}

namespace {

// strstr(text, pattern), faster where the pattern's first byte is rare: strchr finds each
// candidate at memchr's speed, where strstr's own scan is about half as fast. A pattern that
// keeps nearly matching could make this quadratic, so once the comparisons cost more than the
// bytes passed over, strstr (linear whatever the pattern) takes the rest.
char const* findCText(char const* text, char const* pattern) {
    char const first = pattern[0];
    if (first == '\0')
        return text;
    char const* const rest = pattern + 1;
    std::size_t compared = 0;
    for (char const* c = text; (c = std::strchr(c, first)) != nullptr; ++c) {
        // rest holds no zero byte, so the text's terminator ends a comparison as a mismatch.
        std::size_t k = 0;
        while (rest[k] != '\0' && rest[k] == c[1 + k])
            ++k;
        if (rest[k] == '\0')
            return c;
        compared += k + 1;
        if (compared > static_cast<std::size_t>(c - text) + 256)
            return std::strstr(c + 1, pattern);
    }
    return nullptr;
}

} // namespace

checked_value<unsigned int> String::Find(char const* s, unsigned int start,
                                         bool caseSensitive) const {
    unsigned int const length = GetLength();
    if (start >= length)
        return checked_value<unsigned int>();
    if (s == nullptr)
        s = kEmptyText;
    char const* const text = Latin1();
    if (caseSensitive) {
        char const* const hit = findCText(text + start, s);
        if (hit == nullptr)
            return checked_value<unsigned int>();
        return static_cast<unsigned int>(hit - text);
    }
    // Positions before start take no part, so only the tail is folded.
    std::string const haystack = lowerCopy(text + start);
    std::string const needle = lowerCopy(s);
    char const* const hit = findCText(haystack.c_str(), needle.c_str());
    if (hit == nullptr)
        return checked_value<unsigned int>();
    return start + static_cast<unsigned int>(hit - haystack.c_str());
}

bool String::BeginsWith(String const& s, bool caseSensitive) const {
    unsigned int const n = s.GetLength();
    if (n > GetLength())
        return false;
    return sameCText(Latin1(), s.Latin1(), n, caseSensitive);
}

bool String::EndsWith(String const& s, bool caseSensitive) const {
    unsigned int const n = s.GetLength();
    unsigned int const length = GetLength();
    if (n > length)
        return false;
    return sameCText(Latin1() + (length - n), s.Latin1(), n, caseSensitive);
}

// --- Pieces -------------------------------------------------------------------------------

String String::Left(unsigned int n) const {
    if (m_pString.get() == nullptr)
        return String();
    if (n >= GetLength())
        return *this;
    return fromBytes(std::string(*m_pString, 0, n));
}

String String::Right(unsigned int n) const {
    if (m_pString.get() == nullptr)
        return String();
    unsigned int const length = GetLength();
    if (n >= length)
        return *this;
    return fromBytes(std::string(*m_pString, length - n, n));
}

String String::Mid(unsigned int start, checked_value<unsigned int> const& count) const {
    unsigned int const length = GetLength();
    if (start >= length)
        return String();
    unsigned int const available = length - start;
    unsigned int const n =
        count.IsSet() && count.GetValue() < available ? count.GetValue() : available;
    if (n == length)
        return *this;
    return fromBytes(std::string(*m_pString, start, n));
}

// --- Case and white space -----------------------------------------------------------------

String String::ToUpper() const {
    if (m_pString.get() == nullptr)
        return String();
    std::string text(*m_pString);
    for (char& c : text) {
        if (static_cast<unsigned int>(static_cast<unsigned char>(c) - 'a') < 26u)
            c = static_cast<char>(c - 0x20);
    }
    return fromBytes(std::move(text));
}

String String::ToLower() const {
    if (m_pString.get() == nullptr)
        return String();
    std::string text(*m_pString);
    for (char& c : text)
        c = static_cast<char>(foldCase(c));
    return fromBytes(std::move(text));
}

String String::StripWhiteSpace() const {
    unsigned int const length = GetLength();
    if (length == 0)
        return *this;
    char const* const text = m_pString->data();
    if (!isWhite(text[0]) && !isWhite(text[length - 1]))
        return *this;
    unsigned int first = 0;
    while (first < length && isWhite(text[first]))
        ++first;
    unsigned int last = length;
    while (last > first && isWhite(text[last - 1]))
        --last;
    return fromBytes(std::string(text + first, last - first));
}

String String::SimplifyWhiteSpace() const {
    unsigned int const length = GetLength();
    if (length == 0)
        return *this;
    char const* const text = m_pString->data();
    // The host may change the character table, but not during this call: look each byte up
    // once here, so that the loop below has no branch that depends on the text.
    bool white[256];
    for (unsigned int b = 0; b < 256; ++b)
        white[b] = isWhite(static_cast<char>(b));
    // A run of white space writes one " ", which the next byte overwrites while the run goes
    // on; the run before the first word is dropped as if a run had come before it. The bytes
    // go through a small buffer, so the result is reserved once but never filled twice.
    std::string result;
    result.reserve(length);
    char out[4096];
    bool inRun = true;
    for (unsigned int done = 0; done < length;) {
        unsigned int const end = done + std::min(length - done, unsigned(sizeof out));
        unsigned int written = 0;
        for (; done < end; ++done) {
            unsigned char const b = static_cast<unsigned char>(text[done]);
            bool const isRun = white[b];
            out[written] = isRun ? ' ' : static_cast<char>(b);
            written += !(isRun && inRun);
            inRun = isRun;
        }
        result.append(out, written);
    }
    if (!result.empty() && result.back() == ' ')
        result.pop_back();
    return fromBytes(std::move(result));
}

// --- Editing ------------------------------------------------------------------------------

String String::ReplaceChar(Char const& from, Char const& to) const {
    std::string text(Latin1());
    char const f = from.Value();
    char const t = to.Value();
    for (char& c : text) {
        if (c == f)
            c = t;
    }
    return fromBytes(std::move(text));
}

String String::Replace(String const& what, String const& with) const {
    unsigned int const length = GetLength();
    unsigned int const whatLength = what.GetLength();
    if (length == 0 || whatLength == 0 || whatLength > length)
        return *this;
    char const* const text = m_pString->data();
    // Occurrences are compared as C strings are, so a zero byte inside what ends the part
    // that must match, and that zero byte itself must be matched.
    char const* const pattern = what.m_pString->data();
    std::size_t patternLength = ::strnlen(pattern, whatLength);
    if (patternLength < whatLength)
        ++patternLength;
    PatternSearch search(text, pattern, patternLength);
    char const* const lastStart = text + (length - whatLength);
    char const* hit = search.Next(text, lastStart);
    if (hit == nullptr)
        return *this;

    unsigned int const withLength = with.GetLength();
    char const* const replacement = with.Latin1();
    std::string result;
    // Enough for a result that does not grow; a growing one reallocates geometrically.
    result.reserve(withLength > whatLength ? length + (length >> 2) + withLength : length);
    char const* done = text;
    do {
        result.append(done, static_cast<std::size_t>(hit - done)).append(replacement, withLength);
        done = hit + whatLength;
    } while (done <= lastStart && (hit = search.Next(done, lastStart)) != nullptr);
    result.append(done, static_cast<std::size_t>(text + length - done));
    return fromBytes(std::move(result));
}

String& String::Remove(unsigned int start, checked_value<unsigned int> const& count) {
    unsigned int const length = GetLength();
    if (start >= length)
        return *this;
    unsigned int const n = count.IsSet() ? count.GetValue() : length;
    if (n == 0)
        return *this;
    char const* const text = m_pString->data();
    std::string kept;
    // Compared as a difference so that a huge count cannot wrap round.
    if (n < length - start) {
        kept.reserve(length - n);
        kept.append(text, start).append(text + start + n, length - start - n);
    } else {
        kept.assign(text, start);
    }
    *this = fromBytes(std::move(kept));
    return *this;
}

void String::Split(char sep, std::vector<String>& out) const {
    // out may hold this very String, so keep a share of the text before clearing it.
    String const self(*this);
    out.clear();
    unsigned int const length = self.GetLength();
    char const* const text = self.Latin1();
    char const* const end = text + length;
    std::size_t separators = 0;
    for (char const* p = text; (p = static_cast<char const*>(std::memchr(p, sep, end - p))); ++p)
        ++separators;
    if (separators == 0) {
        out.push_back(self);
        return;
    }
    out.reserve(separators + 1);
    char const* p = static_cast<char const*>(std::memchr(text, sep, length));
    out.push_back(self.Left(static_cast<unsigned int>(p - text)));
    while (true) {
        unsigned int const fieldStart = static_cast<unsigned int>(p - text) + 1;
        p = static_cast<char const*>(std::memchr(p + 1, sep, end - (p + 1)));
        if (p == nullptr) {
            out.push_back(self.Mid(fieldStart));
            return;
        }
        out.push_back(self.Mid(fieldStart, static_cast<unsigned int>(p - text) - fieldStart));
    }
}

String String::Join(String const& sep, std::vector<String> const& parts) {
    if (parts.empty())
        return String();
    if (parts.size() == 1)
        return parts.front();
    std::size_t const sepLength = sep.GetLength();
    std::size_t total = sepLength * (parts.size() - 1);
    for (String const& part : parts)
        total += part.GetLength();
    if (total == 0)
        return String();
    std::string text;
    text.reserve(total);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i != 0)
            text.append(sep.Latin1(), sepLength);
        text.append(parts[i].Latin1(), parts[i].GetLength());
    }
    return fromBytes(std::move(text));
}

// --- Number formatting --------------------------------------------------------------------

String String::Number(int value, unsigned int base) {
    return formatInteger(value, base);
}
String String::Number(long value, unsigned int base) {
    return formatInteger(value, base);
}
String String::Number(unsigned int value, unsigned int base) {
    return formatInteger(value, base);
}
String String::Number(unsigned long value, unsigned int base) {
    return formatInteger(value, base);
}
String String::Number(long long value, unsigned int base) {
    return formatInteger(value, base);
}
String String::Number(unsigned long long value, unsigned int base) {
    return formatInteger(value, base);
}

String String::Number(double value, unsigned int precision, char format) {
    return formatFloat(value, precisionOf(precision), format);
}

String String::Number(float value, unsigned int precision, char format) {
    // Adding 0.0 turns a negative zero into a positive one.
    return formatFloat(static_cast<double>(value) + 0.0, precisionOf(precision), format);
}

// --- Parsing ------------------------------------------------------------------------------

short String::ToShort(bool* ok, unsigned int base) const {
    return toInt<unsigned short, short>(m_pString.get(), ok, base, 32767, 65535);
}

unsigned short String::ToUShort(bool* ok, unsigned int base) const {
    return toUInt<unsigned short>(m_pString.get(), ok, base);
}

int String::ToInt(bool* ok, unsigned int base) const {
    return toInt<unsigned int, int>(m_pString.get(), ok, base, 2147483647u, 2147483648u);
}

unsigned int String::ToUInt(bool* ok, unsigned int base) const {
    return toUInt<unsigned int>(m_pString.get(), ok, base);
}

int64 String::ToInt64(bool* ok, unsigned int base) const {
    return toInt<unsigned long long, int32>(m_pString.get(), ok, base, 4294967295ull, 0ull);
}

uint64 String::ToUInt64(bool* ok, unsigned int base) const {
    return toUInt<unsigned long long>(m_pString.get(), ok, base);
}

double String::ToDouble(bool* ok) const {
    if (ok != nullptr)
        *ok = false;
    unsigned int const length = GetLength();
    if (length == 0)
        return 0.0;
#if defined(__cpp_lib_to_chars)
    double plain = 0.0;
    if (readPlainReal(m_pString->data(), length, plain)) {
        if (ok != nullptr)
            *ok = true;
        return plain;
    }
#endif
    std::lconv const* const conv = std::localeconv();
    char const point =
        conv != nullptr && conv->decimal_point != nullptr && conv->decimal_point[0] != '\0'
            ? conv->decimal_point[0]
            : '.';
    String copy(*this);
    if (point != '.')
        copy = copy.StripWhiteSpace().ReplaceChar('.', point);
    if (point != ',')
        copy = copy.StripWhiteSpace().ReplaceChar(',', point);
    char const* const begin = copy.Latin1();
    char* end = nullptr;
    double const value = std::strtod(begin, &end);
    // Stripped white space or an unread tail leaves fewer characters read than the text has.
    if (end == nullptr || end - begin != static_cast<std::ptrdiff_t>(length))
        return 0.0;
    if (ok != nullptr)
        *ok = true;
    return value;
}

float String::ToFloat(bool* ok) const {
    return static_cast<float>(ToDouble(ok));
}

// --- Argument substitution ----------------------------------------------------------------

String String::Arg(String const& a) const {
    unsigned int const length = GetLength();
    if (length == 0)
        return *this + a;
    char const* const text = m_pString->data();
    char const* const lastPercent = text + length - 1; // a "%" here has no digit after it
    unsigned int best = length;
    char bestDigit = '9' + 1;
    for (char const* p = text; (p = static_cast<char const*>(std::memchr(p, '%', lastPercent - p)));
         ++p) {
        char const d = p[1];
        if (d >= '0' && d < bestDigit) {
            bestDigit = d;
            best = static_cast<unsigned int>(p - text);
            if (d == '0')
                break;
        }
    }
    if (best == length)
        return *this + a;
    unsigned int const argLength = a.GetLength();
    std::string result;
    result.reserve(length - 2 + argLength);
    result.append(text, best).append(a.Latin1(), argLength);
    result.append(text + best + 2, length - best - 2);
    return fromBytes(std::move(result));
}

String String::Arg(char const* a) const {
    return Arg(String(a));
}
String String::Arg(char c) const {
    return Arg(String(c));
}
String String::Arg(Char const& c) const {
    return Arg(String(c.Value()));
}
String String::Arg(int v, unsigned int base) const {
    return Arg(formatInteger(v, base));
}
String String::Arg(long v, unsigned int base) const {
    return Arg(formatInteger(v, base));
}
String String::Arg(short v, unsigned int base) const {
    return Arg(formatInteger(static_cast<int>(v), base));
}
String String::Arg(unsigned short v, unsigned int base) const {
    return Arg(formatInteger(static_cast<int>(v), base));
}
String String::Arg(unsigned int v, unsigned int base) const {
    return Arg(formatInteger(v, base));
}
String String::Arg(unsigned long v, unsigned int base) const {
    return Arg(formatInteger(v, base));
}
String String::Arg(long long v, unsigned int base) const {
    return Arg(Number(v, base));
}
String String::Arg(unsigned long long v, unsigned int base) const {
    return Arg(Number(v, base));
}
String String::Arg(double v, unsigned int precision, char format) const {
    return Arg(Number(v, precision, format));
}
String String::Arg(float v, unsigned int precision, char format) const {
    return Arg(Number(v, precision, format));
}

namespace Util {

std::vector<String> SplitString(char sep, String const& s) {
    std::vector<String> fields;
    s.Split(sep, fields);
    return fields;
}

} // namespace Util
