// This file provides the Text Encoding Converter calls for Mac OS Roman, by table.
#include <Carbon/TextEncodingConverter.h>

#include "platform/text_codec.h"

// Converters hold no state, so one shared object of each kind serves every caller.
struct OpaqueTextToUnicodeInfo {
    TextEncoding encoding;
};
struct OpaqueUnicodeToTextInfo {
    TextEncoding encoding;
};

namespace {

OpaqueTextToUnicodeInfo g_macRomanToUnicode{kTextEncodingMacRoman};
OpaqueUnicodeToTextInfo g_unicodeToMacRoman{kTextEncodingMacRoman};

template <typename T>
void setIfGiven(T* out, T value) {
    if (out != nullptr)
        *out = value;
}

} // namespace

TextEncoding CreateTextEncoding(TextEncodingBase encodingBase, TextEncodingVariant encodingVariant,
                                TextEncodingFormat encodingFormat) {
    return (encodingBase & 0xFFFF) | ((encodingVariant & 0x3F) << 16) |
           ((encodingFormat & 0x3F) << 26);
}

OSStatus CreateTextToUnicodeInfoByEncoding(TextEncoding iEncoding,
                                           TextToUnicodeInfo* oTextToUnicodeInfo) {
    if (oTextToUnicodeInfo == nullptr)
        return paramErr;
    *oTextToUnicodeInfo = nullptr;
    if (iEncoding != kTextEncodingMacRoman)
        return kTextUnsupportedEncodingErr;
    *oTextToUnicodeInfo = &g_macRomanToUnicode;
    return noErr;
}

OSStatus CreateUnicodeToTextInfoByEncoding(TextEncoding iEncoding,
                                           UnicodeToTextInfo* oUnicodeToTextInfo) {
    if (oUnicodeToTextInfo == nullptr)
        return paramErr;
    *oUnicodeToTextInfo = nullptr;
    if (iEncoding != kTextEncodingMacRoman)
        return kTextUnsupportedEncodingErr;
    *oUnicodeToTextInfo = &g_unicodeToMacRoman;
    return noErr;
}

OSStatus DisposeTextToUnicodeInfo(TextToUnicodeInfo* ioTextToUnicodeInfo) {
    if (ioTextToUnicodeInfo == nullptr || *ioTextToUnicodeInfo == nullptr)
        return paramErr;
    *ioTextToUnicodeInfo = nullptr;
    return noErr;
}

OSStatus DisposeUnicodeToTextInfo(UnicodeToTextInfo* ioUnicodeToTextInfo) {
    if (ioUnicodeToTextInfo == nullptr || *ioUnicodeToTextInfo == nullptr)
        return paramErr;
    *ioUnicodeToTextInfo = nullptr;
    return noErr;
}

OSStatus ConvertFromTextToUnicode(TextToUnicodeInfo iTextToUnicodeInfo, ByteCount iSourceLen,
                                  ConstLogicalAddress iSourceStr, OptionBits, ItemCount,
                                  const ByteOffset[], ItemCount* oOffsetCount, ByteOffset[],
                                  ByteCount iOutputBufLen, ByteCount* oSourceRead,
                                  ByteCount* oUnicodeLen, UniChar oUnicodeStr[]) {
    setIfGiven<ItemCount>(oOffsetCount, 0);
    setIfGiven<ByteCount>(oSourceRead, 0);
    setIfGiven<ByteCount>(oUnicodeLen, 0);
    if (iTextToUnicodeInfo != &g_macRomanToUnicode ||
        (iSourceLen > 0 && (iSourceStr == nullptr || oUnicodeStr == nullptr)))
        return paramErr;
    auto const* src = static_cast<unsigned char const*>(iSourceStr);
    ByteCount const room = iOutputBufLen / sizeof(UniChar);
    ByteCount const n = iSourceLen < room ? iSourceLen : room;
    for (ByteCount i = 0; i < n; ++i)
        oUnicodeStr[i] = velmora::text::macRomanToUnit(src[i]);
    setIfGiven<ByteCount>(oSourceRead, n);
    setIfGiven<ByteCount>(oUnicodeLen, n * sizeof(UniChar));
    return n < iSourceLen ? OSStatus{kTECOutputBufferFullStatus} : OSStatus{noErr};
}

OSStatus ConvertFromUnicodeToText(UnicodeToTextInfo iUnicodeToTextInfo, ByteCount iUnicodeLen,
                                  const UniChar iUnicodeStr[], OptionBits, ItemCount,
                                  const ByteOffset[], ItemCount* oOffsetCount, ByteOffset[],
                                  ByteCount iOutputBufLen, ByteCount* oInputRead,
                                  ByteCount* oOutputLen, LogicalAddress oOutputStr) {
    setIfGiven<ItemCount>(oOffsetCount, 0);
    setIfGiven<ByteCount>(oInputRead, 0);
    setIfGiven<ByteCount>(oOutputLen, 0);
    ByteCount const units = iUnicodeLen / sizeof(UniChar);
    if (iUnicodeToTextInfo != &g_unicodeToMacRoman ||
        (units > 0 && (iUnicodeStr == nullptr || oOutputStr == nullptr)))
        return paramErr;
    auto* out = static_cast<unsigned char*>(oOutputStr);
    ByteCount i = 0;
    OSStatus status = noErr;
    for (; i < units; ++i) {
        if (i >= iOutputBufLen) {
            status = kTECOutputBufferFullStatus;
            break;
        }
        int const b = velmora::text::unitToMacRoman(iUnicodeStr[i]);
        if (b < 0) {
            status = kTECUnmappableElementErr;
            break;
        }
        out[i] = static_cast<unsigned char>(b);
    }
    setIfGiven<ByteCount>(oInputRead, i * sizeof(UniChar));
    setIfGiven<ByteCount>(oOutputLen, i);
    return status;
}
