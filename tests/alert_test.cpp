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
#include <string>
#include <utility>
#include <vector>

namespace {

using velmora_test::ReadFile;

char const* const kVariables[] = {"VELMORA_ALERTS", "VELMORA_ALERT_LOG", "VELMORA_ALERT_RESOURCES",
                                  "DISPLAY", "WAYLAND_DISPLAY"};

// Runs each test with a private alert log, the "none" presenter, no display and stdin at end
// of input; puts the environment, stdin and stderr back afterwards.
class Alerts : public ::testing::Test {
protected:
    Alerts() {
        for (char const* name : kVariables) {
            if (char const* value = std::getenv(name))
                m_saved.emplace_back(name, value);
            unsetenv(name);
        }
        setenv("VELMORA_ALERTS", "none", 1);
        setenv("VELMORA_ALERT_LOG", m_log.c_str(), 1);
        Answer("");
    }
    ~Alerts() override {
        for (int fd : {STDIN_FILENO, STDERR_FILENO})
            dup2(m_fds[fd], fd), close(m_fds[fd]);
        for (char const* name : kVariables)
            unsetenv(name);
        for (auto const& [name, value] : m_saved)
            setenv(name.c_str(), value.c_str(), 1);
    }

    // The next alerts read input from stdin; their prompts go to Prompts().
    void Answer(std::string const& input) {
        velmora_test::WriteFile(m_dir / "stdin", input);
        int const in = open((m_dir / "stdin").c_str(), O_RDONLY);
        int const err = open((m_dir / "stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(in, STDIN_FILENO), dup2(err, STDERR_FILENO), close(in), close(err);
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
    std::vector<std::pair<std::string, std::string>> m_saved;
    int const m_fds[3] = {dup(STDIN_FILENO), -1, dup(STDERR_FILENO)};
};

// The log line of a note alert; itemHit 0 means it could not be shown, record ends the
// parameters.
std::string Line(std::string const& message, std::string const& buttons, int cancel,
                 std::string const& presenter = "none", int itemHit = 0,
                 std::string const& call = "StandardAlert", std::string const& record = "") {
    return R"({"call":")" + call + R"(","alertType":1,"message":")" + message +
           R"(","explanation":null,"buttons":[)" + buttons +
           R"(],"defaultButton":1,"cancelButton":)" + std::to_string(cancel) +
           R"(,"movable":true,"helpButton":false,"position":0,)" + record + R"("presenter":")" +
           presenter + R"(","shown":)" + (itemHit ? "true" : "false") + R"(,"itemHit":)" +
           std::to_string(itemHit) + R"(,"status":)" + (itemHit ? "0" : "-1301") + "}";
}

std::vector<unsigned short> utf16(std::u16string const& s) {
    return {s.begin(), s.end()};
}

// Each row runs under its own VELMORA_ALERTS; none of them can show anything here (stdin is a
// file, so "auto" finds no terminal either).
TEST_F(Alerts, EachFormFillsItsRecordAndNobodySeesIt) {
    unsigned char const hi[] = {2, 'H', 'i'};
    SInt16 itemHit = 7;
    struct Row {
        char const *name, *alerts;
        std::function<bool()> call; // false for a failed alert
        std::string line;
    } const rows[] = {
        {"MessageOK: one OK button, no cancel", "none",
         [] { return UI::MessageOK(nullptr, "Title", "Say \"hi\" \\ caf\x8E\rbye", true); },
         Line(R"(Say \"hi\" \\ café\rbye)", R"("OK")", 0)},
        {"YesNo with focus on No still defaults to Yes", "auto",
         [] { return UI::MessageYesNo(nullptr, "T", "Go on?", UI::FOCUS_NO, false); },
         Line("Go on?", R"("Yes","No")", 2)},
        {"OKCancel with focus on Cancel", "gui",
         [] { return UI::MessageOKCancel(nullptr, "T", "Delete?", UI::FOCUS_CANCEL, false); },
         Line("Delete?", R"("OK","Cancel")", 2, "gui")},
        {"a 300-character message is cut to 254", "unknown",
         [] { return UI::MessageOK(nullptr, "T", std::string(300, 'x').c_str(), false); },
         Line(std::string(254, 'x'), R"("OK")", 0)},
        {"UTF-16 form: the CoreFoundation record", "none",
         [] {
             UI::MessageOK(nullptr, utf16(u"T"), utf16(u"Caf\u00E9 \u65E5\u672C"), utf16(u"Fermer"),
                           false);
             return false;
         },
         Line("Café 日本", R"("Fermer")", 0, "none", 0, "RunStandardAlert",
              R"("version":1,"flags":0,)")},
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
// the test choose (itemHit 0: nothing shown).
TEST_F(Alerts, ResultIsTrueOnlyForTheFirstButton) {
    struct Row {
        char const *name, *input;
        bool yesNo;
        int itemHit;
    } const rows[] = {
        {"Return picks the default", "\n", true, 1},
        {"by number", "2\n", true, 2},
        {"by text, after a wrong answer", "maybe\n no \n", true, 2},
        {"end of input picks cancel", "", true, 2},
        {"end of input without cancel fails", "", false, 0},
        {"OK by number", "1\n", false, 1},
    };
    setenv("VELMORA_ALERTS", "terminal", 1);
    for (auto const& row : rows) {
        Answer(row.input);
        bool result = row.itemHit != 1;
        std::string const line = Logged([&] {
            result = row.yesNo ? UI::MessageYesNo(nullptr, "T", "Go on?", UI::FOCUS_NO, false)
                               : UI::MessageOK(nullptr, "T", "Done.", false);
        });
        EXPECT_EQ(result, row.itemHit == 1) << row.name;
        EXPECT_EQ(line, row.yesNo ? Line("Go on?", R"("Yes","No")", 2, "terminal", row.itemHit)
                                  : Line("Done.", R"("OK")", 0, "terminal", row.itemHit))
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

// A missing resource shows nothing: no prompt, message null, found false, status -1.
TEST_F(Alerts, StopAlertShowsTheResourceText) {
    std::string const resources = m_dir / "alerts.plist";
    velmora_test::WriteFile(resources,
                            "<plist><dict><key>5000</key><string>L'installation a échoué."
                            "</string><key>5001</key><integer>3</integer></dict></plist>");
    struct Row {
        char const *name, *resources, *alerts; // resources null: the variable unset
        SInt16 id;
        DialogItemIndex result;
        bool found;
    } const rows[] = {
        {"found, answered", resources.c_str(), "terminal", 5000, 1, true},
        {"found, nobody to answer", resources.c_str(), "none", 5000, -1, true},
        {"unknown id", resources.c_str(), "terminal", 4999, -1, false},
        {"not a string", resources.c_str(), "terminal", 5001, -1, false},
        {"no resource file named", nullptr, "terminal", 5000, -1, false},
    };
    for (auto const& row : rows) {
        Answer("\n");
        setenv("VELMORA_ALERTS", row.alerts, 1);
        row.resources ? setenv("VELMORA_ALERT_RESOURCES", row.resources, 1)
                      : unsetenv("VELMORA_ALERT_RESOURCES");
        bool const shown = row.result == 1;
        EXPECT_EQ(Logged([&] { EXPECT_EQ(StopAlert(row.id, nullptr), row.result) << row.name; }),
                  R"({"call":"StopAlert","alertType":0,"message":)" +
                      std::string(row.found ? R"("L'installation a échoué.")" : "null") +
                      R"(,"explanation":null,"buttons":["OK"],"alertID":)" +
                      std::to_string(row.id) + R"(,"found":)" + (row.found ? "true" : "false") +
                      R"(,"defaultButton":1,"cancelButton":0,"presenter":")" +
                      (row.found ? row.alerts : "none") + R"(","shown":)" +
                      (shown ? "true,\"itemHit\":1" : "false,\"itemHit\":0") + R"(,"status":)" +
                      std::to_string(row.result) + "}")
            << row.name;
        EXPECT_EQ(Prompts().empty(), !shown) << row.name;
    }
}

} // namespace
