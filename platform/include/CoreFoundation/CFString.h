/* CFString: immutable text stored as UTF-16 units. */
#pragma once

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef UInt32 CFStringEncoding;

/* The 8-bit encodings the layer converts: Mac OS Roman (Apple's table), ASCII and UTF-8.
 * A character without a form in the target encoding makes a conversion fail. */
enum {
    kCFStringEncodingMacRoman = 0,
    kCFStringEncodingASCII = 0x0600,
    kCFStringEncodingUTF8 = 0x08000100
};

CF_EXPORT CFTypeID CFStringGetTypeID(void);

/* A string from the terminated bytes cStr in the given encoding; NULL when cStr is NULL, the
 * encoding is unknown or the bytes are not valid in it. */
CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr,
                                                CFStringEncoding encoding);
/* A string of exactly numChars UTF-16 units; no terminator is needed. */
CF_EXPORT CFStringRef CFStringCreateWithCharacters(CFAllocatorRef alloc, const UniChar* chars,
                                                   CFIndex numChars);

/* Number of UTF-16 units. */
CF_EXPORT CFIndex CFStringGetLength(CFStringRef theString);
CF_EXPORT UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx);
CF_EXPORT void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer);

/* Writes the string and a terminator into buffer; false (buffer untouched beyond the first
 * byte) when a character has no form in the encoding or the result does not fit. */
CF_EXPORT Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                                     CFStringEncoding encoding);
/* Bytes needed for the string in encoding, without the terminator, at worst. */
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

/* The string's Pascal form if the string keeps one internally, else NULL. Strings made from
 * 8-bit Mac Roman text of at most 255 bytes keep one. */
CF_EXPORT ConstStringPtr CFStringGetPascalStringPtr(CFStringRef theString,
                                                    CFStringEncoding encoding);
/* Writes a length byte and the text into buffer (bufferSize bytes at most). */
CF_EXPORT Boolean CFStringGetPascalString(CFStringRef theString, StringPtr buffer,
                                          CFIndex bufferSize, CFStringEncoding encoding);

/* Backs CFSTR: one immortal string per distinct UTF-8 literal, shared by the whole process. */
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char* cStr);

#define CFSTR(cStr) __CFStringMakeConstantString("" cStr "")

CF_EXTERN_C_END
