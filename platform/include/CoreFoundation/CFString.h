/// \file
/// CFString: immutable text stored as UTF-16 units.
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef UInt32 CFStringEncoding; ///< An 8-bit encoding the layer converts.

/// The 8-bit encodings the layer converts: Mac OS Roman (Apple's table), ASCII and UTF-8.
/// A character without a form in the target encoding makes a conversion fail; any other
/// encoding fails every conversion.
enum {
    kCFStringEncodingMacRoman = 0,     ///< Mac OS Roman: every byte is a character.
    kCFStringEncodingASCII = 0x0600,   ///< 7-bit ASCII: bytes from 0x80 up are invalid.
    kCFStringEncodingUTF8 = 0x08000100 ///< UTF-8, strictly: no overlong forms or surrogates.
};

/// The type of every CFString.
CF_EXPORT CFTypeID CFStringGetTypeID(void);

/// A string from the terminated bytes cStr in the given encoding; NULL when cStr is NULL, the
/// encoding is unknown or the bytes are not valid in it.
CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr,
                                                CFStringEncoding encoding);
/// A string of exactly numChars UTF-16 units; no terminator is needed. Unpaired surrogates
/// are kept.
CF_EXPORT CFStringRef CFStringCreateWithCharacters(CFAllocatorRef alloc, const UniChar* chars,
                                                   CFIndex numChars);

/// Number of UTF-16 units; 0 for NULL or another type.
CF_EXPORT CFIndex CFStringGetLength(CFStringRef theString);
/// The unit at idx; 0 when idx is outside the string (the Mac crashes).
CF_EXPORT UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx);
/// Copies the units of range into buffer; a range outside the string copies nothing.
CF_EXPORT void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer);

/// Writes the string and a terminator into buffer; false (buffer untouched beyond the first
/// byte) when a character has no form in the encoding or the result does not fit.
CF_EXPORT Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                                     CFStringEncoding encoding);
/// Bytes needed for the string in encoding, without the terminator, at worst: length for Mac
/// Roman and ASCII, 3 * length for UTF-8, -1 for another encoding.
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

/// The string's Pascal form if the string keeps one internally, else NULL. Strings made from
/// 8-bit Mac Roman text of at most 255 bytes keep one, as do CFSTR strings whose text Mac
/// Roman can hold in 255 bytes; other encodings answer NULL.
CF_EXPORT ConstStringPtr CFStringGetPascalStringPtr(CFStringRef theString,
                                                    CFStringEncoding encoding);
/// Writes a length byte and the text into buffer (bufferSize bytes at most); false when a
/// character has no form in the encoding, the text is over 255 bytes or does not fit.
CF_EXPORT Boolean CFStringGetPascalString(CFStringRef theString, StringPtr buffer,
                                          CFIndex bufferSize, CFStringEncoding encoding);

/// Backs CFSTR: one immortal string per distinct UTF-8 literal, shared by the whole process.
/// Bytes that are not UTF-8 are read as Mac Roman.
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char* cStr);

/// A constant string from a literal: `CFSTR("Lang")`. Each use calls
/// __CFStringMakeConstantString at run time (the Mac's compiler builds the string), so in C a
/// CFSTR cannot initialise static data.
#define CFSTR(cStr) __CFStringMakeConstantString("" cStr "")

CF_EXTERN_C_END
