// Util::CFString: ownership of the wrapped reference and conversion back to String.
#include "Util/CFString.h"

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

std::string text(String const& s) {
    return std::string(s.Latin1(), s.GetLength());
}

TEST(CFStringBridge, ReleaseBehaviourDecidesOwnership) {
    CFStringRef s = CFStringCreateWithCString(nullptr, "abc", kCFStringEncodingMacRoman);
    CFRetain(s);
    ASSERT_EQ(CFGetRetainCount(s), 2);
    // The wrapper takes the reference as it is; any value other than RELEASE borrows it.
    EXPECT_EQ(Util::CFString(s, Util::CFString::NO_RELEASE).Get(), s);
    EXPECT_EQ(Util::CFString(s, static_cast<Util::CFString::ReleaseBehavior>(7)).Get(), s);
    EXPECT_EQ(CFGetRetainCount(s), 2);
    EXPECT_EQ(text(Util::CFString(s, Util::CFString::RELEASE).ToString()), "abc");
    EXPECT_EQ(CFGetRetainCount(s), 1);
    CFRelease(s);
}

TEST(CFStringBridge, ToStringConvertsToMacRoman) {
    // The text of a wrapper owning a string made from these arguments.
    auto owned = [](auto... args) {
        return text(Util::CFString(args..., Util::CFString::RELEASE).ToString());
    };
    unsigned short const cafe[] = {0x63, 0x61, 0x66, 0xE9}, han[] = {0x4E00};
    std::vector<unsigned short> const units(1000001, 'z');
    char const* const none = nullptr;
    // A character Mac Roman lacks, an empty string, a null reference and more than one million
    // units all give "".
    EXPECT_EQ(std::make_tuple(owned(cafe, 4u), owned("caf\x8E"), owned(han, 1u), owned(""),
                              owned(none), owned(units.data(), 1000001u)),
              std::make_tuple("caf\x8E", "caf\x8E", "", "", "", ""));
    EXPECT_EQ(owned(units.data(), 1000000u).size(), 1000000u);
    Util::CFString const roman("caf\x8E", Util::CFString::RELEASE);
    EXPECT_EQ(CFStringGetCharacterAtIndex(roman.Get(), 3), 0xE9);
    EXPECT_EQ(Util::CFString(none, Util::CFString::RELEASE).Get(), nullptr);
}

} // namespace
