// The Linux CoreFoundation and Carbon subset: object lifetimes, value semantics, conversions.
#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>
#include <velmora/platform_testing.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

namespace {

CFStringEncoding const kRoman = kCFStringEncodingMacRoman, kUtf8 = kCFStringEncodingUTF8;

// The constant UUID 01 02 .. 10.
CFUUIDRef constantUUID() {
    return CFUUIDGetConstantUUIDWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14,
                                          15, 16);
}

// A new CFNumber of the given type holding value.
template <typename T>
CFNumberRef number(CFNumberType type, T value) {
    return CFNumberCreate(nullptr, type, &value);
}

TEST(CFObjects, ConstantsAreUniqueAndImmortal) {
    CFStringRef a = CFSTR("com.velmora.test");
    CFUUIDRef u = constantUUID();
    CFIndex const before[] = {CFGetRetainCount(a), CFGetRetainCount(u)};
    for (CFTypeRef cf : {CFTypeRef(a), CFTypeRef(a), CFTypeRef(u), CFTypeRef(u)})
        CFRelease(cf);
    EXPECT_TRUE(a == CFSTR("com.velmora.test") && u == constantUUID());
    EXPECT_EQ(std::make_tuple(CFGetRetainCount(a), CFGetRetainCount(u), CFStringGetLength(a)),
              std::make_tuple(before[0], before[1], 16));
    CFUUIDBytes const bytes = CFUUIDGetUUIDBytes(u);
    EXPECT_EQ(std::memcmp(&bytes, "\1\2\3\4\5\6\7\10\11\12\13\14\15\16\17\20", 16), 0);
}

TEST(CFObjects, EqualityIsByTypeAndContents) {
    UniChar const x = 'x';
    CFTypeRef const made[] = {
        CFStringCreateWithCString(nullptr, "x", kCFStringEncodingASCII),
        CFStringCreateWithCharacters(nullptr, &x, 1),
        CFDataCreate(nullptr, reinterpret_cast<UInt8 const*>("x"), 1),
        number(kCFNumberSInt32Type, int32_t(1)),
        number(kCFNumberFloat64Type, 1.0),
        CFUUIDCreateFromUUIDBytes(nullptr, CFUUIDGetUUIDBytes(constantUUID()))};
    // Strings of the same text, numbers of the same value, UUIDs of the same bytes; not a string
    // and data of the same byte; a made UUID is not the constant.
    EXPECT_EQ(std::make_tuple(CFEqual(made[0], made[1]), CFHash(made[0]) == CFHash(made[1]),
                              CFEqual(made[3], made[4]), CFEqual(made[5], constantUUID()),
                              CFEqual(made[0], made[2]), made[5] == constantUUID()),
              std::make_tuple(true, true, true, true, false, false));
    for (CFTypeRef cf : made)
        CFRelease(cf);
}

TEST(CFObjects, RetainCountsAndArrayOwnership) {
    UInt8 const bytes[] = {1, 2, 3, 4};
    CFDataRef d = CFDataCreate(nullptr, bytes, 4);
    CFDataRef empty = CFDataCreate(nullptr, nullptr, 0);
    EXPECT_EQ(CFGetRetainCount(d), 1);
    EXPECT_TRUE(CFRetain(d) == d && CFGetRetainCount(d) == 2);
    CFRelease(d);
    UInt8 middle[2] = {};
    CFDataGetBytes(d, CFRangeMake(1, 2), middle);
    EXPECT_EQ(std::make_tuple(CFDataGetLength(d), CFDataGetLength(empty), middle[0], middle[1]),
              std::make_tuple(4, 0, 2, 3));

    // An array with kCFTypeArrayCallBacks retains its values; one without borrows them.
    const void* values[] = {d, empty};
    CFArrayRef retaining = CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks);
    CFArrayRef borrowing = CFArrayCreate(nullptr, values, 2, nullptr);
    EXPECT_EQ(CFGetRetainCount(d), 2);
    EXPECT_EQ(std::make_tuple(CFArrayGetCount(retaining), CFArrayGetValueAtIndex(retaining, 1),
                              CFArrayGetValueAtIndex(retaining, 2), CFEqual(retaining, borrowing)),
              std::make_tuple(2, static_cast<void const*>(empty), nullptr, true));
    CFRelease(borrowing);
    CFRelease(retaining);
    EXPECT_EQ(CFGetRetainCount(d), 1);
    CFRelease(d); // the last release frees it (the sanitizer build reports a leak otherwise)
    CFRelease(empty);
}

