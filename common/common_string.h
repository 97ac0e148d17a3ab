/// \file
/// String: the library's text value.
#pragma once

#include "common/common_char.h"
#include "common/common_checked_types.h"
#include "common/common_smart_ptr.h"
#include "common/common_types.h"

#include <string>
#include <vector>

/// The library's text value: 8-bit Mac OS Roman text, shared between copies.
///
/// Copying a String costs two pointers and one increment, and a shared text is never changed
/// in place (copy on write). A String with no text and one with an empty text are both empty
/// and behave alike. Share counts are not atomic, so a String and its copies stay on one
/// thread.
///
///     String s("%1 of %2");
///     s.Arg("a").Arg(2)             // "a of 2"
///     String("a,,b").Split(',', v)  // v holds "a", "", "b"
class String {
public:
    /// Empty, with no text.
    String();
    /// The bytes of s up to its terminator; null s gives no text, "" an empty text.
    String(char const* s);
    /// At most n bytes of s, stopping early at a zero byte: `String("abc", 2)` is "ab"; null s
    /// gives no text.
    String(char const* s, unsigned int n);
    /// UTF-16 up to its terminator, converted to Mac Roman: U+00E9 gives the byte 0x8E. A
    /// character Mac Roman cannot hold, or no terminator in the first 100,000 units, gives an
    /// empty String; null u gives no text.
    String(unsigned short const* u);
    /// Exactly one byte, also for 0: ``String('\0').GetLength()`` is 1.
    String(char c);
    /// Shares other's text.
    String(String const& other);
    /// Lets go of the text; the last sharer frees it.
    ~String();

    /// Shares other's text.
    String& operator=(String const& other);
    /// Builds String(s) and shares it; safe when s points into this String.
    String& operator=(char const* s);

    /// Number of bytes; 0 for no text. `String("abc").GetLength()` is 3.
    unsigned int GetLength() const;
    /// The terminated bytes; never null (a static "" for no text). Valid while the text lives.
    char const* Latin1() const;
    /// A terminated UTF-16 copy, converted from Mac Roman (every byte has a character): the
    /// byte 0x8E gives U+00E9. Null when there are 100,000 bytes or more before the
    /// terminator; an empty String gives just the terminator.
    shared_array<unsigned short> Unicode() const;

    /// Appends other. Appending to an empty String shares other's text.
    /// `String("ab") += "c"` is "abc".
    String& operator+=(String const& other);
    /// Appends the byte c, also 0.
    String& operator+=(char c);

    /// Puts s before byte pos (at the end when pos is past it): `"ab".Insert(0, "x")` is
    /// "xab", `"ab".Insert(9, "x")` is "abx".
    String& Insert(unsigned int pos, String const& s);
    /// Keeps the first n bytes; n at or past the length changes nothing. Other sharers keep
    /// the old text. "abc" truncated to 1 is "a".
    void Truncate(unsigned int n);

    /// Makes the text private and longer than i before a byte is written at i. A shared text
    /// is copied; a text that ends at or before i is lengthened with zero bytes to i + 1:
    /// "ab" extended for i = 3 is "ab", 0, 0 (length 4).
    void detachAndExtend(unsigned int i);

    /// \name Comparison
    /// Byte-wise comparison of the terminated texts (strcmp order, case-sensitive).
    ///@{

    /// Compares the texts up to their first zero byte, as strcmp does with unsigned bytes:
    /// "abc" equals "abc", "B" is below "a", "ab" below "abc", and no text equals "". Against
    /// a null `char const*`, ==, < and <= are false (so != is true).
    bool operator==(String const& other) const;
    bool operator==(char const* other) const;
    bool operator!=(String const& other) const { return !(*this == other); }
    bool operator!=(char const* other) const { return !(*this == other); }
    bool operator<(String const& other) const;
    bool operator<(char const* other) const;
    bool operator<=(String const& other) const;
    bool operator<=(char const* other) const;
    ///@}

    /// \name Searching
    /// Positions are byte offsets; an unset result means "not found". Case-insensitive work
    /// folds ASCII letters only: "A".."Z" match "a".."z", but the Mac Roman letters 0xCB (A
    /// grave) and 0x88 (a grave) stay different.
    ///@{

