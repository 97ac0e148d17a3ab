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

TEST(CFObjects, ConstantsEqualityRetainCountsAndArrays) {
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

    // Equality is by type and contents.
    CFTypeRef const made[] = {
        CFStringCreateWithCString(nullptr, "x", kCFStringEncodingASCII),
        CFStringCreateWithCharacters(nullptr, reinterpret_cast<UniChar const*>(u"x"), 1),
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

    // Retain counts and array ownership.
    UInt8 const four[] = {1, 2, 3, 4};
    CFDataRef d = CFDataCreate(nullptr, four, 4), empty = CFDataCreate(nullptr, nullptr, 0);
    EXPECT_TRUE(CFGetRetainCount(d) == 1 && CFRetain(d) == d && CFGetRetainCount(d) == 2);
    UInt8 middle[2] = {};
    CFRelease(d), CFDataGetBytes(d, CFRangeMake(1, 2), middle);
    EXPECT_EQ(std::make_tuple(CFDataGetLength(d), CFDataGetLength(empty), middle[0], middle[1]),
              std::make_tuple(4, 0, 2, 3));

    // An array with kCFTypeArrayCallBacks retains its values; one without borrows them.
    const void* values[] = {d, empty};
    CFArrayRef retaining = CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks),
               borrowing = CFArrayCreate(nullptr, values, 2, nullptr);
    EXPECT_EQ(CFGetRetainCount(d), 2);
    EXPECT_EQ(std::make_tuple(CFArrayGetCount(retaining), CFArrayGetValueAtIndex(retaining, 1),
                              CFArrayGetValueAtIndex(retaining, 2), CFEqual(retaining, borrowing)),
              std::make_tuple(2, static_cast<void const*>(empty), nullptr, true));
    CFRelease(borrowing), CFRelease(retaining);
    EXPECT_EQ(CFGetRetainCount(d), 1);
    for (CFTypeRef last : {CFTypeRef(d), CFTypeRef(empty)})
        CFRelease(last); // frees it (the sanitizer build reports a leak otherwise)
}

TEST(CFStringAndCFNumber, EncodingsConvertStrictlyAndNumbersReportLoss) {
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
        std::u16string got(s ? CFStringGetLength(s) : 0, u'\0'); // empty only when s is null
        char back[16] = {};
        if (s)
            CFStringGetCharacters(s, CFRangeMake(0, got.size()), (UniChar*)got.data()),
                CFStringGetCString(s, back, sizeof back, encoding), CFRelease(s);
        EXPECT_EQ(std::pair(got, std::string(back)),
                  std::pair(units, std::string(units.empty() ? "" : bytes)))
            << bytes;
    }

    // CFStringGetCString fails when the text has no form in the encoding or does not fit.
    UniChar const han[] = {'a', 0x4E00};
    CFStringRef s = CFStringCreateWithCharacters(nullptr, han, 2);
    char buffer[8];
    // Too small for UTF-8 ("a" and U+4E00 need 4 + 1 bytes).
    EXPECT_TRUE(!CFStringGetCString(s, buffer, sizeof buffer, kRoman) &&
                !CFStringGetCString(s, buffer, 4, kUtf8) &&
                CFStringGetCString(s, buffer, sizeof buffer, kUtf8));

    // The Pascal form is kept for short Mac Roman text.
    CFStringRef shortText = CFStringCreateWithCString(nullptr, "Hello", kRoman),
                longText =
                    CFStringCreateWithCString(nullptr, std::string(300, 'x').c_str(), kRoman);
    ConstStringPtr p = CFStringGetPascalStringPtr(shortText, kRoman);
    ASSERT_NE(p, nullptr);
    Str255 pascal;
    EXPECT_TRUE(!CFStringGetPascalStringPtr(shortText, kUtf8) &&
                !CFStringGetPascalStringPtr(longText, kRoman) &&
                !CFStringGetPascalString(longText, pascal, sizeof pascal, kRoman) &&
                CFStringGetPascalString(shortText, pascal, sizeof pascal, kRoman));
    EXPECT_EQ(std::string(reinterpret_cast<char const*>(p), 6) + std::string((char*)pascal, 6),
              "\x05Hello\x05Hello");
    for (CFStringRef t : {s, shortText, longText})
        CFRelease(t);

    // CFNumber conversions report loss.
    CFNumberRef n32 = number(kCFNumberSInt32Type, int32_t(-1)),
                n64 = number(kCFNumberSInt64Type, int64_t(0x100000001LL)),
                real = number(kCFNumberDoubleType, 2.5);
    std::tuple<int64_t, int32_t, int32_t, float> out{}; // widened, narrowed, truncated, float
    // Widening is exact; a lossy conversion reports false but still writes the cut value.
    EXPECT_EQ(std::make_tuple(CFNumberGetValue(n32, kCFNumberSInt64Type, &std::get<0>(out)),
                              CFNumberGetValue(n64, kCFNumberSInt32Type, &std::get<1>(out)),
                              CFNumberGetValue(real, kCFNumberSInt32Type, &std::get<2>(out)),
                              CFNumberGetValue(real, kCFNumberFloatType, &std::get<3>(out)),
                              CFNumberIsFloatType(real), CFNumberIsFloatType(n32)),
              std::make_tuple(true, false, false, true, true, false));
    EXPECT_EQ(out, std::make_tuple(-1, 1, 2, 2.5f));
    for (CFNumberRef n : {n32, n64, real})
        CFRelease(n);
    // Not a number, or an unknown number type.
    EXPECT_FALSE(CFNumberGetValue(reinterpret_cast<CFNumberRef>(CFSTR("7")), kCFNumberSInt32Type,
                                  &std::get<1>(out)));
    EXPECT_EQ(CFNumberCreate(nullptr, static_cast<CFNumberType>(99), &std::get<1>(out)), nullptr);
}

