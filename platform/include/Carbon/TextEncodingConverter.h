/* Text Encoding Converter: conversions between 8-bit Mac OS Roman text and UTF-16.
 *
 * Only the Mac Roman base encoding exists here, mapped one character to one UTF-16 unit by
 * Apple's table (0x8E <-> U+00E9, 0xDB <-> U+20AC, 0xF0 <-> U+F8FF). There is no loose
 * mapping: a character outside the table fails the conversion. */
#pragma once

#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef UInt32 TextEncoding;
typedef UInt32 TextEncodingBase;
typedef UInt32 TextEncodingVariant;
typedef UInt32 TextEncodingFormat;

typedef struct OpaqueTextToUnicodeInfo* TextToUnicodeInfo;
typedef struct OpaqueUnicodeToTextInfo* UnicodeToTextInfo;

enum { kTextEncodingMacRoman = 0, kTextEncodingDefaultVariant = 0, kTextEncodingDefaultFormat = 0 };

enum {
    kTextUnsupportedEncodingErr = -8738,
    kTextMalformedInputErr = -8739,
    kTECUnmappableElementErr = -8754,
    kTECOutputBufferFullStatus = -8785
};

#define TEC_EXPORT __attribute__((visibility("default")))

/* Packs base, variant and format into one encoding value. */
TEC_EXPORT TextEncoding CreateTextEncoding(TextEncodingBase encodingBase,
                                           TextEncodingVariant encodingVariant,
                                           TextEncodingFormat encodingFormat);

/* Converters are stateless and shared: creating one allocates nothing, and disposing of one
 * only clears the caller's reference. Encodings other than Mac Roman are unsupported. */
TEC_EXPORT OSStatus CreateTextToUnicodeInfoByEncoding(TextEncoding iEncoding,
                                                      TextToUnicodeInfo* oTextToUnicodeInfo);
TEC_EXPORT OSStatus CreateUnicodeToTextInfoByEncoding(TextEncoding iEncoding,
                                                      UnicodeToTextInfo* oUnicodeToTextInfo);
TEC_EXPORT OSStatus DisposeTextToUnicodeInfo(TextToUnicodeInfo* ioTextToUnicodeInfo);
TEC_EXPORT OSStatus DisposeUnicodeToTextInfo(UnicodeToTextInfo* ioUnicodeToTextInfo);

/* Converts iSourceLen bytes into UTF-16. iOutputBufLen and *oUnicodeLen count bytes. When the
 * output does not fit, the part that fits is written and kTECOutputBufferFullStatus returned.
 * Offset arrays are not supported (offset counts come back 0). */
TEC_EXPORT OSStatus ConvertFromTextToUnicode(TextToUnicodeInfo iTextToUnicodeInfo,
                                             ByteCount iSourceLen, ConstLogicalAddress iSourceStr,
                                             OptionBits iControlFlags, ItemCount iOffsetCount,
                                             const ByteOffset iOffsetArray[],
                                             ItemCount* oOffsetCount, ByteOffset oOffsetArray[],
                                             ByteCount iOutputBufLen, ByteCount* oSourceRead,
                                             ByteCount* oUnicodeLen, UniChar oUnicodeStr[]);

/* Converts iUnicodeLen bytes of UTF-16 into Mac Roman. A unit without a Mac Roman form stops
 * the conversion with kTECUnmappableElementErr. */
TEC_EXPORT OSStatus ConvertFromUnicodeToText(UnicodeToTextInfo iUnicodeToTextInfo,
                                             ByteCount iUnicodeLen, const UniChar iUnicodeStr[],
                                             OptionBits iControlFlags, ItemCount iOffsetCount,
                                             const ByteOffset iOffsetArray[],
                                             ItemCount* oOffsetCount, ByteOffset oOffsetArray[],
                                             ByteCount iOutputBufLen, ByteCount* oInputRead,
                                             ByteCount* oOutputLen, LogicalAddress oOutputStr);

#ifdef __cplusplus
}
#endif