    /// First position at or after start holding c; unset when start is not below the length.
    /// ``"abca".Find('a', 1, true)`` is 3; ``"abc".Find('A', 0, false)`` is 0.
    checked_value<unsigned int> Find(char c, unsigned int start = 0,
                                     bool caseSensitive = true) const;
    /// Last position at or before start holding c; an unset start means the last byte. A start
    /// at or past the end is not clamped but gives unset, on purpose: ``"abca".FindRev('a')``
    /// is 3, with start 2 it is 0, with start 4 it is unset.
    checked_value<unsigned int>
    FindRev(char c, checked_value<unsigned int> const& start = checked_value<unsigned int>(),
            bool caseSensitive = true) const;
    /// First position at or after start where s begins. Both texts end at their first zero
    /// byte. An empty (or null) s is found at start, provided start is below the length:
    /// `"abc".Find("", 2, true)` is 2, `"ab".Find("", 2, true)` is unset,
    /// `"aXbx".Find("x", 0, false)` is 1.
    checked_value<unsigned int> Find(char const* s, unsigned int start = 0,
                                     bool caseSensitive = true) const;

    /// True when the text starts with s; an empty s always matches.
    /// `"abc".BeginsWith("AB", false)` is true, `"abc".BeginsWith("abcd", true)` false.
    bool BeginsWith(String const& s, bool caseSensitive = true) const;
    /// True when the text ends with s; an empty s always matches. `"abc".EndsWith("bc")` is
    /// true.
    bool EndsWith(String const& s, bool caseSensitive = true) const;
    ///@}

    /// \name Pieces
    /// A piece equal to the whole text shares it; a String with no text gives no text.
    ///@{

    /// The first n bytes (all when n is past the end): `"abc".Left(2)` is "ab".
    String Left(unsigned int n) const;
    /// The last n bytes (all when n is past the end): `"abc".Right(10)` is "abc".
    String Right(unsigned int n) const;
    /// count bytes from start, fewer when the text ends first; unset count means to the end.
    /// A start at or past the end gives no text: `"abc".Mid(1, 10)` is "bc", `"abc".Mid(3)` "".
    String Mid(unsigned int start,
               checked_value<unsigned int> const& count = checked_value<unsigned int>()) const;
    ///@}

    /// \name Case and white space
    /// White space is what Char::IsSpace says: 0x09..0x0D, " " and 0xA0. 0xA0 is the Latin-1
    /// no-break space, which is the dagger in Mac Roman text; the Mac Roman no-break space 0xCA
    /// is not white space.
    ///@{

    /// A private copy with "a".."z" made upper case, other bytes untouched (0x88, a grave in
    /// Mac Roman, stays as it is):
    ///
    ///     String("a\x88z").ToUpper()   // "A\x88Z"
    String ToUpper() const;
    /// A private copy with "A".."Z" made lower case, other bytes untouched:
    /// `"AbC".ToLower()` is "abc".
    String ToLower() const;
    /// White space removed at both ends; "   " gives "":
    ///
    ///     String("\t a b \xA0").StripWhiteSpace()   // "a b"
    String StripWhiteSpace() const;
    /// Ends stripped and every inner run of white space made one " ":
    ///
    ///     String("  a \t\n b  ").SimplifyWhiteSpace()   // "a b"
    String SimplifyWhiteSpace() const;
    ///@}

    /// \name Editing
    ///@{

    /// Every byte equal to from becomes to. The result ends at the text's first zero byte.
    /// ``"a.b.c".ReplaceChar('.', ',')`` is "a,b,c".
    String ReplaceChar(Char const& from, Char const& to) const;
    /// Every occurrence of what, left to right and without overlap, becomes with; text brought
    /// in by with is not searched again. An empty what changes nothing.
    /// `"aaa".Replace("aa", "b")` is "ba", `"ab".Replace("a", "aa")` is "aab".
    String Replace(String const& what, String const& with) const;
    /// Deletes count bytes from start (unset count: to the end) and returns this String.
    /// A start at or past the end, or a count of 0, changes nothing; a count past the end
    /// removes to the end. `"abc".Remove(1, 1)` leaves "ac", `"abc".Remove(1)` leaves "a".
    String& Remove(unsigned int start,
                   checked_value<unsigned int> const& count = checked_value<unsigned int>());