TEST(Carbon, TextEncodingConverterEventTimeNewPtrAndPlugInInstances) {
    TextToUnicodeInfo toUnicode = nullptr;
    UnicodeToTextInfo toText = nullptr;
    EXPECT_EQ(CreateTextToUnicodeInfoByEncoding(CreateTextEncoding(0x7E, 0, 0), &toUnicode),
              kTextUnsupportedEncodingErr);
    ASSERT_EQ(CreateTextToUnicodeInfoByEncoding(CreateTextEncoding(0, 0, 0), &toUnicode), noErr);
    ASSERT_EQ(CreateUnicodeToTextInfoByEncoding(CreateTextEncoding(0, 0, 0), &toText), noErr);

    // Then: room for two units only, where what fits is converted and the status says so; and
    // a character Mac Roman lacks, which stops the conversion after what came before it.
    UniChar units[4] = {}, half[2] = {};
    UniChar const mixed[] = {'a', 0xF8FF, 0x0100};
    char out[4] = {};
    ByteCount read[3] = {}, written[3] = {};
    OSStatus const status[] = {
        ConvertFromTextToUnicode(toUnicode, 3, "a\x8E\xDB", 0, 0, nullptr, nullptr, nullptr,
                                 sizeof units, &read[0], &written[0], units),
        ConvertFromTextToUnicode(toUnicode, 3, "abc", 0, 0, nullptr, nullptr, nullptr, sizeof half,
                                 &read[1], &written[1], half),
        ConvertFromUnicodeToText(toText, sizeof mixed, mixed, 0, 0, nullptr, nullptr, nullptr,
                                 sizeof out, &read[2], &written[2], out)};
    EXPECT_EQ(std::tuple(status[0], written[0], units[1], units[2], status[1], read[1], status[2],
                         written[2], static_cast<unsigned char>(out[1])),
              std::tuple(noErr, 6u, 0x00E9, 0x20AC, kTECOutputBufferFullStatus, 2u,
                         kTECUnmappableElementErr, 2u, 0xF0));
    EXPECT_TRUE(DisposeTextToUnicodeInfo(&toUnicode) == noErr && toUnicode == nullptr &&
                DisposeUnicodeToTextInfo(&toText) == noErr);

    // The event time is monotonic, with a test seam.
    EventTime const a = GetCurrentEventTime(), b = GetCurrentEventTime();
    VelmoraSetCurrentEventTimeForTesting(1.0005);
    EventTime const seam = GetCurrentEventTime();
    VelmoraSetCurrentEventTimeForTesting(-1); // back to the clock
    EXPECT_TRUE(b >= a && seam == 1.0005 && GetCurrentEventTime() >= b) << a << " " << seam;

    // Plug-in instances are counted per factory.
    CFUUIDBytes const bytes = {7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 1};
    CFUUIDRef factory = CFUUIDCreateFromUUIDBytes(nullptr, bytes);
    // Counts after each of: add, add, remove, remove, remove one too many (stays at 0).
    std::vector<CFIndex> counts = {VelmoraPlugInInstanceCount(factory)};
    for (bool add : {true, true, false, false, false}) {
        add ? CFPlugInAddInstanceForFactory(factory) : CFPlugInRemoveInstanceForFactory(factory);
        counts.push_back(VelmoraPlugInInstanceCount(factory));
    }
    EXPECT_EQ(counts, (std::vector<CFIndex>{0, 1, 2, 1, 0, 0}));
    CFRelease(factory);

    // NewPtr zero-fills, also a block a previous NewPtr dirtied.
    for (int round = 0; round < 2; ++round) {
        Ptr p = NewPtr(64);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(std::string(p, 64), std::string(64, '\0')) << "round " << round;
        std::memset(p, 0xFF, 64), DisposePtr(p); // dirty the block the next NewPtr may get back
    }
    EXPECT_EQ(NewPtr(-1), nullptr);
    DisposePtr(nullptr);
}

} // namespace
