// The Linux CoreFoundation and Carbon subset: object lifetimes, value semantics, conversions.
#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>
#include <velmora/platform_testing.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

TEST(CFObjects, RetainAndReleaseCountReferences) {
    CFStringRef s = CFStringCreateWithCString(nullptr, "abc", kCFStringEncodingMacRoman);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(CFGetRetainCount(s), 1);
    EXPECT_EQ(CFRetain(s), s);
    EXPECT_EQ(CFGetRetainCount(s), 2);
    CFRelease(s);
    EXPECT_EQ(CFGetRetainCount(s), 1);
    CFRelease(s);
}

TEST(CFObjects, ConstantsAreUniqueAndImmortal) {
    CFStringRef a = CFSTR("com.velmora.test");
    EXPECT_EQ(a, CFSTR("com.velmora.test"));
    CFIndex const before = CFGetRetainCount(a);
    CFRelease(a);
    CFRelease(a);
    EXPECT_EQ(CFGetRetainCount(a), before);
    EXPECT_EQ(CFStringGetLength(a), 16);

    CFUUIDRef u1 = CFUUIDGetConstantUUIDWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12,
                                                  13, 14, 15, 16);
    CFUUIDRef u2 = CFUUIDGetConstantUUIDWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12,
                                                  13, 14, 15, 16);
    EXPECT_EQ(u1, u2);
    CFRelease(u1);
    EXPECT_EQ(CFUUIDGetUUIDBytes(u1).byte15, 16);
}

TEST(CFObjects, EqualityIsByTypeAndContents) {
    CFStringRef a = CFStringCreateWithCString(nullptr, "x", kCFStringEncodingASCII);
    UniChar const x = 'x';
    CFStringRef b = CFStringCreateWithCharacters(nullptr, &x, 1);
    UInt8 const byte = 'x';
    CFDataRef d = CFDataCreate(nullptr, &byte, 1);
    int32_t const one = 1;
    double const oneReal = 1.0;
    CFNumberRef n1 = CFNumberCreate(nullptr, kCFNumberSInt32Type, &one);
    CFNumberRef n2 = CFNumberCreate(nullptr, kCFNumberFloat64Type, &oneReal);
    CFUUIDBytes const bytes = {9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9};
    CFUUIDRef made = CFUUIDCreateFromUUIDBytes(nullptr, bytes);
    CFUUIDRef constant =
        CFUUIDGetConstantUUIDWithBytes(nullptr, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9);

    EXPECT_TRUE(CFEqual(a, b));
    EXPECT_FALSE(CFEqual(a, d));
    EXPECT_TRUE(CFEqual(n1, n2));
    EXPECT_TRUE(CFEqual(made, constant));
    EXPECT_NE(made, constant);
    EXPECT_EQ(CFHash(a), CFHash(b));
    for (CFTypeRef cf : {CFTypeRef(a), CFTypeRef(b), CFTypeRef(d), CFTypeRef(n1), CFTypeRef(n2),
                         CFTypeRef(made)})
        CFRelease(cf);
}

TEST(CFString, EncodingsConvertStrictly) {
    struct Row {
        char const* bytes;
        CFStringEncoding encoding;
        std::vector<UniChar> units; // empty: creation fails
    };
    std::vector<Row> const rows = {
        {"caf\x8E", kCFStringEncodingMacRoman, {'c', 'a', 'f', 0xE9}},
        {"caf\xC3\xA9", kCFStringEncodingUTF8, {'c', 'a', 'f', 0xE9}},
        {"\xE4\xB8\x80", kCFStringEncodingUTF8, {0x4E00}},
        {"\xF0\x9F\x98\x80", kCFStringEncodingUTF8, {0xD83D, 0xDE00}},
        {"\xC0\xAF", kCFStringEncodingUTF8, {}}, // overlong
        {"\xED\xA0\x80", kCFStringEncodingUTF8, {}}, // encoded surrogate
        {"caf\xC3", kCFStringEncodingUTF8, {}},      // cut sequence
        {"caf\x8E", kCFStringEncodingASCII, {}},
        {"abc", 0x1234, {}},
    };
    for (auto const& r : rows) {
        SCOPED_TRACE(r.bytes);
        CFStringRef s = CFStringCreateWithCString(nullptr, r.bytes, r.encoding);
        if (r.units.empty()) {
            EXPECT_EQ(s, nullptr);
            continue;
        }
        ASSERT_NE(s, nullptr);
        ASSERT_EQ(CFStringGetLength(s), static_cast<CFIndex>(r.units.size()));
        std::vector<UniChar> got(r.units.size());
        CFStringGetCharacters(s, CFRangeMake(0, CFStringGetLength(s)), got.data());
        EXPECT_EQ(got, r.units);
        char back[16];
        ASSERT_TRUE(CFStringGetCString(s, back, sizeof back, r.encoding));
        EXPECT_STREQ(back, r.bytes);
        CFRelease(s);
    }
}