TEST(CFString, EncodingsConvertStrictly) {
    // Bytes, encoding, the UTF-16 text (empty: creation fails). Mac Roman follows Apple's table;
    // UTF-8 that is overlong, an encoded surrogate or cut short is refused, as is a byte that
    // ASCII lacks and an unknown encoding.
    CFStringEncoding const ascii = kCFStringEncodingASCII;
    std::vector<std::tuple<char const*, CFStringEncoding, std::u16string>> const rows = {
        {"caf\x8E", kRoman, u"caf\u00E9"},          {"\xC0\xAF", kUtf8, u""},
        {"\xDB\xF0", kRoman, u"\u20AC\uF8FF"},      {"\xED\xA0\x80", kUtf8, u""},
        {"caf\xC3\xA9", kUtf8, u"caf\u00E9"},       {"caf\xC3", kUtf8, u""},
        {"\xE4\xB8\x80", kUtf8, u"\u4E00"},         {"caf\x8E", ascii, u""},
        {"\xF0\x9F\x98\x80", kUtf8, u"\U0001F600"}, {"abc", 0x1234, u""}};
    for (auto const& [bytes, encoding, units] : rows) {
        CFStringRef s = CFStringCreateWithCString(nullptr, bytes, encoding);
        bool const created = s != nullptr;
        std::u16string got(created ? CFStringGetLength(s) : 0, u'\0');
        char back[16] = {};
        if (created) {
            CFStringGetCharacters(s, CFRangeMake(0, got.size()),
                                  reinterpret_cast<UniChar*>(&got[0]));
            CFStringGetCString(s, back, sizeof back, encoding);
            CFRelease(s);
        }
        EXPECT_EQ(std::make_tuple(created, got, std::string(back)),
                  std::make_tuple(!units.empty(), units, std::string(units.empty() ? "" : bytes)))
            << bytes;
    }

    // CFStringGetCString fails when the text has no form in the encoding or does not fit.
    UniChar const han[] = {'a', 0x4E00};
    CFStringRef s = CFStringCreateWithCharacters(nullptr, han, 2);
    char buffer[8];
    EXPECT_EQ(std::make_tuple(CFStringGetCString(s, buffer, sizeof buffer, kRoman),
                              CFStringGetCString(s, buffer, 4, kUtf8), // needs 4 + 1
                              CFStringGetCString(s, buffer, sizeof buffer, kUtf8)),
              std::make_tuple(false, false, true));
    CFRelease(s);
}

TEST(CFString, PascalFormIsKeptForShortMacRomanText) {
    CFStringRef shortText = CFStringCreateWithCString(nullptr, "Hello", kRoman);
    CFStringRef longText =
        CFStringCreateWithCString(nullptr, std::string(300, 'x').c_str(), kRoman);
    ConstStringPtr p = CFStringGetPascalStringPtr(shortText, kRoman);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<char const*>(p), 6), "\x05Hello");
    EXPECT_EQ(CFStringGetPascalStringPtr(shortText, kUtf8), nullptr);
    EXPECT_EQ(CFStringGetPascalStringPtr(longText, kRoman), nullptr);
    Str255 buffer;
    EXPECT_FALSE(CFStringGetPascalString(longText, buffer, sizeof buffer, kRoman));
    EXPECT_TRUE(CFStringGetPascalString(shortText, buffer, sizeof buffer, kRoman));
    EXPECT_EQ(std::string(reinterpret_cast<char const*>(buffer), 6), "\x05Hello");
    CFRelease(shortText);
    CFRelease(longText);
}

