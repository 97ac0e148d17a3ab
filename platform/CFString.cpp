// This file provides CFString: creation from 8-bit text and UTF-16, the accessors, and the
// constant strings behind CFSTR.
#include "platform/cf_types.h"
#include "platform/text_codec.h"

#include <cstring>
#include <map>
#include <mutex>

using velmora::cf::as;

namespace {

// The Pascal form a string keeps when its Mac Roman text fits in 255 bytes.
std::string pascalOf(char const* bytes, std::size_t n) {
    if (n > 255)
        return std::string();
    std::string p(1, static_cast<char>(n));
    p.append(bytes, n);
    return p;
}

// Encodes units in an 8-bit encoding; false when a unit has no form there.
bool encode(std::u16string const& units, CFStringEncoding encoding, std::string& out) {
    out.clear();
    switch (encoding) {
    case kCFStringEncodingMacRoman:
        out.reserve(units.size());
        for (char16_t u : units) {
            int const b = velmora::text::unitToMacRoman(u);
            if (b < 0)
                return false;
            out.push_back(static_cast<char>(b));
        }
        return true;
    case kCFStringEncodingASCII:
        out.reserve(units.size());
        for (char16_t u : units) {
            if (u >= 0x80)
                return false;
            out.push_back(static_cast<char>(u));
        }
        return true;
    case kCFStringEncodingUTF8:
        return velmora::text::utf16ToUtf8(units.data(), units.size(), out);
    default:
        return false;
    }
}

// Decodes n bytes of an 8-bit encoding; false when they are not valid in it.
bool decode(char const* bytes, std::size_t n, CFStringEncoding encoding, std::u16string& out) {
    out.clear();
    switch (encoding) {
    case kCFStringEncodingMacRoman:
        out.reserve(n);
        for (std::size_t i = 0; i < n; ++i)
            out.push_back(velmora::text::macRomanToUnit(static_cast<unsigned char>(bytes[i])));
        return true;
    case kCFStringEncodingASCII:
        out.reserve(n);
        for (std::size_t i = 0; i < n; ++i) {
            if (static_cast<unsigned char>(bytes[i]) >= 0x80)
                return false;
            out.push_back(static_cast<char16_t>(bytes[i]));
        }
        return true;
    case kCFStringEncodingUTF8:
        return velmora::text::utf8ToUtf16(bytes, n, out);
    default:
        return false;
    }
}

} // namespace

bool __CFString::Equals(CFObject const& other) const {
    return units == static_cast<__CFString const&>(other).units;
}

CFHashCode __CFString::Hash() const {
    return velmora::cf::hashBytes(units.data(), units.size() * sizeof(char16_t));
}

namespace velmora::cf {

CFHashCode hashBytes(void const* data, std::size_t n) {
    auto const* p = static_cast<unsigned char const*>(data);
    std::uint64_t h = 14695981039346656037ull;
    for (std::size_t i = 0; i < n; ++i)
        h = (h ^ p[i]) * 1099511628211ull;
    return static_cast<CFHashCode>(h);
}

CFStringRef createString(std::u16string units) {
    return new __CFString(std::move(units));
}

} // namespace velmora::cf

CFTypeID CFStringGetTypeID(void) {
    return __CFString::kTypeID;
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* cStr, CFStringEncoding encoding) {
    if (cStr == nullptr)
        return nullptr;
    std::size_t const n = std::strlen(cStr);
    std::u16string units;
    if (!decode(cStr, n, encoding, units))
        return nullptr;
    auto* s = new __CFString(std::move(units));
    if (encoding == kCFStringEncodingMacRoman)
        s->pascal = pascalOf(cStr, n);
    return s;
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* chars, CFIndex numChars) {
    if (numChars < 0 || (chars == nullptr && numChars > 0))
        return nullptr;
    return new __CFString(std::u16string(reinterpret_cast<char16_t const*>(chars),
                                         static_cast<std::size_t>(numChars)));
}

CFIndex CFStringGetLength(CFStringRef theString) {
    auto const* s = as<__CFString>(theString);
    return s != nullptr ? static_cast<CFIndex>(s->units.size()) : 0;
}

UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx) {
    auto const* s = as<__CFString>(theString);
    if (s == nullptr || idx < 0 || static_cast<std::size_t>(idx) >= s->units.size())
        return 0;
    return s->units[static_cast<std::size_t>(idx)];
}

void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer) {
    auto const* s = as<__CFString>(theString);
    if (s == nullptr || buffer == nullptr || range.location < 0 || range.length < 0 ||
        static_cast<std::size_t>(range.location + range.length) > s->units.size())
        return;
    std::memcpy(buffer, s->units.data() + range.location,
                static_cast<std::size_t>(range.length) * sizeof(UniChar));
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                           CFStringEncoding encoding) {
    auto const* s = as<__CFString>(theString);
    if (s == nullptr || buffer == nullptr || bufferSize <= 0)
        return false;
    std::string bytes;
    if (!encode(s->units, encoding, bytes) ||
        bytes.size() + 1 > static_cast<std::size_t>(bufferSize)) {
        buffer[0] = '\0';
        return false;
    }
    std::memcpy(buffer, bytes.data(), bytes.size());
    buffer[bytes.size()] = '\0';
    return true;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
    switch (encoding) {
    case kCFStringEncodingMacRoman:
    case kCFStringEncodingASCII:
        return length;
    case kCFStringEncodingUTF8:
        return length * 3;
    default:
        return -1;
    }
}

ConstStringPtr CFStringGetPascalStringPtr(CFStringRef theString, CFStringEncoding encoding) {
    auto const* s = as<__CFString>(theString);
    if (s == nullptr || encoding != kCFStringEncodingMacRoman || s->pascal.empty())
        return nullptr;
    return reinterpret_cast<ConstStringPtr>(s->pascal.data());
}

Boolean CFStringGetPascalString(CFStringRef theString, StringPtr buffer, CFIndex bufferSize,
                                CFStringEncoding encoding) {
    auto const* s = as<__CFString>(theString);
    std::string bytes;
    if (s == nullptr || buffer == nullptr || !encode(s->units, encoding, bytes) ||
        bytes.size() > 255 || static_cast<CFIndex>(bytes.size()) + 1 > bufferSize)
        return false;
    buffer[0] = static_cast<unsigned char>(bytes.size());
    std::memcpy(buffer + 1, bytes.data(), bytes.size());
    return true;
}

CFStringRef __CFStringMakeConstantString(const char* cStr) {
    static std::mutex mutex;
    static std::map<std::string, __CFString*>* table = new std::map<std::string, __CFString*>;
    std::lock_guard<std::mutex> lock(mutex);
    auto it = table->find(cStr);
    if (it != table->end())
        return it->second;
    std::size_t const n = std::strlen(cStr);
    std::u16string units;
    // Literals are UTF-8; bytes that are not are read as Mac Roman rather than lost.
    if (!velmora::text::utf8ToUtf16(cStr, n, units))
        decode(cStr, n, kCFStringEncodingMacRoman, units);
    auto* s = new __CFString(std::move(units));
    std::string roman;
    if (encode(s->units, kCFStringEncodingMacRoman, roman))
        s->pascal = pascalOf(roman.data(), roman.size());
    s->MakeImmortal();
    table->emplace(cStr, s);
    return s;
}
