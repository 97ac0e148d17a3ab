/// \file
/// Util::CFString: one CoreFoundation string reference held for a scope.
#pragma once

#include "common/common_string.h"

struct __CFString;

namespace Util {

/// One CoreFoundation string reference held for a scope, the bridge between String (Mac
/// Roman) and CFStringRef.
///
///     Util::CFString key("Lang", Util::CFString::RELEASE);
///     CFPreferencesCopyValue(key.Get(), ...);   // released when key goes
class CFString {
public:
    /// Whether the wrapper releases its reference.
    enum ReleaseBehavior {
        RELEASE = 0,   ///< the wrapper owns one reference and releases it when destroyed
        NO_RELEASE = 1 ///< the wrapper borrows the reference (any non-zero value acts alike)
    };

    /// Wraps s as it is, without retaining it.
    CFString(__CFString const* s, ReleaseBehavior b);
    /// A new string from the Mac Roman bytes of s (up to the terminator); the reference is
    /// null when it cannot be created (null s). With NO_RELEASE the new reference is
    /// deliberately never released.
    CFString(char const* s, ReleaseBehavior b);
    /// A new string of exactly count UTF-16 units (no terminator needed).
    CFString(unsigned short const* units, unsigned int count, ReleaseBehavior b);
    /// Releases the reference when the wrapper owns one (RELEASE) and it is not null.
    ~CFString();

    /// Deleted: the wrapper holds its reference alone.
    CFString(CFString const&) = delete;
    /// Deleted: the wrapper holds its reference alone.
    CFString& operator=(CFString const&) = delete;

    /// The wrapped reference, possibly null.
    __CFString const* Get() const { return m_ref; }

    /// The text in Mac Roman. Empty when the string is empty or null, longer than 1,000,000
    /// units or holds a character Mac Roman lacks: U+4E00 gives "", "caf" followed by U+00E9
    /// the bytes 63 61 66 8E.
    String ToString() const;

private:
    int32 m_bRelease;
    __CFString const* m_ref;
};

} // namespace Util