    /// Replaces out with the fields between the sep bytes. Empty fields are kept on purpose,
    /// also at either end, so Join with the same separator gives the text back:
    /// ``Split(',')`` of "a,,b" gives "a", "", "b"; of "a,b," gives "a", "b", ""; "" gives
    /// one empty field.
    void Split(char sep, std::vector<String>& out) const;
    /// The parts with sep between neighbours: `Join(", ", {"a", "b"})` is "a, b"; no parts
    /// give "".
    static String Join(String const& sep, std::vector<String> const& parts);
    ///@}

    /// \name Number formatting
    /// Integers in any base 2..36 and floating point through printf.
    ///@{

    /// Writes value with the digits "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ" in any base 2..36
    /// (another base means 10), a negative value as "-" and its magnitude:
    /// `Number(255u, 16)` is "FF", `Number(-1, 16)` "-1", `Number(5, 2)` "101",
    /// `Number(7, 99)` "7".
    ///
    /// int, long, unsigned int and unsigned long all follow this rule. long and unsigned long
    /// are 64 bits wide on 64-bit Linux; they follow it over their full value, and give the
    /// same text as the int forms for values that fit in 32 bits. int64 and uint64 are long
    /// and unsigned long there, so they follow this rule too (on 32-bit CPUs they are long
    /// long and unsigned long long, whose rule follows).
    static String Number(int value, unsigned int base = 10);
    static String Number(long value, unsigned int base = 10);
    static String Number(unsigned int value, unsigned int base = 10);
    static String Number(unsigned long value, unsigned int base = 10);
    /// Different from the other integer forms on purpose: base 16 prints printf's "%llX" (the
    /// two's-complement bits of a negative value: `Number(-1LL, 16)` is "FFFFFFFFFFFFFFFF")
    /// and every other base prints decimal: `Number(255LL, 2)` is "255".
    static String Number(long long value, unsigned int base = 10);
    /// As the long long form: base 16 prints "%llX", every other base decimal:
    /// `Number(255ULL, 16)` is "FF", `Number(255ULL, 2)` is "255".
    static String Number(unsigned long long value, unsigned int base = 10);

    /// Floating point through printf in the current C locale (so the decimal point may be
    /// ","). format is one of f F e E g G (anything else means 'f'); precision is clamped to
    /// 99, and 0xFFFFFFFF means printf's default of six digits.
    /// ``Number(1.5, 2, 'f')`` is "1.50"; ``Number(1.5, 0xFFFFFFFF, 'f')`` is "1.500000".
    static String Number(double value, unsigned int precision = 0xFFFFFFFF, char format = 'f');
    /// As the double form, except that the value has 0.0 added first, so a negative zero
    /// float prints as "0.000000" where a negative zero double prints "-0.000000". The
    /// difference is intended.
    static String Number(float value, unsigned int precision = 0xFFFFFFFF, char format = 'f');
    ///@}

    /// \name Parsing
    /// Every parser sets *ok (when ok is not null) to true only if it accepted the whole
    /// text, and returns 0 for a rejected one. Integers: optional white space, an optional
    /// sign ("+" for every parser, "-" only for the signed ones), digits of base 2..36 in
    /// either case ("a" and "A" are 10), optional white space; no radix prefix. " -12 " gives
    /// -12; "0x1F" in base 16, "12abc" and "1 2" are rejected; "ff" and "FF" in base 16 give
    /// 255.
    ///@{

