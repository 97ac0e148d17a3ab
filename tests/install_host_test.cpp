// End to end: the host tool drives the real module against a private preference root and
// reads back what it wrote. (ConfigFile.ReadsTheLanguageTheInstallerWroteForAllUsers reads it
// as a plug-in does.)
#include "test_support.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#ifdef VELMORA_INSTALL_HOST_TOOL

namespace {

using velmora_test::RunResult;
using velmora_test::TempDir;

class InstallHost : public ::testing::Test {
protected:
    RunResult host(std::vector<std::string> args) {
        args.insert(args.begin(), VELMORA_INSTALL_HOST_TOOL);
        args.insert(args.end(), {"--module", VELMORA_INSTALLER_MODULE});
        return velmora_test::Run(args, env());
    }
    std::vector<std::string> env() const {
        return {"VELMORA_PREFS_ROOT=" + m_root.Path(), "VELMORA_ALERTS=none",
                "VELMORA_ALERT_LOG=" + (m_root / "alerts.jsonl")};
    }

    TempDir m_root;
};

TEST_F(InstallHost, FactoryAndDirectPathsWriteEveryDomain) {
    // What the tool prints from the flag word on, with each domain's "Lang" read back.
    auto report = [](int product, std::vector<std::string> const& domains, char const* lang) {
        std::string out =
            "flags:    0x00000000\nproduct:  g_vlPluginID = " + std::to_string(product) + "\n";
        for (auto const& d : domains) {
            std::string name = "com.velmora.audioplugins." + d;
            out += name.append(42 - name.size(), ' ') + " Lang = " + lang + "\n";
        }
        return out;
    };
    std::pair<std::vector<std::string>, std::string> const rows[] = {
        {{"--product", "Tempest", "--language", "ja"},
         report(1400, {"Tempest.AU", "Tempest.PT", "Tempest.SA"}, "ja")},
        {{"--product", "1500", "--language", "German", "--direct"},
         report(1500, {"CadenzaPRO.AU", "CadenzaPRO.VST"}, "de")},
        {{"--product", "1600", "--language", "-1"},
         report(1600, {}, "") + "note:     the extension writes nothing for product code 1600\n"},
    };
    for (auto const& [args, expected] : rows) {
        RunResult const result = host(args);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.out.substr(result.out.find("flags:")), expected);
    }
}

TEST_F(InstallHost, UnknownVersionReportsFailureThroughFlagsAndAlerts) {
    // Piped, the report so far comes before the prompt, which takes no answer from the pipe.
    std::vector<std::string> terminal = env();
    terminal[1] = "VELMORA_ALERTS=terminal";
    RunResult const piped = velmora_test::Run(
        {"/bin/sh", "-c",
         "echo 1 | $VELMORA_TEST_EMULATOR \"$0\" --product Gravel --language fr --direct "
         "--record-version 999 --module \"$1\" 2>&1",
         VELMORA_INSTALL_HOST_TOOL, VELMORA_INSTALLER_MODULE},
        terminal);
    EXPECT_EQ(piped.exitCode, 1) << piped.out;
    EXPECT_NE(piped.out.find("flags:    0x00000001"), std::string::npos) << piped.out;
    EXPECT_LT(piped.out.find("call:"), piped.out.find("Unable to set language key.")) << piped.out;
    std::string const log = velmora_test::ReadFile(m_root / "alerts.jsonl");
    EXPECT_NE(log.find("Unable to set language key."), std::string::npos) << log;
    EXPECT_NE(log.find("StopAlert"), std::string::npos) << log;
    EXPECT_EQ(log.find("\"itemHit\":1"), std::string::npos) << log;
    // The factory path fails the same way.
    EXPECT_EQ(host({"--product", "Gravel", "--language", "fr", "--record-version", "999"}).exitCode,
              1);
}

