// The installer extension module, loaded as a host loads it: the factory and interface
// object, XCodMain's dispatch, and the post-install step observed at the preference calls.
#include "installer/InstallerExtension.h"
#include "test_support.h"

#include <CoreFoundation/CoreFoundation.h>
#include <velmora/platform_testing.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#ifdef VELMORA_INSTALLER_MODULE

namespace {

using namespace installer;
using velmora_test::Utf8;

class InstallerModule : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("VELMORA_PREFS_ROOT", m_root.Path().c_str(), 1);
        setenv("VELMORA_ALERTS", "none", 1);
        setenv("VELMORA_ALERT_LOG", (m_root / "alerts.jsonl").c_str(), 1);
        VelmoraResetPreferencesForTesting();
        m_module = dlopen(VELMORA_INSTALLER_MODULE, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(m_module, nullptr) << dlerror();
        m_factory =
            reinterpret_cast<void* (*)(CFAllocatorRef, CFUUIDRef)>(dlsym(m_module, "MyFactory"));
        m_postInstall =
            reinterpret_cast<void (*)(InstallerParamRecord*)>(dlsym(m_module, "PostInstall"));
        m_productID = static_cast<SInt32*>(dlsym(m_module, "g_vlPluginID"));
        ASSERT_TRUE(m_factory && m_postInstall && m_productID);
        VelmoraSetPreferencesObserver(&InstallerModule::observe, this);
    }

    void TearDown() override {
        VelmoraSetPreferencesObserver(nullptr, nullptr);
        if (m_module != nullptr)
            dlclose(m_module);
    }

    // Records each preference call as "set KEY=VALUE DOMAIN SCOPE" or "sync DOMAIN SCOPE".
    static void observe(void* context, char const* call, CFStringRef key, CFPropertyListRef value,
                        CFStringRef domain, CFStringRef user, CFStringRef host) {
        std::string const scope =
            std::string(CFEqual(user, kCFPreferencesAnyUser) ? "" : " ?user") +
            (CFEqual(host, kCFPreferencesCurrentHost) ? "" : " ?host");
        std::string const name = call;
        static_cast<InstallerModule*>(context)->m_calls.push_back(
            name == "CFPreferencesSetValue"
                ? "set " + Utf8(key) + "=" + Utf8(value) + " " + Utf8(domain) + scope
                : (name == "CFPreferencesSynchronize" ? "sync " : name + " ") + Utf8(domain) +
                      scope);
    }

    static InstallerParamRecord makeRecord(int16_t version, int16_t message, int32_t product,
                                           uint32_t language, int32_t flags = 0) {
        // Every byte the extension must not touch holds a pattern that runXCodMain checks.
        InstallerParamRecord record;
        for (std::size_t i = 0; i < sizeof record.bytes; ++i)
            record.bytes[i] = static_cast<unsigned char>(0xA5 ^ i);
        WriteInt16(&record, kVersionOffset, version);
        WriteInt16(&record, kMessageOffset, message);
        WriteInt32(&record, kProductCodeOffset, product);
        WriteInt32(&record, kFlagsOffset, flags);
        WriteUInt32(&record, kLanguageCodeOffset, language);
        return record;
    }

    void* create() const {
        return m_factory(nullptr,
                         CFUUIDGetConstantUUIDWithBytes(nullptr, kVelmoraInstallerPlugInTypeBytes));
    }
    static XcodFunctionBlock const& block(void* object) {
        return **static_cast<XcodFunctionBlock const* const*>(object);
    }
    // Drives XCodMain as a host does, through the factory and the extension interface.
    void runXCodMain(InstallerParamRecord* record) {
        void* object = create();
        void* extension = nullptr;
        ASSERT_EQ(block(object).QueryInterface(object, CFUUIDBytes{kVelmoraInstallerInterfaceBytes},
                                               &extension),
                  S_OK);
        InstallerParamRecord before = *record;
        block(extension).XCodMain(record);
        std::copy_n(record->bytes + kFlagsOffset, 4, before.bytes + kFlagsOffset);
        EXPECT_EQ(std::string(record->bytes, record->bytes + sizeof record->bytes),
                  std::string(before.bytes, before.bytes + sizeof before.bytes))
            << "only the flags may change";
        EXPECT_EQ(block(extension).Release(extension), 1u);
        EXPECT_EQ(block(object).Release(object), 0u);
    }

