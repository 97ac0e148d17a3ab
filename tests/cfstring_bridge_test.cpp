// Util::CFString: ownership of the wrapped reference and conversion back to String.
#include "Util/CFString.h"

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(CFStringBridge, ReleaseBehaviourDecidesOwnership) {
    CFStringRef s = CFStringCreateWithCString(nullptr, "abc", kCFStringEncodingMacRoman);
    CFRetain(s);
    ASSERT_EQ(CFGetRetainCount(s), 2);
    { Util::CFString borrowed(s, Util::CFString::NO_RELEASE); }
    EXPECT_EQ(CFGetRetainCount(s), 2);
    {
        Util::CFString owned(s, Util::CFString::RELEASE);
        EXPECT_STREQ(owned.ToString().Latin1(), "abc");
    }
    EXPECT_EQ(CFGetRetainCount(s), 1);
    {
        // Any value other than RELEASE borrows.
        Util::CFString borrowed(s, static_cast<Util::CFString::ReleaseBehavior>(7));
    }
    EXPECT_EQ(CFGetRetainCount(s), 1);
    CFRelease(s);
}

TEST(CFStringBridge, ToStringConvertsToMacRoman) {
    unsigned short const cafe[] = {0x63, 0x61, 0x66, 0xE9};
    Util::CFString s(cafe, 4, Util::CFString::RELEASE);
    String const text = s.ToString();
    ASSERT_EQ(text.GetLength(), 4u);
    EXPECT_EQ(static_cast<unsigned char>(text.Latin1()[3]), 0x8E);

    unsigned short const han[] = {0x4E00};
    EXPECT_EQ(Util::CFString(han, 1, Util::CFString::RELEASE).ToString().GetLength(), 0u);
    EXPECT_EQ(Util::CFString("", Util::CFString::RELEASE).ToString().GetLength(), 0u);

    Util::CFString roman("caf\x8E", Util::CFString::RELEASE);
    EXPECT_EQ(CFStringGetCharacterAtIndex(roman.Get(), 3), 0xE9);
    EXPECT_TRUE(roman.ToString() == "caf\x8E");
}

TEST(CFStringBridge, NullReferencesAreHarmless) {
    Util::CFString none(static_cast<char const*>(nullptr), Util::CFString::RELEASE);
    EXPECT_EQ(none.Get(), nullptr);
    EXPECT_EQ(none.ToString().GetLength(), 0u);
}

TEST(CFStringBridge, OneMillionUnitsIsTheLimit) {
    std::vector<unsigned short> units(1000001, 'z');
    Util::CFString atLimit(units.data(), 1000000, Util::CFString::RELEASE);
    EXPECT_EQ(atLimit.ToString().GetLength(), 1000000u);
    Util::CFString overLimit(units.data(), 1000001, Util::CFString::RELEASE);
    EXPECT_EQ(overLimit.ToString().GetLength(), 0u);
}

} // namespace