// --json: one document on stdout, the same exit status; a dry run reads and writes nothing.
// The language "011" is decimal, not octal.
TEST_F(InstallHost, JsonReportsWhatADryRunWouldDoAndWhatTheCallDid) {
    auto doc = [](bool dry) {
        std::string domains;
        for (char const* format : {"AU", "VST"})
            domains += std::string(domains.empty() ? "" : ", ") +
                       R"({"domain": "com.velmora.audioplugins.CadenzaPRO.)" + format +
                       R"(", "before": null, "after": "ja", "changed": true})";
        return R"({"product": {"name": "CadenzaPRO", "code": 1500}, "language": {"number": 11, )"
               R"("lang": "ja"}, "dry_run": )" +
               std::string(dry ? "true" : "false") + R"(, "call": )" +
               (dry ? "null" : "\"factory\"") + R"(, "flags": )" + (dry ? "null" : "0") +
               R"(, "domains": [)" + domains + R"(], "note": null, "exit": 0, "error": null})" +
               "\n";
    };
    RunResult const dry =
        host({"--product", "CadenzaPRO", "--language", "011", "--dry-run", "--json"});
    EXPECT_EQ(std::pair(dry.exitCode, dry.out), std::pair(0, doc(true))) << dry.err;
    EXPECT_FALSE(std::filesystem::exists(m_root / "system"));
    RunResult const real = host({"--product", "CadenzaPRO", "--language", "011", "--json"});
    EXPECT_EQ(std::pair(real.exitCode, real.out), std::pair(0, doc(false))) << real.err;
}

TEST_F(InstallHost, UnwritableStoreExitsThreeNamingTheDomainsAndTheStoresReason) {
    velmora_test::WriteFile(m_root / "system", "a file where the all-users folder belongs\n");
    std::string const why = "the preference store does not hold \"Lang\" = \"ja\" in "
                            "com.velmora.audioplugins.Tempest.AU, com.velmora.audioplugins.Tempest."
                            "PT, com.velmora.audioplugins.Tempest.SA: " +
                            (m_root / "system") + ": not a folder";
    RunResult const text = host({"--product", "Tempest", "--language", "ja"});
    EXPECT_EQ(text.exitCode, 3);
    EXPECT_EQ(text.err.rfind("velmora-install-host: " + why, 0), 0u) << text.err;
    EXPECT_EQ(text.err.find('\n'), text.err.size() - 1) << "one line: " << text.err;
    RunResult const json = host({"--product", "Tempest", "--language", "ja", "--json"});
    EXPECT_EQ(json.exitCode, 3);
    std::string jsonWhy;
    for (char c : why)
        jsonWhy += c == '"' ? std::string("\\\"") : std::string(1, c);
    EXPECT_NE(json.out.find(R"("exit": 3, "error": ")" + jsonWhy), std::string::npos) << json.out;
}

TEST_F(InstallHost, BadArgumentsAndModulesExitWithTwoAndOneLine) {
    std::pair<std::vector<std::string>, char const*> const rows[] = {
        {{"--product", "Nope", "--language", "ja"}, "unknown product"},
        {{"--product", "Tempest", "--language", "xx"}, "unknown language"},
        {{"--product", "Tempest"}, "required"},
        {{"--product", "Tempest", "--language", "ja", "--message", "0x3"}, "16-bit"},
        {{"--product", "Tempest", "--language", "ja", "--module",
          "/nonexistent/VelmoraInstallerExtension.so"},
         "cannot load the module"},
        {{"--product", "Tempest", "--language", "ja", "--module", VELMORA_PLATFORM_LIBRARY},
         "lacks the symbol"},
    };
    for (auto const& [arguments, needle] : rows) {
        for (bool json : {false, true}) {
            std::vector<std::string> args = arguments;
            args.insert(args.begin(), VELMORA_INSTALL_HOST_TOOL);
            if (json)
                args.push_back("--json");
            RunResult const result = velmora_test::Run(args, env());
            EXPECT_EQ(result.exitCode, 2) << needle;
            EXPECT_NE(result.err.find(needle), std::string::npos) << result.err;
            EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << "one line: " << result.err;
            // With --json, stdout carries the reason alone as JSON.
            if (json)
                EXPECT_EQ(result.out.rfind("{\"exit\": 2, \"error\": \"", 0), 0u) << result.out;
            else
                EXPECT_EQ(result.out, "");
        }
    }
}

} // namespace

#endif
