// The post-install step: records the installer's language for every plug-in format of the
// installed product.
#include "installer/InstallerExtension.h"

#include "UI/Alert.h"
#include "common/common_string.h"

#include <Carbon/Carbon.h>

namespace {

// Preference domains per plug-in format, in the order they are written; null where the
// product has no such format.
enum Format { FORMAT_AU, FORMAT_VST, FORMAT_MAS, FORMAT_PT, FORMAT_SA, NUM_FORMATS };

struct Product {
    SInt32 code;
    CFStringRef domains[NUM_FORMATS];
};

// CFSTR needs a run-time call on Linux, so the table is built on first use.
Product const* findProduct(SInt32 code) {
    static Product const products[] = {
        {1000,
         {CFSTR("com.velmora.audioplugins.Harrow.AU"), CFSTR("com.velmora.audioplugins.Harrow.VST"),
          CFSTR("com.velmora.audioplugins.Harrow.MAS"), CFSTR("com.velmora.audioplugins.Harrow.PT"),
          nullptr}},
        {1100,
         {CFSTR("com.velmora.audioplugins.Meridian3.AU"),
          CFSTR("com.velmora.audioplugins.Meridian3.VST"),
          CFSTR("com.velmora.audioplugins.Meridian3.MAS"),
          CFSTR("com.velmora.audioplugins.Meridian3.PT"), nullptr}},
        {1200,
         {CFSTR("com.velmora.audioplugins.Gravel.AU"), CFSTR("com.velmora.audioplugins.Gravel.VST"),
          CFSTR("com.velmora.audioplugins.Gravel.MAS"), CFSTR("com.velmora.audioplugins.Gravel.PT"),
          nullptr}},
        {1300,
         {CFSTR("com.velmora.audioplugins.Lattice.AU"),
          CFSTR("com.velmora.audioplugins.Lattice.VST"),
          CFSTR("com.velmora.audioplugins.Lattice.MAS"),
          CFSTR("com.velmora.audioplugins.Lattice.PT"), nullptr}},
        // Tempest has no VST or MAS build but is the only product with an SA one.
        {1400,
         {CFSTR("com.velmora.audioplugins.Tempest.AU"), nullptr, nullptr,
          CFSTR("com.velmora.audioplugins.Tempest.PT"),
          CFSTR("com.velmora.audioplugins.Tempest.SA")}},
        {1500,
         {CFSTR("com.velmora.audioplugins.CadenzaPRO.AU"),
          CFSTR("com.velmora.audioplugins.CadenzaPRO.VST"), nullptr, nullptr, nullptr}},
    };
    for (Product const& product : products)
        if (product.code == code)
            return &product;
    return nullptr;
}

// The value written for a Mac OS language code; every language without a translation of the
// plug-ins gets English.
CFStringRef languageValue(UInt32 languageCode) {
    int index = 0;
    switch (languageCode) {
    case 1: // French
        index = 3;
        break;
    case 2: // German
        index = 2;
        break;
    case 3: // Italian
        index = 4;
        break;
    case 6: // Spanish
        index = 5;
        break;
    case 11: // Japanese
        index = 1;
        break;
    default:
        index = 0;
        break;
    }
    static CFStringRef const values[] = {CFSTR("en"), CFSTR("ja"), CFSTR("de"),
                                         CFSTR("fr"), CFSTR("it"), CFSTR("es")};
    return values[index];
}

void reportUnknownVersion(InstallerParamRecord* record) {
    {
        String const title("Post Install");
        String const message("Unable to set language key.");
        UI::MessageOK(nullptr, title, message, false);
    }
    // The installer package's own alert follows ours by design; its result does not matter.
    StopAlert(5000, nullptr);
    using namespace installer;
    WriteInt32(record, kFlagsOffset, ReadInt32(record, kFlagsOffset) | kFailedFlag);
}

} // namespace

SInt32 g_vlPluginID = 0;

void PostInstall(InstallerParamRecord* record) {
    using namespace installer;
    if (record == nullptr)
        return;
    g_vlPluginID = ReadInt32(record, kProductCodeOffset);
    if (ReadInt16(record, kVersionOffset) != kRecordVersion) {
        reportUnknownVersion(record);
        return;
    }
    CFStringRef const value = languageValue(ReadUInt32(record, kLanguageCodeOffset));
    Product const* const product = findProduct(g_vlPluginID);
    if (product == nullptr)
        return;
    // Each domain is flushed before the next is touched; a failed write is not reported.
    for (CFStringRef domain : product->domains) {
        if (domain == nullptr)
            continue;
        CFPreferencesSetValue(CFSTR("Lang"), value, domain, kCFPreferencesAnyUser,
                              kCFPreferencesCurrentHost);
        CFPreferencesSynchronize(domain, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
    }
}
