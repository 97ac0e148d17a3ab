// End to end: the host tool drives the real module against a private preference root, and
// the files are read back by other programs.
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
    };
    for (auto const& [args, expected] : rows) {
        RunResult const result = host(args);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.out.substr(result.out.find("flags:")), expected);
    }
}

TEST_F(InstallHost, FilesAreApplePropertyListsReadableByOtherTools) {
    ASSERT_EQ(host({"--product", "Tempest", "--language", "11"}).exitCode, 0);
    std::string file;
    for (auto const& entry : std::filesystem::directory_iterator(m_root.Path() + "/system/ByHost"))
        if (entry.path().filename().string().rfind("com.velmora.audioplugins.Tempest.SA.", 0) == 0)
            file = entry.path().string();
    ASSERT_FALSE(file.empty());
    EXPECT_EQ(file.substr(file.size() - 6), ".plist");
    EXPECT_EQ(velmora_test::ReadFile(file).compare(0, 8, "bplist00"), 0) << file;
    RunResult const xml = velmora_test::Run({"/usr/bin/plistutil", "-i", file});
    ASSERT_EQ(xml.exitCode, 0) << xml.err;
    EXPECT_NE(xml.out.find("<key>Lang</key>"), std::string::npos) << xml.out;
    EXPECT_NE(xml.out.find("<string>ja</string>"), std::string::npos) << xml.out;
#ifdef VELMORA_DEFAULTS_TOOL
    RunResult const read =
        velmora_test::Run({VELMORA_DEFAULTS_TOOL, "--all-users", "--current-host", "read",
                           "com.velmora.audioplugins.Tempest.PT", "Lang"},
                          env());
    EXPECT_EQ(read.exitCode, 0) << read.err;
    EXPECT_EQ(read.out, "ja\n");
#endif
}

TEST_F(InstallHost, UnknownVersionReportsFailureThroughFlagsAndAlerts) {
    RunResult const result =
        host({"--product", "Gravel", "--language", "fr", "--direct", "--record-version", "999"});
    EXPECT_EQ(result.exitCode, 1) << result.out << result.err;
    EXPECT_NE(result.out.find("flags:    0x00000001"), std::string::npos) << result.out;
    std::string const log = velmora_test::ReadFile(m_root / "alerts.jsonl");
    EXPECT_NE(log.find("Unable to set language key."), std::string::npos) << log;
    EXPECT_NE(log.find("StopAlert"), std::string::npos) << log;

    RunResult const silent =
        host({"--product", "Gravel", "--language", "fr", "--record-version", "999"});
    EXPECT_EQ(silent.exitCode, 1);
}

TEST_F(InstallHost, BadArgumentsAndModulesExitWithTwoAndOneLine) {
    struct Row {
        std::vector<std::string> args;
        char const* needle;
    };
    std::vector<Row> const rows = {
        {{VELMORA_INSTALL_HOST_TOOL, "--product", "Nope", "--language", "ja"}, "unknown product"},
        {{VELMORA_INSTALL_HOST_TOOL, "--product", "Tempest", "--language", "xx"},
         "unknown language"},
        {{VELMORA_INSTALL_HOST_TOOL, "--product", "Tempest"}, "required"},
        {{VELMORA_INSTALL_HOST_TOOL, "--product", "Tempest", "--language", "ja", "--message", "x"},
         "16-bit"},
        {{VELMORA_INSTALL_HOST_TOOL, "--product", "Tempest", "--language", "ja", "--module",
          "/nonexistent/VelmoraInstallerExtension.so"},
         "cannot load the module"},
        {{VELMORA_INSTALL_HOST_TOOL, "--product", "Tempest", "--language", "ja", "--module",
          "/lib/x86_64-linux-gnu/libm.so.6"},
         "lacks the symbol"},
    };
    for (auto const& r : rows) {
        RunResult const result = velmora_test::Run(r.args, env());
        EXPECT_EQ(result.exitCode, 2) << r.needle;
        EXPECT_NE(result.err.find(r.needle), std::string::npos) << result.err;
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << "one line: " << result.err;
    }
}

} // namespace

#endif