    std::string alertLog() const { return velmora_test::ReadFile(m_root / "alerts.jsonl"); }

    velmora_test::TempDir m_root;
    void* m_module = nullptr;
    void* (*m_factory)(CFAllocatorRef, CFUUIDRef) = nullptr;
    void (*m_postInstall)(InstallerParamRecord*) = nullptr;
    SInt32* m_productID = nullptr;
    std::vector<std::string> m_calls;
};

struct ProductRow {
    int32_t code;
    std::vector<std::string> domains;
};

std::vector<ProductRow> const kProducts = {
    {1000, {"Harrow.AU", "Harrow.VST", "Harrow.MAS", "Harrow.PT"}},
    {1100, {"Meridian3.AU", "Meridian3.VST", "Meridian3.MAS", "Meridian3.PT"}},
    {1200, {"Gravel.AU", "Gravel.VST", "Gravel.MAS", "Gravel.PT"}},
    {1300, {"Lattice.AU", "Lattice.VST", "Lattice.MAS", "Lattice.PT"}},
    {1400, {"Tempest.AU", "Tempest.PT", "Tempest.SA"}},
    {1500, {"CadenzaPRO.AU", "CadenzaPRO.VST"}},
};

TEST_F(InstallerModule, EveryProductAndLanguageWritesItsDomainsInOrder) {
    std::pair<uint32_t, char const*> const languages[] = {
        {0, "en"}, {1, "fr"}, {2, "de"},  {3, "it"},  {4, "en"},  {5, "en"},
        {6, "es"}, {7, "en"}, {10, "en"}, {11, "ja"}, {12, "en"}, {0xFFFFFFFFu, "en"},
    };
    for (auto const& product : kProducts) {
        for (auto const& [language, lang] : languages) {
            SCOPED_TRACE("product " + std::to_string(product.code) + ", language " +
                         std::to_string(language));
            m_calls.clear();
            InstallerParamRecord record = makeRecord(1000, 3, product.code, language, 0x40);
            runXCodMain(&record);
            std::vector<std::string> expected;
            for (auto const& d : product.domains) {
                expected.push_back("set Lang=" + std::string(lang) + " com.velmora.audioplugins." +
                                   d);
                expected.push_back("sync com.velmora.audioplugins." + d);
            }
            EXPECT_EQ(m_calls, expected);
            EXPECT_EQ(ReadInt32(&record, kFlagsOffset), 0x40);
            EXPECT_EQ(*m_productID, product.code);
        }
    }
    EXPECT_EQ(alertLog(), "");

    // What was synchronised is in the files, not just in this process's cache.
    VelmoraResetPreferencesForTesting();
    for (auto const& d : kProducts[4].domains) {
        velmora_test::Ref const name = velmora_test::Str("com.velmora.audioplugins." + d);
        velmora_test::Domain const domain{CFStringRef(name.get()), kCFPreferencesAnyUser,
                                          kCFPreferencesCurrentHost};
        EXPECT_EQ(Utf8(domain.Copy("Lang").get()), "en") << d;
    }
}

