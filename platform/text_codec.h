// Character conversions shared by CFString and the Text Encoding Converter: Mac OS Roman by
// Apple's table, ASCII and UTF-8, all to and from UTF-16.
#pragma once

#include <cstddef>
#include <string>

namespace velmora::text {

// The UTF-16 unit of a Mac Roman byte (every byte has one).
char16_t macRomanToUnit(unsigned char byte);
// The Mac Roman byte of a UTF-16 unit, or -1 when Mac Roman has no such character.
int unitToMacRoman(char16_t unit);

// Appends the UTF-16 form of n UTF-8 bytes; false on malformed input (overlong forms,
// encoded surrogates, values above U+10FFFF, cut sequences).
bool utf8ToUtf16(char const* bytes, std::size_t n, std::u16string& out);
// Appends the UTF-8 form of n units; false on an unpaired surrogate.
bool utf16ToUtf8(char16_t const* units, std::size_t n, std::string& out);

} // namespace velmora::text
