// Mac Roman and UTF-16 in both directions: String, Util::CFString and the Text Encoding
// Converter. Input: two bytes that size the converters' output buffers (n/128 of what the
// text needs), one that picks the encoding asked for, then the text, read both as Mac Roman
// bytes and as little-endian UTF-16 units.
//
// Every Mac Roman text must come back unchanged through UTF-16; UTF-16 made only of characters
// Mac Roman has must come back unchanged through Mac Roman; anything else must fail cleanly.
#include "Util/CFString.h"
#include "common/common_string.h"
#include "fuzz/fuzz_support.h"

#include <Carbon/TextEncodingConverter.h>
#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

std::string bytes(String const& s) {
    return std::string(s.Latin1(), s.GetLength());
}

// The converter's own table, read forwards one byte at a time; every byte must have a unit of
// its own, or no text could come back unchanged.
std::map<UniChar, unsigned char> const& romanOf() {
    static std::map<UniChar, unsigned char> const table = [] {
        std::map<UniChar, unsigned char> t;
        TextToUnicodeInfo info = nullptr;
        FUZZ_CHECK(CreateTextToUnicodeInfoByEncoding(kTextEncodingMacRoman, &info) == noErr);
        for (unsigned b = 0; b < 256; ++b) {
            unsigned char const byte = static_cast<unsigned char>(b);
            UniChar unit = 0;
            ByteCount read = 0, written = 0;
            FUZZ_CHECK(ConvertFromTextToUnicode(info, 1, &byte, 0, 0, nullptr, nullptr, nullptr,
                                                sizeof unit, &read, &written, &unit) == noErr);
            FUZZ_CHECK(read == 1 && written == 2 && (b >= 0x80 || unit == b));
            t.emplace(unit, byte);
        }
        FUZZ_CHECK(t.size() == 256);
        return t;
    }();
    return table;
}

// A buffer of exactly n bytes, so that the sanitizers catch a write past it.
std::unique_ptr<unsigned char[]> exactly(std::size_t n) {
    return std::unique_ptr<unsigned char[]>(new unsigned char[n]);
}

ByteCount scaled(std::size_t needed, std::uint8_t n) {
    return static_cast<ByteCount>(needed * n / 128);
}

void checkRomanText(std::string const& roman, std::uint8_t outSize) {
    String const s(roman.c_str());
    shared_array<unsigned short> const u = s.Unicode();
    FUZZ_CHECK(u.get() != nullptr);
    std::vector<UniChar> units;
    for (std::size_t i = 0; i < roman.size(); ++i) {
        auto const it = romanOf().find(u[i]);
        FUZZ_CHECK(it != romanOf().end() && it->second == static_cast<unsigned char>(roman[i]));
        units.push_back(u[i]);
    }
    FUZZ_CHECK(u[roman.size()] == 0);
    FUZZ_CHECK(bytes(String(u.get())) == roman);

    {
        Util::CFString const c(roman.c_str(), Util::CFString::RELEASE);
        FUZZ_CHECK(c.Get() != nullptr);
        FUZZ_CHECK(CFStringGetLength(c.Get()) == static_cast<CFIndex>(roman.size()));
        FUZZ_CHECK(bytes(c.ToString()) == roman);
        for (std::size_t i = 0; i < roman.size(); ++i)
            FUZZ_CHECK(CFStringGetCharacterAtIndex(c.Get(), static_cast<CFIndex>(i)) == units[i]);
        // Mac Roman text of up to 255 bytes keeps a Pascal form.
        ConstStringPtr const pascal =
            CFStringGetPascalStringPtr(c.Get(), kCFStringEncodingMacRoman);
        if (roman.size() <= 255)
            FUZZ_CHECK(pascal != nullptr && pascal[0] == roman.size() &&
                       std::memcmp(pascal + 1, roman.data(), roman.size()) == 0);
        else
            FUZZ_CHECK(pascal == nullptr);
    }

    // The converter, into a buffer that may be too small.
    TextToUnicodeInfo info = nullptr;
    FUZZ_CHECK(CreateTextToUnicodeInfoByEncoding(kTextEncodingMacRoman, &info) == noErr);
    ByteCount const room = scaled(2 * roman.size(), outSize) + (outSize & 1);
    auto const out = exactly(room);
    ByteCount read = 99, written = 99;
    ItemCount offsets = 99;
    OSStatus const status =
        ConvertFromTextToUnicode(info, roman.size(), roman.data(), 0, 0, nullptr, &offsets, nullptr,
                                 room, &read, &written, reinterpret_cast<UniChar*>(out.get()));
    std::size_t const fit = room / 2 < roman.size() ? room / 2 : roman.size();
    FUZZ_CHECK(status ==
               (fit < roman.size() ? OSStatus{kTECOutputBufferFullStatus} : OSStatus{noErr}));
    FUZZ_CHECK(read == fit && written == 2 * fit && offsets == 0);
    FUZZ_CHECK(
        std::equal(units.begin(), units.begin() + fit, reinterpret_cast<UniChar*>(out.get())));
    FUZZ_CHECK(DisposeTextToUnicodeInfo(&info) == noErr && info == nullptr);
}

