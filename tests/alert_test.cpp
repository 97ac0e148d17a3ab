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
#include <utility>
#include <vector>

namespace {

using velmora_test::ReadFile;

// Runs each test with a private alert log, the "none" presenter, no display and stdin at end
// of input; restores the environment and stdin/stderr afterwards.
class Alerts : public ::testing::Test {
protected:
    void SetUp() override {
        for (char const* name : {"VELMORA_ALERTS", "VELMORA_ALERT_LOG", "VELMORA_ALERT_RESOURCES",
                                 "DISPLAY", "WAYLAND_DISPLAY"}) {
            char const* value = std::getenv(name);
            m_saved.emplace_back(name, value ? std::optional<std::string>(value) : std::nullopt);
            unsetenv(name);
        }
        setenv("VELMORA_ALERTS", "none", 1);
        setenv("VELMORA_ALERT_LOG", m_log.c_str(), 1);
        m_stdin = dup(STDIN_FILENO);
        m_stderr = dup(STDERR_FILENO);
        Answer("");
    }
    void TearDown() override {
        dup2(m_stdin, STDIN_FILENO);
        dup2(m_stderr, STDERR_FILENO);
        close(m_stdin);
        close(m_stderr);
        for (auto const& [name, value] : m_saved)
            value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    }

    // The next alerts read input from stdin; their prompts go to Prompts().
    void Answer(std::string const& input) {
        velmora_test::WriteFile(m_dir / "stdin", input);
        int const in = open((m_dir / "stdin").c_str(), O_RDONLY);
        int const err = open((m_dir / "stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(in, STDIN_FILENO);
        dup2(err, STDERR_FILENO);
        close(in);
        close(err);
    }
    std::string Prompts() const { return ReadFile(m_dir / "stderr"); }

    // The one line that call leaves in the log.
    std::string Logged(std::function<void()> const& call) const {
        std::remove(m_log.c_str());
        call();
        std::string const log = ReadFile(m_log);
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
        return log.substr(0, log.find('\n'));
    }

    velmora_test::TempDir m_dir;
    std::string const m_log = m_dir / "alerts.log";

private:
    std::vector<std::pair<std::string, std::optional<std::string>>> m_saved;
    int m_stdin = -1;
    int m_stderr = -1;
};

std::vector<unsigned short> utf16(std::u16string const& s) {
    return {s.begin(), s.end()};
}

// Each row runs under its own VELMORA_ALERTS; none of them can show anything here (stdin is a
// file, so "auto" finds no terminal either).
TEST_F(Alerts, EachFormFillsItsRecordAndNobodySeesIt) {
    // The line of a note alert that the presenter could not show; record ends the parameters.
    auto const line = [](std::string const& call, std::string const& message,
                         std::string const& buttons, int cancel, std::string const& record,
                         std::string const& presenter = "none") {
        return R"({"call":")" + call + R"(","alertType":1,"message":")" + message +
               R"(","explanation":null,"buttons":[)" + buttons +
               R"(],"defaultButton":1,"cancelButton":)" + std::to_string(cancel) +
               R"(,"movable":true,"helpButton":false,"position":0,)" + record + R"("presenter":")" +
               presenter + R"(","shown":false,"itemHit":0,"status":-1301})";
    };
    std::string const longText(300, 'x');
    std::string const yesNo = line("StandardAlert", "Go on?", R"("Yes","No")", 2, "");
    unsigned char const hi[] = {2, 'H', 'i'};
    SInt16 itemHit = 7;
    struct Row {
        char const* name;
        char const* alerts;
        std::function<bool()> call; // false for a failed alert
        std::string line;
    } const rows[] = {
        {"MessageOK: one OK button, no cancel", "none",
         [] { return UI::MessageOK(nullptr, "Title", "Say \"hi\" \\ caf\x8E\rbye", true); },
         line("StandardAlert", R"(Say \"hi\" \\ café\rbye)", R"("OK")", 0, "")},
        {"YesNo with focus on No still defaults to Yes", "auto",
         [] { return UI::MessageYesNo(nullptr, "T", "Go on?", UI::FOCUS_NO, false); }, yesNo},
        {"OKCancel with focus on Cancel", "gui",
         [] { return UI::MessageOKCancel(nullptr, "T", "Delete?", UI::FOCUS_CANCEL, false); },
         line("StandardAlert", "Delete?", R"("OK","Cancel")", 2, "", "gui")},
        {"a 300-character message is cut to 254", "unknown",
         [&] { return UI::MessageOK(nullptr, "T", longText.c_str(), false); },
         line("StandardAlert", std::string(254, 'x'), R"("OK")", 0, "")},
        {"UTF-16 form: the CoreFoundation record", "none",
         [] {
             UI::MessageOK(nullptr, utf16(u"T"), utf16(u"Caf\u00E9 \u65E5\u672C"), utf16(u"Fermer"),
                           false);
             return false;
         },
         line("RunStandardAlert", "Café 日本", R"("Fermer")", 0, R"("version":1,"flags":0,)")},
        {"StandardAlert without parameters leaves the item hit alone", "none",
         [&] {
             return StandardAlert(kAlertCautionAlert, hi, hi, nullptr, &itemHit) != dlgErr ||
                    itemHit != 7;
         },
         R"({"call":"StandardAlert","alertType":2,"message":"Hi","explanation":"Hi",)"
         R"("buttons":["OK"],"defaultButton":1,"cancelButton":0,"movable":false,)"
         R"("helpButton":false,"position":0,"presenter":"none","shown":false,"itemHit":0,)"
         R"("status":-1301})"},
    };
    for (auto const& row : rows) {
        setenv("VELMORA_ALERTS", row.alerts, 1);
        EXPECT_EQ(Logged([&] { EXPECT_FALSE(row.call()) << row.name; }), row.line) << row.name;
    }
}