    /// Accepts 0..32767 without a sign, and with "-" any magnitude up to 65535, the result
    /// being cut to 16 bits on purpose: "-32768" gives -32768, "-40000" gives 25536.
    short ToShort(bool* ok = nullptr, unsigned int base = 10) const;
    /// 0..65535: "65536" is rejected.
    unsigned short ToUShort(bool* ok = nullptr, unsigned int base = 10) const;
    /// -2147483648..2147483647: "2147483648" is rejected.
    int ToInt(bool* ok = nullptr, unsigned int base = 10) const;
    /// 0..4294967295; "-1" is rejected.
    unsigned int ToUInt(bool* ok = nullptr, unsigned int base = 10) const;
    /// Deliberately narrow: accepts magnitudes up to 4294967295 without a sign and only "-0"
    /// with one ("-1" is rejected), and returns the low 32 bits read as a signed 32-bit
    /// number: "2147483648" gives -2147483648, "3000000000" gives -1294967296.
    int64 ToInt64(bool* ok = nullptr, unsigned int base = 10) const;
    /// 0..18446744073709551615: "18446744073709551616" is rejected.
    uint64 ToUInt64(bool* ok = nullptr, unsigned int base = 10) const;
    /// Decimal floating point as strtod reads it in the current C locale, with both "." and
    /// "," taken as the decimal point: "1,5" and "1.5" give 1.5, "1e3" gives 1000. The whole
    /// text must be the number: " 1.5" and "" are rejected.
    double ToDouble(bool* ok = nullptr) const;
    /// ToDouble narrowed to float.
    float ToFloat(bool* ok = nullptr) const;
    ///@}

    /// \name Argument substitution
    /// Arg returns a copy in which one placeholder, the "%0".."%9" with the lowest digit (the
    /// leftmost of equals), is replaced by the argument's text; the others are left for later
    /// calls. Only one digit is read: "%12" is "%1" followed by "2". With no placeholder the
    /// argument is appended directly, on purpose (message code relies on it).
    ///@{

    /// Replaces the lowest placeholder with a (a C string, a byte or a Char for the forms
    /// below):
    ///
    ///     String("%1 of %2").Arg("a").Arg("b")   // "a of b"
    ///     String("%2 %1").Arg("x")               // "%2 x"
    ///     String("%1%1").Arg("x")                // "x%1"
    ///     String("abc").Arg("x")                 // "abcx"
    ///     String("100%").Arg("x")                // "100%x"
    String Arg(String const& a) const;
    String Arg(char const* a) const;
    String Arg(char c) const;
    String Arg(Char const& c) const;
    ///@}

    /// \name Argument substitution with numbers
    /// The number's text, as Number writes it, replaces the lowest placeholder as Arg(String)
    /// does.
    ///@{

    /// The number written as Number writes it; short and unsigned short are widened to int
    /// first: `String("[%1]").Arg(255, 16)` is "[FF]", ``String("%1").Arg(1.5, 2, 'f')`` is
    /// "1.50".
    String Arg(int v, unsigned int base = 10) const;
    String Arg(long v, unsigned int base = 10) const;
    String Arg(short v, unsigned int base = 10) const;
    String Arg(unsigned short v, unsigned int base = 10) const;
    String Arg(unsigned int v, unsigned int base = 10) const;
    String Arg(unsigned long v, unsigned int base = 10) const;
    String Arg(long long v, unsigned int base = 10) const;
    String Arg(unsigned long long v, unsigned int base = 10) const;
    String Arg(double v, unsigned int precision = 0xFFFFFFFF, char format = 'f') const;
    String Arg(float v, unsigned int precision = 0xFFFFFFFF, char format = 'f') const;
    ///@}

private:
    struct Adopt {};
    // Owns text (from new) with a count of its own, allocating nothing more.
    String(Adopt, std::string* text) : m_pString(text) {}
    // A String owning exactly these bytes.
    static String fromBytes(std::string&& bytes);

    shared_ptr<std::string> m_pString;
};

/// \name Concatenation
///@{

/// A new String of a followed by b: `String("ab") + "c"` is "abc".
String operator+(String const& a, String const& b);
String operator+(String const& a, char const* b);
///@}

namespace Util {

/// The fields of s between the sep bytes, as String::Split gives them:
/// ``SplitString(',', "a,b,")`` is "a", "b", "".
std::vector<String> SplitString(char sep, String const& s);

} // namespace Util