void checkUnits(std::vector<UniChar> const& units, std::size_t byteLength, std::uint8_t outSize) {
    auto const& roman = romanOf();
    // The Mac Roman form up to the first unit without one.
    std::string mapped;
    std::size_t mappable = 0;
    for (; mappable < units.size(); ++mappable) {
        auto const it = roman.find(units[mappable]);
        if (it == roman.end())
            break;
        mapped += static_cast<char>(it->second);
    }
    bool const allMappable = mappable == units.size();

    // String stops at the first zero unit and fails on any unit before it that has no form.
    std::vector<UniChar> terminated(units);
    terminated.push_back(0);
    std::size_t const zero = std::find(units.begin(), units.end(), 0) - units.begin();
    String const s(terminated.data());
    if (mappable >= zero) {
        FUZZ_CHECK(bytes(s) == mapped.substr(0, zero));
        shared_array<unsigned short> const back = s.Unicode();
        FUZZ_CHECK(back.get() != nullptr &&
                   std::memcmp(back.get(), terminated.data(), 2 * zero + 2) == 0);
    } else {
        FUZZ_CHECK(s.GetLength() == 0);
    }

    // CFString fails on any unit without a form; a U+0000 inside ends the text.
    std::string const expected =
        allMappable ? std::string(mapped.c_str()) : std::string(); // cut at a zero byte
    FUZZ_CHECK(bytes(Util::CFString(units.data(), static_cast<unsigned>(units.size()),
                                    Util::CFString::RELEASE)
                         .ToString()) == expected);
    CFStringRef const ref =
        CFStringCreateWithCharacters(nullptr, units.data(), static_cast<CFIndex>(units.size()));
    {
        Util::CFString const borrowed(ref, Util::CFString::NO_RELEASE);
        FUZZ_CHECK(bytes(borrowed.ToString()) == expected);
    }
    FUZZ_CHECK(CFGetRetainCount(ref) == 1);
    CFRelease(ref);

    // The converter stops at the first unit without a form or when the output is full.
    UnicodeToTextInfo info = nullptr;
    FUZZ_CHECK(CreateUnicodeToTextInfoByEncoding(kTextEncodingMacRoman, &info) == noErr);
    ByteCount const room = scaled(units.size(), outSize) + (outSize & 1);
    auto const in = std::make_unique<UniChar[]>(units.size());
    std::copy(units.begin(), units.end(), in.get());
    auto const out = exactly(room);
    ByteCount read = 99, written = 99;
    ItemCount offsets = 99;
    OSStatus const status =
        ConvertFromUnicodeToText(info, byteLength, in.get(), 0, 0, nullptr, &offsets, nullptr, room,
                                 &read, &written, out.get());
    std::size_t const fit = room < mappable ? room : mappable;
    FUZZ_CHECK(read == 2 * fit && written == fit && offsets == 0);
    FUZZ_CHECK(
        std::equal(mapped.begin(), mapped.begin() + fit, out.get(),
                   [](char a, unsigned char b) { return static_cast<unsigned char>(a) == b; }));
    if (fit == units.size())
        FUZZ_CHECK(status == noErr);
    else if (fit == room && fit < mappable)
        FUZZ_CHECK(status == kTECOutputBufferFullStatus);
    else if (fit == room) // full and unmappable at once: either answer is fair
        FUZZ_CHECK(status == kTECOutputBufferFullStatus || status == kTECUnmappableElementErr);
    else
        FUZZ_CHECK(status == kTECUnmappableElementErr);
    FUZZ_CHECK(DisposeUnicodeToTextInfo(&info) == noErr && info == nullptr);
}

// Only Mac Roman exists; anything else is refused without a converter.
void checkEncodings(std::uint8_t selector) {
    TextEncoding const encoding =
        CreateTextEncoding(selector & 3, (selector >> 2) & 3, (selector >> 4) & 3);
    bool const roman = (selector & 0x3F) == 0;
    TextToUnicodeInfo toUnicode = nullptr;
    UnicodeToTextInfo toText = nullptr;
    OSStatus const expected = roman ? OSStatus{noErr} : OSStatus{kTextUnsupportedEncodingErr};
    FUZZ_CHECK(CreateTextToUnicodeInfoByEncoding(encoding, &toUnicode) == expected);
    FUZZ_CHECK(CreateUnicodeToTextInfoByEncoding(encoding, &toText) == expected);
    FUZZ_CHECK((toUnicode != nullptr) == roman && (toText != nullptr) == roman);
    OSStatus const disposed = roman ? noErr : paramErr;
    FUZZ_CHECK(DisposeTextToUnicodeInfo(&toUnicode) == disposed && toUnicode == nullptr);
    FUZZ_CHECK(DisposeUnicodeToTextInfo(&toText) == disposed && toText == nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 3)
        return 0;
    std::uint8_t const toUnicodeSize = data[0];
    std::uint8_t const toTextSize = data[1];
    checkEncodings(data[2]);
    std::string const payload(reinterpret_cast<char const*>(data + 3), size - 3);

    checkRomanText(payload.c_str(), toUnicodeSize); // up to the first zero byte
    std::vector<UniChar> units(payload.size() / 2);
    for (std::size_t i = 0; i < units.size(); ++i)
        units[i] = static_cast<UniChar>(static_cast<unsigned char>(payload[2 * i]) |
                                        static_cast<unsigned char>(payload[2 * i + 1]) << 8);
    checkUnits(units, payload.size(), toTextSize);
    return 0;
}
