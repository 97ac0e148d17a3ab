// String: the library's text value.
//
// A String holds 8-bit Mac OS Roman text and shares it between copies: copying a String costs
// two pointers and one increment, and a shared text is never changed in place (copy on
// write). A String with no text and one with an empty text are both empty and behave alike.
// Share counts are not atomic, so a String and its copies stay on one thread.
#pragma once

#include "common/common_char.h"
#include "common/common_checked_types.h"
#include "common/common_smart_ptr.h"
#include "common/common_types.h"

#include <string>

class String {
public:
    // Empty, with no text.
    String();
    // The bytes of s up to its terminator; null s gives no text, "" an empty text.
    String(char const* s);
    // At most n bytes of s, stopping early at a zero byte: String("abc", 2) is "ab".
    String(char const* s, unsigned int n);
    // UTF-16 up to its terminator, converted to Mac Roman. A character Mac Roman cannot hold,
    // or no terminator in the first 100,000 units, gives an empty String.
    String(unsigned short const* u);
    // Exactly one byte, also for 0: String('\0').GetLength() is 1.
    String(char c);
    // Shares other's text.
    String(String const& other);
    ~String();

    String& operator=(String const& other);
    // Builds String(s) and shares it; safe when s points into this String.
    String& operator=(char const* s);

    // Number of bytes; 0 for no text.
    unsigned int GetLength() const;
    // The terminated bytes; never null (a static "" for no text). Valid while the text lives.
    char const* Latin1() const;
    // A terminated UTF-16 copy. Null when there are 100,000 bytes or more before the
    // terminator; an empty String gives just the terminator.
    shared_array<unsigned short> Unicode() const;

    // Appends other. Appending to an empty String shares other's text.
    String& operator+=(String const& other);
    String& operator+=(char c);

    // Puts s before byte pos (at the end when pos is past it): "ab".Insert(0, "x") is "xab".
    String& Insert(unsigned int pos, String const& s);
    // Keeps the first n bytes; n at or past the length changes nothing. Other sharers keep
    // the old text.
    void Truncate(unsigned int n);

    // Makes the text private and longer than i before a byte is written at i. A shared text
    // is copied; a text that ends at or before i is lengthened with zero bytes to i + 1.
    void detachAndExtend(unsigned int i);

    // Byte-wise comparison of the terminated texts (strcmp order, case-sensitive). Against a
    // null char const*, all three are false.
    bool operator==(String const& other) const;
    bool operator==(char const* other) const;
    bool operator!=(String const& other) const { return !(*this == other); }
    bool operator!=(char const* other) const { return !(*this == other); }
    bool operator<(String const& other) const;
    bool operator<(char const* other) const;
    bool operator<=(String const& other) const;
    bool operator<=(char const* other) const;

private:
    shared_ptr<std::string> m_pString;
};

String operator+(String const& a, String const& b);
String operator+(String const& a, char const* b);
