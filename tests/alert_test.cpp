// Alerts: the parameter records each UI form hands the Dialog Manager, observed through the
// alert log, the result rule, the presenter choice, the terminal presenter and StopAlert.
#include "UI/Alert.h"

#include "test_support.h"

#include <Carbon/Carbon.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace {

using velmora_test::ReadFile;
using velmora_test::TempDir;
using velmora_test::WriteFile;

// Runs each test with a private alert log, no display and stdin at end of input; restores the
// environment and stdin/stderr afterwards.
class Alerts : public ::testing::Test {
protected:
    void SetUp() override {
        m_log = m_dir / "alerts.log";
        m_saved = {"VELMORA_ALERTS", "VELMORA_ALERT_LOG", "VELMORA_ALERT_RESOURCES", "DISPLAY",
                   "WAYLAND_DISPLAY"};
        for (auto const& name : m_saved) {
            char const* v = std::getenv(name.c_str());
            m_values.push_back(v != nullptr ? std::optional<std::string>(v) : std::nullopt);
        }
        setenv("VELMORA_ALERTS", "none", 1);
        setenv("VELMORA_ALERT_LOG", m_log.c_str(), 1);
        unsetenv("VELMORA_ALERT_RESOURCES");
        unsetenv("DISPLAY");
        unsetenv("WAYLAND_DISPLAY");
        m_stdin = dup(STDIN_FILENO);
        m_stderr = dup(STDERR_FILENO);
        Answer("");
    }
    void TearDown() override {
        dup2(m_stdin, STDIN_FILENO);
        dup2(m_stderr, STDERR_FILENO);
        close(m_stdin);
        close(m_stderr);
        for (std::size_t i = 0; i < m_saved.size(); ++i) {
            if (m_values[i].has_value())
                setenv(m_saved[i].c_str(), m_values[i]->c_str(), 1);
            else
                unsetenv(m_saved[i].c_str());
        }
    }

    // The next alerts read input from stdin; their prompts go to Prompts().
    void Answer(std::string const& input) {
        WriteFile(m_dir / "stdin", input);
        int const in = open((m_dir / "stdin").c_str(), O_RDONLY);
        dup2(in, STDIN_FILENO);
        close(in);
        int const err = open((m_dir / "stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(err, STDERR_FILENO);
        close(err);
    }
    std::string Prompts() const { return ReadFile(m_dir / "stderr"); }

    // The log's lines; each test expects exactly one.
    std::string OnlyLogLine() const {
        std::string const log = ReadFile(m_log);
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
        return log.substr(0, log.find('\n'));
    }

    TempDir m_dir;
    std::string m_log;

private:
    std::vector<std::string> m_saved;
    std::vector<std::optional<std::string>> m_values;
    int m_stdin = -1;
    int m_stderr = -1;
};

// The shared tail of a line the "none" presenter leaves: nothing shown, item hit 0, dlgErr.
std::string const kNotShown = R"("presenter":"none","shown":false,"itemHit":0,"status":-1301})";
std::string const kPascalRecord = R"("movable":true,"helpButton":false,"position":0,)";

std::vector<unsigned short> utf16(std::u16string const& s) {
    return {s.begin(), s.end()};
}

TEST_F(Alerts, EachFormFillsItsRecord) {
    struct Row {
        char const* name;
        std::function<bool()> call;
        std::string line;
    };
    std::string const longText(300, 'x');
    Row const rows[] = {
        {"MessageOK: one OK button, no cancel",
         [] { return UI::MessageOK(nullptr, "Title", "Say \"hi\" \\ caf\x8E\rbye", true); },
         R"({"call":"StandardAlert","alertType":1,"message":"Say \"hi\" \\ café\rbye",)"
         R"("explanation":null,"buttons":["OK"],"defaultButton":1,"cancelButton":0,)" +
             kPascalRecord + kNotShown},
        {"YesNo with focus on No still defaults to Yes",
         [] { return UI::MessageYesNo(nullptr, "T", "Go on?", UI::FOCUS_NO, false); },
         R"({"call":"StandardAlert","alertType":1,"message":"Go on?","explanation":null,)"
         R"("buttons":["Yes","No"],"defaultButton":1,"cancelButton":2,)" +
             kPascalRecord + kNotShown},
        {"YesNo with focus on Yes",
         [] { return UI::MessageYesNo(nullptr, "T", "Go on?", UI::FOCUS_YES, false); },
         R"({"call":"StandardAlert","alertType":1,"message":"Go on?","explanation":null,)"
         R"("buttons":["Yes","No"],"defaultButton":1,"cancelButton":2,)" +
             kPascalRecord + kNotShown},
        {"OKCancel with focus on Cancel",
         [] { return UI::MessageOKCancel(nullptr, "T", "Delete?", UI::FOCUS_CANCEL, false); },
         R"({"call":"StandardAlert","alertType":1,"message":"Delete?","explanation":null,)"
         R"("buttons":["OK","Cancel"],"defaultButton":1,"cancelButton":2,)" +
             kPascalRecord + kNotShown},
        {"a 300-character message is cut to 254",
         [&] { return UI::MessageOK(nullptr, "T", longText.c_str(), false); },
         R"({"call":"StandardAlert","alertType":1,"message":")" + std::string(254, 'x') +
             R"(","explanation":null,"buttons":["OK"],"defaultButton":1,"cancelButton":0,)" +
             kPascalRecord + kNotShown},
        {"UTF-16 form: the CoreFoundation record",
         [] {
             UI::MessageOK(nullptr, utf16(u"T"), utf16(u"Caf\u00E9 \u65E5\u672C"), utf16(u"Fermer"),
                           false);
             return false;
         },
         R"({"call":"RunStandardAlert","alertType":1,"message":"Café 日本","explanation":null,)"
         R"("buttons":["Fermer"],"defaultButton":1,"cancelButton":0,"movable":true,)"
         R"("helpButton":false,"position":0,"version":1,"flags":0,)" +
             kNotShown},
    };
    for (auto const& row : rows) {
        std::remove(m_log.c_str());
        EXPECT_FALSE(row.call()) << row.name;
        EXPECT_EQ(OnlyLogLine(), row.line) << row.name;
    }
}

