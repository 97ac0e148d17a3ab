// This file provides CFData.
#include "platform/cf_types.h"

#include <cstring>

using velmora::cf::as;

bool __CFData::Equals(CFObject const& other) const {
    return bytes == static_cast<__CFData const&>(other).bytes;
}

CFHashCode __CFData::Hash() const {
    return velmora::cf::hashBytes(bytes.data(), bytes.size());
}

CFTypeID CFDataGetTypeID(void) {
    return __CFData::kTypeID;
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length) {
    if (length < 0 || (bytes == nullptr && length > 0))
        return nullptr;
    return new __CFData(std::vector<UInt8>(bytes, bytes + length));
}

CFIndex CFDataGetLength(CFDataRef theData) {
    auto const* d = as<__CFData>(theData);
    return d != nullptr ? static_cast<CFIndex>(d->bytes.size()) : 0;
}

const UInt8* CFDataGetBytePtr(CFDataRef theData) {
    auto const* d = as<__CFData>(theData);
    return d != nullptr ? d->bytes.data() : nullptr;
}

void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer) {
    auto const* d = as<__CFData>(theData);
    if (d == nullptr || buffer == nullptr || range.location < 0 || range.length < 0 ||
        static_cast<std::size_t>(range.location + range.length) > d->bytes.size())
        return;
    if (range.length > 0)
        std::memcpy(buffer, d->bytes.data() + range.location,
                    static_cast<std::size_t>(range.length));
}