TEST(CFString, GetCStringFailsWhenTheTextHasNoFormOrDoesNotFit) {
    UniChar const han[] = {'a', 0x4E00};
    CFStringRef s = CFStringCreateWithCharacters(nullptr, han, 2);
    char buffer[8];
    EXPECT_FALSE(CFStringGetCString(s, buffer, sizeof buffer, kCFStringEncodingMacRoman));
    EXPECT_TRUE(CFStringGetCString(s, buffer, sizeof buffer, kCFStringEncodingUTF8));
    EXPECT_FALSE(CFStringGetCString(s, buffer, 4, kCFStringEncodingUTF8)); // needs 4 + 1
    CFRelease(s);
}

TEST(CFString, PascalFormIsKeptForShortMacRomanText) {
    CFStringRef shortText = CFStringCreateWithCString(nullptr, "Hello", kCFStringEncodingMacRoman);
    ConstStringPtr p = CFStringGetPascalStringPtr(shortText, kCFStringEncodingMacRoman);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p[0], 5);
    EXPECT_EQ(std::memcmp(p + 1, "Hello", 5), 0);
    EXPECT_EQ(CFStringGetPascalStringPtr(shortText, kCFStringEncodingUTF8), nullptr);

    std::string const longText(300, 'x');
    CFStringRef longer =
        CFStringCreateWithCString(nullptr, longText.c_str(), kCFStringEncodingMacRoman);
    EXPECT_EQ(CFStringGetPascalStringPtr(longer, kCFStringEncodingMacRoman), nullptr);
    Str255 buffer;
    EXPECT_FALSE(CFStringGetPascalString(longer, buffer, sizeof buffer, kCFStringEncodingMacRoman));
    EXPECT_TRUE(CFStringGetPascalString(shortText, buffer, sizeof buffer, kCFStringEncodingMacRoman));
    EXPECT_EQ(buffer[0], 5);
    CFRelease(shortText);
    CFRelease(longer);
}

TEST(CFNumber, ConversionsReportLoss) {
    int32_t const minusOne = -1;
    CFNumberRef n = CFNumberCreate(nullptr, kCFNumberSInt32Type, &minusOne);
    int64_t wide = 0;
    EXPECT_TRUE(CFNumberGetValue(n, kCFNumberSInt64Type, &wide));
    EXPECT_EQ(wide, -1);
    CFRelease(n);

    int64_t const big = 0x100000001LL;
    n = CFNumberCreate(nullptr, kCFNumberSInt64Type, &big);
    int32_t narrow = 0;
    EXPECT_FALSE(CFNumberGetValue(n, kCFNumberSInt32Type, &narrow));
    EXPECT_EQ(narrow, 1); // truncated, but written
    CFRelease(n);

    double const half = 2.5;
    n = CFNumberCreate(nullptr, kCFNumberDoubleType, &half);
    EXPECT_FALSE(CFNumberGetValue(n, kCFNumberSInt32Type, &narrow));
    EXPECT_EQ(narrow, 2);
    float f = 0;
    EXPECT_TRUE(CFNumberGetValue(n, kCFNumberFloatType, &f));
    EXPECT_EQ(f, 2.5f);
    EXPECT_TRUE(CFNumberIsFloatType(n));
    CFRelease(n);

    CFStringRef notANumber = CFSTR("7");
    EXPECT_FALSE(CFNumberGetValue(reinterpret_cast<CFNumberRef>(notANumber), kCFNumberSInt32Type,
                                  &narrow));
    EXPECT_EQ(CFNumberCreate(nullptr, static_cast<CFNumberType>(99), &narrow), nullptr);
}