TEST(CFNumber, ConversionsReportLoss) {
    CFNumberRef n32 = number(kCFNumberSInt32Type, int32_t(-1));
    CFNumberRef n64 = number(kCFNumberSInt64Type, int64_t(0x100000001LL));
    CFNumberRef real = number(kCFNumberDoubleType, 2.5);
    int64_t wide = 0;
    int32_t narrowed = 0, truncated = 0;
    float f = 0;
    // Widening is exact; a lossy conversion reports false but still writes the cut value.
    EXPECT_EQ(std::make_tuple(CFNumberGetValue(n32, kCFNumberSInt64Type, &wide),
                              CFNumberGetValue(n64, kCFNumberSInt32Type, &narrowed),
                              CFNumberGetValue(real, kCFNumberSInt32Type, &truncated),
                              CFNumberGetValue(real, kCFNumberFloatType, &f),
                              CFNumberIsFloatType(real), CFNumberIsFloatType(n32)),
              std::make_tuple(true, false, false, true, true, false));
    EXPECT_EQ(std::make_tuple(wide, narrowed, truncated, f), std::make_tuple(-1, 1, 2, 2.5f));
    for (CFNumberRef n : {n32, n64, real})
        CFRelease(n);
    // Not a number, or an unknown number type.
    EXPECT_FALSE(CFNumberGetValue(reinterpret_cast<CFNumberRef>(CFSTR("7")), kCFNumberSInt32Type,
                                  &narrowed));
    EXPECT_EQ(CFNumberCreate(nullptr, static_cast<CFNumberType>(99), &narrowed), nullptr);
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
    CFPlugInRemoveInstanceForFactory(factory); // one too many: the count stays at 0
    EXPECT_EQ(VelmoraPlugInInstanceCount(factory), 0);
    CFRelease(factory);
}

TEST(CarbonMemory, NewPtrIsZeroFilled) {
    for (int round = 0; round < 2; ++round) {
        Ptr p = NewPtr(64);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(std::string(p, 64), std::string(64, '\0')) << "round " << round;
        std::memset(p, 0xFF, 64); // dirty the block, which the next NewPtr may get back
        DisposePtr(p);
    }
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
    ByteCount read = 0, written = 0;
    OSStatus status = ConvertFromTextToUnicode(toUnicode, 3, "a\x8E\xDB", 0, 0, nullptr, nullptr,
                                               nullptr, sizeof units, &read, &written, units);
    EXPECT_EQ(std::make_tuple(status, written, units[1], units[2]),
              std::make_tuple(noErr, 6u, 0x00E9, 0x20AC));
    // Room for two units: what fits is converted and the status says so.
    status = ConvertFromTextToUnicode(toUnicode, 3, "abc", 0, 0, nullptr, nullptr, nullptr, 4,
                                      &read, &written, units);
    EXPECT_EQ(std::make_tuple(status, read), std::make_tuple(kTECOutputBufferFullStatus, 2u));
    // A character Mac Roman lacks stops the conversion after what came before it.
    char out[4] = {};
    UniChar const mixed[] = {'a', 0xF8FF, 0x0100};
    status = ConvertFromUnicodeToText(toText, sizeof mixed, mixed, 0, 0, nullptr, nullptr, nullptr,
                                      sizeof out, &read, &written, out);
    EXPECT_EQ(std::make_tuple(status, written, static_cast<unsigned char>(out[1])),
              std::make_tuple(kTECUnmappableElementErr, 2u, 0xF0));
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
    VelmoraSetCurrentEventTimeForTesting(-1); // back to the clock
    EXPECT_GE(GetCurrentEventTime(), b);
}

} // namespace
