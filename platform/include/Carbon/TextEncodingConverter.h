/// \file
/// Text Encoding Converter: conversions between 8-bit Mac OS Roman text and UTF-16.
///
/// Only the Mac Roman base encoding exists here, mapped one character to one UTF-16 unit by
/// Apple's table (0x8E <-> U+00E9, 0xDB <-> U+20AC, 0xF0 <-> U+F8FF). There is no loose
/// mapping: a character outside the table fails the conversion.
#pragma once

#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef UInt32 TextEncoding;        ///< Base, variant and format packed by CreateTextEncoding.
typedef UInt32 TextEncodingBase;    ///< The base encoding: kTextEncodingMacRoman only.
typedef UInt32 TextEncodingVariant; ///< The variant: kTextEncodingDefaultVariant.
typedef UInt32 TextEncodingFormat;  ///< The format: kTextEncodingDefaultFormat.

typedef struct OpaqueTextToUnicodeInfo* TextToUnicodeInfo; ///< A Mac Roman to UTF-16 converter.
typedef struct OpaqueUnicodeToTextInfo* UnicodeToTextInfo; ///< A UTF-16 to Mac Roman converter.

/// The encoding values the layer knows.
enum {
    kTextEncodingMacRoman = 0,       ///< Mac OS Roman, the only base encoding.
    kTextEncodingDefaultVariant = 0, ///< The base encoding's default variant.
    kTextEncodingDefaultFormat = 0   ///< The default format.
};

/// Result codes of the converter.
enum {
    kTextUnsupportedEncodingErr = -8738, ///< An encoding other than Mac Roman.
    kTextMalformedInputErr = -8739,      ///< Declared only; never returned.
    kTECUnmappableElementErr = -8754,    ///< A unit without a Mac Roman form.
    kTECOutputBufferFullStatus = -8785   ///< The output did not fit; the part that fit is written.
};

/// Exports a converter function from the platform library.
#define TEC_EXPORT __attribute__((visibility("default")))

/// Packs base, variant and format into one encoding value: base in bits 0..15, variant in
/// 16..21, format in 26..31. `CreateTextEncoding(kTextEncodingMacRoman, 0, 0)` is 0.
TEC_EXPORT TextEncoding CreateTextEncoding(TextEncodingBase encodingBase,
                                           TextEncodingVariant encodingVariant,
                                           TextEncodingFormat encodingFormat);

/// \name Converters
/// Converters are stateless and shared: creating one allocates nothing, and disposing of one
/// only clears the caller's reference. Encodings other than Mac Roman are unsupported.
///@{

/// Stores the shared Mac Roman to UTF-16 converter: noErr; kTextUnsupportedEncodingErr (and
/// NULL) for another encoding; paramErr for a NULL destination.
TEC_EXPORT OSStatus CreateTextToUnicodeInfoByEncoding(TextEncoding iEncoding,
                                                      TextToUnicodeInfo* oTextToUnicodeInfo);
/// Stores the shared UTF-16 to Mac Roman converter, with the results of the form above.
TEC_EXPORT OSStatus CreateUnicodeToTextInfoByEncoding(TextEncoding iEncoding,
                                                      UnicodeToTextInfo* oUnicodeToTextInfo);
/// Clears the caller's reference: noErr; paramErr when it is already NULL.
TEC_EXPORT OSStatus DisposeTextToUnicodeInfo(TextToUnicodeInfo* ioTextToUnicodeInfo);
/// Clears the caller's reference: noErr; paramErr when it is already NULL.
TEC_EXPORT OSStatus DisposeUnicodeToTextInfo(UnicodeToTextInfo* ioUnicodeToTextInfo);
///@}

/// Converts iSourceLen bytes into UTF-16. iOutputBufLen and `*oUnicodeLen` count bytes. When
/// the output does not fit, the part that fits is written and kTECOutputBufferFullStatus
/// returned. Control flags are ignored and offset arrays are not supported (offset counts come
/// back 0). paramErr for a converter not made here or a missing buffer.
TEC_EXPORT OSStatus ConvertFromTextToUnicode(TextToUnicodeInfo iTextToUnicodeInfo,
                                             ByteCount iSourceLen, ConstLogicalAddress iSourceStr,
                                             OptionBits iControlFlags, ItemCount iOffsetCount,
                                             const ByteOffset iOffsetArray[],
                                             ItemCount* oOffsetCount, ByteOffset oOffsetArray[],
                                             ByteCount iOutputBufLen, ByteCount* oSourceRead,
                                             ByteCount* oUnicodeLen, UniChar oUnicodeStr[]);

/// Converts iUnicodeLen bytes of UTF-16 into Mac Roman. A unit without a Mac Roman form stops
/// the conversion with kTECUnmappableElementErr, the units before it converted; output that
/// does not fit stops it with kTECOutputBufferFullStatus. Control flags and offsets as above.
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