// The result is true exactly when the first button was chosen; the terminal presenter lets
// the test choose.
TEST_F(Alerts, ResultIsTrueOnlyForTheFirstButton) {
    struct Row {
        char const* name;
        bool yesNo;
        char const* input;
        bool result;
        char const* logTail;
    };
    Row const rows[] = {
        {"Return picks the default", true, "\n", true, R"("itemHit":1,"status":0})"},
        {"by number", true, "2\n", false, R"("itemHit":2,"status":0})"},
        {"by text, after a wrong answer", true, "maybe\n no \n", false,
         R"("itemHit":2,"status":0})"},
        {"end of input picks cancel", true, "", false, R"("itemHit":2,"status":0})"},
        {"end of input without cancel fails", false, "", false,
         R"("shown":false,"itemHit":0,"status":-1301})"},
        {"OK by number", false, "1\n", true, R"("itemHit":1,"status":0})"},
    };
    setenv("VELMORA_ALERTS", "terminal", 1);
    for (auto const& row : rows) {
        std::remove(m_log.c_str());
        Answer(row.input);
        bool const result = row.yesNo
                                ? UI::MessageYesNo(nullptr, "T", "Go on?", UI::FOCUS_NO, false)
                                : UI::MessageOK(nullptr, "T", "Done.", false);
        EXPECT_EQ(result, row.result) << row.name;
        std::string const line = OnlyLogLine();
        EXPECT_NE(line.find(R"("presenter":"terminal")"), std::string::npos) << row.name;
        EXPECT_NE(line.find(row.logTail), std::string::npos) << row.name << ": " << line;
    }
    Answer("\n");
    UI::MessageYesNo(nullptr, "T", "Go on?\rReally?", UI::FOCUS_NO, false);
    EXPECT_EQ(Prompts(), "Note: Go on?\n  Really?\n  1) Yes  (default)\n  2) No\n"
                         "Choose 1-2, Return for Yes: ");
}

TEST_F(Alerts, PresenterChoiceWithoutDisplayOrTerminal) {
    struct Row {
        char const* alerts;
        char const* presenter;
    };
    // stdin is a file here, so "auto" has no terminal either.
    Row const rows[] = {{"none", "none"}, {"auto", "none"}, {"unknown", "none"}, {"gui", "gui"}};
    for (auto const& row : rows) {
        std::remove(m_log.c_str());
        setenv("VELMORA_ALERTS", row.alerts, 1);
        EXPECT_FALSE(UI::MessageOK(nullptr, "T", "Hello", false)) << row.alerts;
        std::string const expected = std::string(R"("presenter":")") + row.presenter +
                                     R"(","shown":false,"itemHit":0,"status":-1301})";
        std::string const line = OnlyLogLine();
        EXPECT_EQ(line.substr(line.size() - expected.size()), expected) << row.alerts;
    }
}