// The result is true exactly when the first button was chosen; the terminal presenter lets
// the test choose.
TEST_F(Alerts, ResultIsTrueOnlyForTheFirstButton) {
    std::string const shown = R"("presenter":"terminal","shown":true,"itemHit":)";
    struct Row {
        char const* name;
        bool yesNo;
        char const* input;
        bool result;
        std::string tail;
    } const rows[] = {
        {"Return picks the default", true, "\n", true, shown + R"(1,"status":0})"},
        {"by number", true, "2\n", false, shown + R"(2,"status":0})"},
        {"by text, after a wrong answer", true, "maybe\n no \n", false, shown + R"(2,"status":0})"},
        {"end of input picks cancel", true, "", false, shown + R"(2,"status":0})"},
        {"end of input without cancel fails", false, "", false,
         R"("presenter":"terminal","shown":false,"itemHit":0,"status":-1301})"},
        {"OK by number", false, "1\n", true, shown + R"(1,"status":0})"},
    };
    setenv("VELMORA_ALERTS", "terminal", 1);
    for (auto const& row : rows) {
        Answer(row.input);
        bool result = !row.result;
        std::string const line = Logged([&] {
            result = row.yesNo ? UI::MessageYesNo(nullptr, "T", "Go on?", UI::FOCUS_NO, false)
                               : UI::MessageOK(nullptr, "T", "Done.", false);
        });
        EXPECT_EQ(result, row.result) << row.name;
        EXPECT_EQ(line.substr(line.size() - std::min(line.size(), row.tail.size())), row.tail)
            << row.name;
    }
    Answer("\n");
    UI::MessageYesNo(nullptr, "T", "Go on?\rReally?", UI::FOCUS_NO, false);
    EXPECT_EQ(Prompts(), "Note: Go on?\n  Really?\n  1) Yes  (default)\n  2) No\n"
                         "Choose 1-2, Return for Yes: ");
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
    EXPECT_EQ(std::pair(CFGetRetainCount(message), CFGetRetainCount(button)), std::pair(2L, 2L));
    DialogItemIndex itemHit = 0;
    EXPECT_EQ(RunStandardAlert(dialog, nullptr, &itemHit), dlgErr);
    EXPECT_EQ(std::pair(CFGetRetainCount(message), CFGetRetainCount(button)), std::pair(1L, 1L));
    CFRelease(message);
    CFRelease(button);
    EXPECT_EQ(CreateStandardAlert(kAlertNoteAlert, nullptr, nullptr, nullptr, nullptr), paramErr);
    EXPECT_EQ(RunStandardAlert(nullptr, nullptr, &itemHit), paramErr);
}

TEST_F(Alerts, StopAlertShowsTheResourceText) {
    std::string const resources = m_dir / "alerts.plist";
    velmora_test::WriteFile(resources,
                            "<plist><dict><key>5000</key><string>L'installation a échoué."
                            "</string><key>5001</key><integer>3</integer></dict></plist>");
    std::string const found =
        R"({"call":"StopAlert","alertType":0,"message":"L'installation a échoué.",)"
        R"("explanation":null,"buttons":["OK"],"alertID":5000,"found":true,"defaultButton":1,)"
        R"("cancelButton":0,"presenter":)";
    auto const missing = [](int id) {
        return R"({"call":"StopAlert","alertType":0,"message":null,"explanation":null,)"
               R"("buttons":["OK"],"alertID":)" +
               std::to_string(id) +
               R"(,"found":false,"defaultButton":1,"cancelButton":0,"presenter":"none",)"
               R"("shown":false,"itemHit":0,"status":-1})";
    };
    struct Row {
        char const* name;
        char const* resources; // null: VELMORA_ALERT_RESOURCES unset
        SInt16 id;
        char const* alerts;
        DialogItemIndex result;
        std::string line;
    } const rows[] = {
        {"found, answered", resources.c_str(), 5000, "terminal", 1,
         found + R"("terminal","shown":true,"itemHit":1,"status":1})"},
        {"found, nobody to answer", resources.c_str(), 5000, "none", -1,
         found + R"("none","shown":false,"itemHit":0,"status":-1})"},
        {"unknown id", resources.c_str(), 4999, "terminal", -1, missing(4999)},
        {"not a string", resources.c_str(), 5001, "terminal", -1, missing(5001)},
        {"no such file", "/nonexistent/alerts.plist", 5000, "terminal", -1, missing(5000)},
        {"no resource file named", nullptr, 5000, "terminal", -1, missing(5000)},
    };
    for (auto const& row : rows) {
        Answer("\n");
        setenv("VELMORA_ALERTS", row.alerts, 1);
        row.resources ? setenv("VELMORA_ALERT_RESOURCES", row.resources, 1)
                      : unsetenv("VELMORA_ALERT_RESOURCES");
        EXPECT_EQ(Logged([&] { EXPECT_EQ(StopAlert(row.id, nullptr), row.result) << row.name; }),
                  row.line)
            << row.name;
        // A missing resource shows nothing.
        EXPECT_EQ(Prompts().empty(), row.result == -1) << row.name;
    }
}

} // namespace