TEST(CFDataAndArray, ContentsAndOwnership) {
    UInt8 const bytes[] = {1, 2, 3, 4};
    CFDataRef d = CFDataCreate(nullptr, bytes, 4);
    ASSERT_EQ(CFDataGetLength(d), 4);
    UInt8 middle[2] = {};
    CFDataGetBytes(d, CFRangeMake(1, 2), middle);
    EXPECT_EQ(middle[0], 2);
    EXPECT_EQ(middle[1], 3);
    CFDataRef empty = CFDataCreate(nullptr, nullptr, 0);
    EXPECT_EQ(CFDataGetLength(empty), 0);

    const void* values[] = {d, empty};
    CFArrayRef retaining = CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks);
    EXPECT_EQ(CFGetRetainCount(d), 2);
    CFArrayRef borrowing = CFArrayCreate(nullptr, values, 2, nullptr);
    EXPECT_EQ(CFGetRetainCount(d), 2);
    EXPECT_EQ(CFArrayGetCount(retaining), 2);
    EXPECT_EQ(CFArrayGetValueAtIndex(retaining, 1), empty);
    EXPECT_EQ(CFArrayGetValueAtIndex(retaining, 2), nullptr);
    EXPECT_TRUE(CFEqual(retaining, borrowing));
    CFRelease(borrowing);
    CFRelease(retaining);
    EXPECT_EQ(CFGetRetainCount(d), 1);
    CFRelease(d);
    CFRelease(empty);
}

TEST(CFPlugIn, InstancesAreCountedPerFactory) {
    CFUUIDBytes const bytes = {7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 1};
    CFUUIDRef factory = CFUUIDCreateFromUUIDBytes(nullptr, bytes);
    EXPECT_EQ(VelmoraPlugInInstanceCount(factory), 0);
    CFPlugInAddInstanceForFactory(factory);
    CFPlugInAddInstanceForFactory(factory);
    CFPlugInRemoveInstanceForFactory(factory);
    EXPECT_EQ(VelmoraPlugInInstanceCount(factory), 1);
    CFPlugInRemoveInstanceForFactory(factory);
    CFPlugInRemoveInstanceForFactory(factory);
    EXPECT_EQ(VelmoraPlugInInstanceCount(factory), 0);
    CFRelease(factory);
}

TEST(CarbonMemory, NewPtrIsZeroFilled) {
    Ptr p = NewPtr(64);
    ASSERT_NE(p, nullptr);
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(p[i], 0);
    DisposePtr(p);
    EXPECT_EQ(NewPtr(-1), nullptr);
    DisposePtr(nullptr);
}

TEST(TextEncodingConverter, MacRomanOnlyAndStrict) {
    TextToUnicodeInfo toUnicode = nullptr;
    UnicodeToTextInfo toText = nullptr;
    EXPECT_EQ(CreateTextToUnicodeInfoByEncoding(CreateTextEncoding(0x7E, 0, 0), &toUnicode),
              kTextUnsupportedEncodingErr);
    ASSERT_EQ(CreateTextToUnicodeInfoByEncoding(CreateTextEncoding(0, 0, 0), &toUnicode), noErr);
    ASSERT_EQ(CreateUnicodeToTextInfoByEncoding(CreateTextEncoding(0, 0, 0), &toText), noErr);

    UniChar units[4] = {};
    ByteCount read = 0;
    ByteCount written = 0;
    EXPECT_EQ(ConvertFromTextToUnicode(toUnicode, 3, "a\x8E\xDB", 0, 0, nullptr, nullptr, nullptr,
                                       sizeof units, &read, &written, units),
              noErr);
    EXPECT_EQ(written, 6u);
    EXPECT_EQ(units[1], 0x00E9);
    EXPECT_EQ(units[2], 0x20AC);
    EXPECT_EQ(ConvertFromTextToUnicode(toUnicode, 3, "abc", 0, 0, nullptr, nullptr, nullptr, 4,
                                       &read, &written, units),
              kTECOutputBufferFullStatus);
    EXPECT_EQ(read, 2u);

    char out[4] = {};
    UniChar const mixed[] = {'a', 0xF8FF, 0x0100};
    EXPECT_EQ(ConvertFromUnicodeToText(toText, sizeof mixed, mixed, 0, 0, nullptr, nullptr, nullptr,
                                       sizeof out, &read, &written, out),
              kTECUnmappableElementErr);
    EXPECT_EQ(written, 2u);
    EXPECT_EQ(static_cast<unsigned char>(out[1]), 0xF0);

    EXPECT_EQ(DisposeTextToUnicodeInfo(&toUnicode), noErr);
    EXPECT_EQ(toUnicode, nullptr);
    EXPECT_EQ(DisposeUnicodeToTextInfo(&toText), noErr);
}

TEST(CarbonEvents, EventTimeIsMonotonicWithATestSeam) {
    EventTime const a = GetCurrentEventTime();
    EventTime const b = GetCurrentEventTime();
    EXPECT_GE(b, a);
    VelmoraSetCurrentEventTimeForTesting(1.0005);
    EXPECT_EQ(GetCurrentEventTime(), 1.0005);
    VelmoraSetCurrentEventTimeForTesting(-1);
    EXPECT_GE(GetCurrentEventTime(), b);
}

} // namespace