TEST_F(Alerts, FailedAlertLeavesItemHitAlone) {
    unsigned char const text[] = {2, 'H', 'i'};
    SInt16 itemHit = 7;
    EXPECT_EQ(StandardAlert(kAlertCautionAlert, text, text, nullptr, &itemHit), dlgErr);
    EXPECT_EQ(itemHit, 7);
    EXPECT_EQ(OnlyLogLine(), R"({"call":"StandardAlert","alertType":2,"message":"Hi",)"
                             R"("explanation":"Hi","buttons":["OK"],"defaultButton":1,)"
                             R"("cancelButton":0,"movable":false,"helpButton":false,)"
                             R"("position":0,)" +
                                 kNotShown);
}

TEST_F(Alerts, StandardAlertDialogHoldsAndReleasesItsStrings) {
    CFStringRef message = CFStringCreateWithCString(nullptr, "Hi", kCFStringEncodingUTF8);
    CFStringRef button = CFStringCreateWithCString(nullptr, "Go", kCFStringEncodingUTF8);
    AlertStdCFStringAlertParamRec param{};
    param.version = kStdCFStringAlertVersionOne;
    param.defaultText = button;
    param.defaultButton = 1;
    DialogRef dialog = nullptr;
    ASSERT_EQ(CreateStandardAlert(kAlertNoteAlert, message, nullptr, &param, &dialog), noErr);
    EXPECT_EQ(CFGetRetainCount(message), 2);
    EXPECT_EQ(CFGetRetainCount(button), 2);
    DialogItemIndex itemHit = 0;
    EXPECT_EQ(RunStandardAlert(dialog, nullptr, &itemHit), dlgErr);
    EXPECT_EQ(CFGetRetainCount(message), 1);
    EXPECT_EQ(CFGetRetainCount(button), 1);
    CFRelease(message);
    CFRelease(button);
    EXPECT_EQ(CreateStandardAlert(kAlertNoteAlert, nullptr, nullptr, nullptr, nullptr), paramErr);
    EXPECT_EQ(RunStandardAlert(nullptr, nullptr, &itemHit), paramErr);
}

TEST_F(Alerts, StopAlertShowsTheResourceText) {
    std::string const resources = m_dir / "alerts.plist";
    WriteFile(resources, R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
<key>5000</key><string>L'installation a échoué.</string>
<key>5001</key><integer>3</integer>
</dict></plist>
)");
    struct Row {
        char const* name;
        char const* resources; // null: VELMORA_ALERT_RESOURCES unset
        SInt16 id;
        char const* alerts;
        DialogItemIndex result;
        std::string line;
    };
    std::string const shown =
        R"({"call":"StopAlert","alertType":0,"message":"L'installation a échoué.",)"
        R"("explanation":null,"buttons":["OK"],"alertID":5000,"found":true,"defaultButton":1,)"
        R"("cancelButton":0,"presenter":)";
    auto missing = [](int id) {
        return R"({"call":"StopAlert","alertType":0,"message":null,"explanation":null,)"
               R"("buttons":["OK"],"alertID":)" +
               std::to_string(id) +
               R"(,"found":false,"defaultButton":1,"cancelButton":0,"presenter":"none",)"
               R"("shown":false,"itemHit":0,"status":-1})";
    };
    Row const rows[] = {
        {"found, answered", resources.c_str(), 5000, "terminal", 1,
         shown + R"("terminal","shown":true,"itemHit":1,"status":1})"},
        {"found, nobody to answer", resources.c_str(), 5000, "none", -1,
         shown + R"("none","shown":false,"itemHit":0,"status":-1})"},
        {"unknown id", resources.c_str(), 4999, "terminal", -1, missing(4999)},
        {"not a string", resources.c_str(), 5001, "terminal", -1, missing(5001)},
        {"no such file", "/nonexistent/alerts.plist", 5000, "terminal", -1, missing(5000)},
        {"no resource file named", nullptr, 5000, "terminal", -1, missing(5000)},
    };
    for (auto const& row : rows) {
        std::remove(m_log.c_str());
        Answer("\n");
        setenv("VELMORA_ALERTS", row.alerts, 1);
        if (row.resources != nullptr)
            setenv("VELMORA_ALERT_RESOURCES", row.resources, 1);
        else
            unsetenv("VELMORA_ALERT_RESOURCES");
        EXPECT_EQ(StopAlert(row.id, nullptr), row.result) << row.name;
        EXPECT_EQ(OnlyLogLine(), row.line) << row.name;
        if (row.result == -1) {
            EXPECT_EQ(Prompts(), "") << row.name << ": a missing resource shows nothing";
        }
    }
}

} // namespace