TEST_F(InstallerModule, RecordsThatAskForNothingChangeNothing) {
    struct Row {
        char const* name;
        int16_t version;
        int16_t message;
        int32_t product;
        int32_t flagsBefore;
        int32_t flagsAfter;
        int32_t productIDAfter;
    };
    std::vector<Row> const rows = {
        {"unknown product writes nothing", 1000, 3, 1600, 0, 0, 1600},
        {"unknown version fails silently", 999, 3, 1400, 0, 1, 1600},
        {"failure keeps other flag bits", 0, 3, 1400, 6, 7, 1600},
        {"another message is ignored", 1000, 2, 1400, 6, 6, 1600},
    };
    for (auto const& r : rows) {
        SCOPED_TRACE(r.name);
        InstallerParamRecord record =
            makeRecord(r.version, r.message, r.product, 11, r.flagsBefore);
        runXCodMain(&record);
        EXPECT_EQ(ReadInt32(&record, kFlagsOffset), r.flagsAfter);
        EXPECT_EQ(*m_productID, r.productIDAfter);
    }
    m_postInstall(nullptr);
    EXPECT_EQ(*m_productID, 1600) << "a null record changes nothing";
    EXPECT_TRUE(m_calls.empty());
    EXPECT_EQ(alertLog(), "") << "XCodMain never shows an alert";
}

TEST_F(InstallerModule, DirectCallWithUnknownVersionAlertsTwiceAndFlagsFailure) {
    InstallerParamRecord record = makeRecord(0, 3, 1400, 11);
    m_postInstall(&record);
    EXPECT_EQ(ReadInt32(&record, kFlagsOffset), 1);
    EXPECT_TRUE(m_calls.empty());
    EXPECT_EQ(*m_productID, 1400);
    // The title is never shown; alert 5000 is not in any resource file here.
    EXPECT_EQ(alertLog(),
              "{\"call\":\"StandardAlert\",\"alertType\":1,\"message\":\"Unable to set language "
              "key.\",\"explanation\":null,\"buttons\":[\"OK\"],\"defaultButton\":1,"
              "\"cancelButton\":0,\"movable\":true,\"helpButton\":false,\"position\":0,"
              "\"presenter\":\"none\",\"shown\":false,\"itemHit\":0,\"status\":-1301}\n"
              "{\"call\":\"StopAlert\",\"alertType\":0,\"message\":null,\"explanation\":null,"
              "\"buttons\":[\"OK\"],\"alertID\":5000,\"found\":false,\"defaultButton\":1,"
              "\"cancelButton\":0,\"presenter\":\"none\",\"shown\":false,\"itemHit\":0,"
              "\"status\":-1}\n");
}

TEST_F(InstallerModule, FactoryAndInterfaceObjectCountReferences) {
    EXPECT_EQ(m_factory(nullptr,
                        CFUUIDGetConstantUUIDWithBytes(nullptr, kVelmoraInstallerInterfaceBytes)),
              nullptr);
    EXPECT_EQ(*static_cast<UInt32 const*>(dlsym(m_module, "__procinfo")), 0x000000C0u);
    struct Row {
        char const* name;
        CFUUIDBytes iid;
        HRESULT result;
    };
    std::vector<Row> const rows = {
        {"extension interface", {kVelmoraInstallerInterfaceBytes}, S_OK},
        {"IUnknown", {kVelmoraIUnknownBytes}, S_OK},
        {"plug-in type is no interface", {kVelmoraInstallerPlugInTypeBytes}, E_NOINTERFACE},
    };
    for (auto const& r : rows) {
        SCOPED_TRACE(r.name);
        void* object = create();
        EXPECT_EQ(block(object).reserved, nullptr);
        void* out = &out;
        EXPECT_EQ(block(object).QueryInterface(object, r.iid, &out), r.result);
        EXPECT_EQ(out, r.result == S_OK ? object : nullptr);
        // The factory's reference, and one more for an interface found.
        ULONG const count = r.result == S_OK ? 2 : 1;
        EXPECT_EQ(block(object).AddRef(object), count + 1);
        for (ULONG left = count + 1; left-- > 0;)
            EXPECT_EQ(block(object).Release(object), left);
    }
}

} // namespace

#endif
