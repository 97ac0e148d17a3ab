#include "Util/CFString.h"

#include <CoreFoundation/CoreFoundation.h>

namespace Util {

namespace {

// Longer strings are not converted at all.
CFIndex const kMaxConvertedUnits = 1000000;

} // namespace

CFString::CFString(__CFString const* s, ReleaseBehavior b) : m_bRelease(b == RELEASE), m_ref(s) {}

CFString::CFString(char const* s, ReleaseBehavior b)
    : m_bRelease(b == RELEASE),
      m_ref(CFStringCreateWithCString(kCFAllocatorDefault, s, kCFStringEncodingMacRoman)) {}

CFString::CFString(unsigned short const* units, unsigned int count, ReleaseBehavior b)
    : m_bRelease(b == RELEASE),
      m_ref(CFStringCreateWithCharacters(kCFAllocatorDefault, units, static_cast<CFIndex>(count))) {
}

CFString::~CFString() {
    if (m_bRelease && m_ref != nullptr)
        CFRelease(m_ref);
    m_ref = nullptr;
}

String CFString::ToString() const {
    CFIndex const n = CFStringGetLength(m_ref);
    if (n == 0 || n > kMaxConvertedUnits)
        return String();
    shared_array<char> buffer(new char[static_cast<std::size_t>(n) + 1]);
    if (!CFStringGetCString(m_ref, buffer.get(), n + 1, kCFStringEncodingMacRoman))
        return String();
    buffer[n] = '\0';
    return String(buffer.get());
}

} // namespace Util
