// This file provides the Dialog Manager's standard alerts: StandardAlert, CreateStandardAlert,
// RunStandardAlert and StopAlert. Each call becomes an alert::Alert for the presenters of
// alert_presenter.h, and each alert shown or attempted is appended to the alert log.
#include <Carbon/Dialogs.h>

#include "platform/alert_presenter.h"
#include "platform/plist_file.h"
#include "platform/text_codec.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>

using velmora::alerts::Alert;
using velmora::alerts::Outcome;

struct OpaqueDialogPtr {
    AlertType type = kAlertNoteAlert;
    CFStringRef error = nullptr;
    CFStringRef explanation = nullptr;
    AlertStdCFStringAlertParamRec param{};
};

namespace {

// --- Text ---------------------------------------------------------------------------------

std::optional<std::string> textOfPascal(ConstStringPtr p) {
    if (p == nullptr)
        return std::nullopt;
    return velmora::alerts::utf8FromMacRoman(p + 1, p[0]);
}

// A CFString in UTF-8; an unpaired surrogate becomes U+FFFD rather than losing the text.
std::optional<std::string> textOfCFString(CFStringRef s) {
    if (s == nullptr)
        return std::nullopt;
    std::u16string units(static_cast<std::size_t>(CFStringGetLength(s)), u'\0');
    CFStringGetCharacters(s, CFRangeMake(0, static_cast<CFIndex>(units.size())),
                          reinterpret_cast<UniChar*>(units.data()));
    for (std::size_t i = 0; i < units.size(); ++i) {
        bool const high = units[i] >= 0xD800 && units[i] <= 0xDBFF;
        bool const low = units[i] >= 0xDC00 && units[i] <= 0xDFFF;
        if (high && i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF)
            ++i;
        else if (high || low)
            units[i] = 0xFFFD;
    }
    std::string out;
    velmora::text::utf16ToUtf8(units.data(), units.size(), out);
    return out;
}

// The system's own button texts.
char const* const kOKText = "OK";
char const* const kCancelText = "Cancel";
char const* const kOtherText = "Don't Save";

// A Pascal-record button: none for NULL, the system's text for the "default text" constant.
std::optional<std::string> buttonOfPascal(ConstStringPtr p, char const* systemText) {
    if (p == reinterpret_cast<ConstStringPtr>(static_cast<intptr_t>(-1)))
        return std::string(systemText);
    return textOfPascal(p);
}

// --- The alert log ------------------------------------------------------------------------

// One JSON object, built field by field.
class JsonLine {
public:
    JsonLine& field(char const* name, std::optional<std::string> const& value) {
        key(name);
        if (value.has_value())
            quote(*value);
        else
            m_text += "null";
        return *this;
    }
    JsonLine& field(char const* name, char const* value) {
        return field(name, std::optional<std::string>(value));
    }
    JsonLine& field(char const* name, long long value) {
        key(name);
        m_text += std::to_string(value);
        return *this;
    }
    JsonLine& flag(char const* name, bool value) {
        key(name);
        m_text += value ? "true" : "false";
        return *this;
    }
    JsonLine& list(char const* name, std::optional<std::string> const (&values)[3]) {
        key(name);
        // Trailing empty slots are left out: ["OK"] for a single button.
        int n = 3;
        while (n > 0 && !values[n - 1].has_value())
            --n;
        m_text += '[';
        for (int i = 0; i < n; ++i) {
            if (i > 0)
                m_text += ',';
            if (values[i].has_value())
                quote(*values[i]);
            else
                m_text += "null";
        }
        m_text += ']';
        return *this;
    }
    std::string Line() const { return m_text + "}\n"; }

private:
    void key(char const* name) {
        m_text += m_text.empty() ? '{' : ',';
        quote(name);
        m_text += ':';
    }
    void quote(std::string const& s) {
        m_text += '"';
        for (unsigned char c : s) {
            switch (c) {
            case '"':
                m_text += "\\\"";
                break;
            case '\\':
                m_text += "\\\\";
                break;
            case '\n':
                m_text += "\\n";
                break;
            case '\r':
                m_text += "\\r";
                break;
            case '\t':
                m_text += "\\t";
                break;
            default:
                if (c < 0x20 || c == 0x7F) {
                    char esc[8];
                    std::snprintf(esc, sizeof esc, "\\u%04x", c);
                    m_text += esc;
                } else {
                    m_text += static_cast<char>(c);
                }
            }
        }
        m_text += '"';
    }

    std::string m_text;
};

// The fields every log line has: the call, the alert and its buttons.
JsonLine describe(char const* call, Alert const& alert) {
    JsonLine line;
    line.field("call", call)
        .field("alertType", alert.type)
        .field("message", alert.message)
        .field("explanation", alert.explanation)
        .list("buttons", alert.buttons);
    return line;
}

// Appends line to the file VELMORA_ALERT_LOG names, in one write so that lines of processes
// sharing the file never interleave. The log is a diagnostic: a log that cannot be written
// does not fail the alert.
void appendToLog(JsonLine& line, Outcome const& outcome, long long status) {
    char const* path = std::getenv("VELMORA_ALERT_LOG");
    if (path == nullptr || *path == '\0')
        return;
    line.field("presenter", outcome.presenter)
        .flag("shown", outcome.shown)
        .field("itemHit", outcome.itemHit)
        .field("status", status);
    std::string const text = line.Line();
    int const fd = ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    ssize_t const written = ::write(fd, text.data(), text.size());
    (void)written;
    ::close(fd);
}

// --- Alert resources ----------------------------------------------------------------------

// The text of alert resource id in the property list VELMORA_ALERT_RESOURCES names: a
// dictionary whose keys are decimal ids and whose values are strings. None when the file,
// the key or a string value is missing.
std::optional<std::string> alertResourceText(SInt16 id) {
    char const* path = std::getenv("VELMORA_ALERT_RESOURCES");
    if (path == nullptr || *path == '\0')
        return std::nullopt;
    // Read no more than a preference file may hold, whatever the path names.
    constexpr std::size_t kMaxResourceFile = 16u * 1024u * 1024u;
    std::ifstream file(path, std::ios::binary);
    std::string data(kMaxResourceFile + 1, '\0');
    file.read(data.data(), static_cast<std::streamsize>(data.size()));
    data.resize(static_cast<std::size_t>(file.gcount()));
    if (file.bad() || data.size() > kMaxResourceFile)
        return std::nullopt;
    velmora::plist::Dictionary resources;
    if (resources.Parse(data) != velmora::plist::Dictionary::ParseResult::Ok)
        return std::nullopt;
    velmora::plist::Value value;
    if (!resources.Find(std::to_string(id), value) || !std::holds_alternative<std::string>(value))
        return std::nullopt;
    return std::get<std::string>(std::move(value));
}

CFStringRef retained(CFStringRef s) {
    return s != nullptr ? static_cast<CFStringRef>(CFRetain(s)) : nullptr;
}

void release(CFStringRef s) {
    if (s != nullptr)
        CFRelease(s);
}

// Shows an alert whose default and cancel buttons come from a parameter record of either
// kind, stores the item hit when it was answered and logs the record's common fields, then
// those that addFields adds. True when the alert was shown.
template <typename Record, typename AddFields>
bool presentWithRecord(char const* call, Alert& alert, Record const& param, SInt16* outItemHit,
                       AddFields addFields) {
    alert.defaultButton = param.defaultButton;
    alert.cancelButton = param.cancelButton;
    Outcome const outcome = velmora::alerts::presentAlert(alert);
    if (outcome.shown && outItemHit != nullptr)
        *outItemHit = static_cast<SInt16>(outcome.itemHit);
    JsonLine line = describe(call, alert);
    line.field("defaultButton", param.defaultButton)
        .field("cancelButton", param.cancelButton)
        .flag("movable", param.movable)
        .flag("helpButton", param.helpButton)
        .field("position", param.position);
    addFields(line);
    appendToLog(line, outcome, outcome.shown ? OSStatus{noErr} : OSStatus{dlgErr});
    return outcome.shown;
}

} // namespace

OSErr StandardAlert(AlertType inAlertType, ConstStr255Param inError, ConstStr255Param inExplanation,
                    const AlertStdAlertParamRec* inAlertParam, SInt16* outItemHit) {
    // No record: the Mac's plain alert with one OK button.
    AlertStdAlertParamRec param{};
    param.defaultText = kAlertDefaultOKText;
    param.defaultButton = kAlertStdAlertOKButton;
    if (inAlertParam != nullptr)
        param = *inAlertParam;

    Alert alert;
    alert.type = inAlertType;
    alert.message = textOfPascal(inError);
    alert.explanation = textOfPascal(inExplanation);
    // The first button is always there, so that every alert can be answered.
    alert.buttons[0] = param.defaultText != nullptr ? buttonOfPascal(param.defaultText, kOKText)
                                                    : std::string(kOKText);
    alert.buttons[1] = buttonOfPascal(param.cancelText, kCancelText);
    alert.buttons[2] = buttonOfPascal(param.otherText, kOtherText);
    bool const shown =
        presentWithRecord("StandardAlert", alert, param, outItemHit, [](JsonLine&) {});
    return shown ? OSErr{noErr} : OSErr{dlgErr};
}

OSStatus CreateStandardAlert(AlertType alertType, CFStringRef error, CFStringRef explanation,
                             const AlertStdCFStringAlertParamRec* param, DialogRef* outAlert) {
    if (outAlert == nullptr)
        return paramErr;
    auto* dialog = new OpaqueDialogPtr;
    dialog->type = alertType;
    dialog->error = retained(error);
    dialog->explanation = retained(explanation);
    if (param != nullptr) {
        dialog->param = *param;
    } else {
        dialog->param.version = kStdCFStringAlertVersionOne;
        dialog->param.defaultButton = kAlertStdAlertOKButton;
    }
    dialog->param.defaultText = retained(dialog->param.defaultText);
    dialog->param.cancelText = retained(dialog->param.cancelText);
    dialog->param.otherText = retained(dialog->param.otherText);
    *outAlert = dialog;
    return noErr;
}

OSStatus RunStandardAlert(DialogRef inAlert, ModalFilterUPP, DialogItemIndex* outItemHit) {
    if (inAlert == nullptr)
        return paramErr;
    AlertStdCFStringAlertParamRec const& param = inAlert->param;

    Alert alert;
    alert.type = inAlert->type;
    alert.message = textOfCFString(inAlert->error);
    alert.explanation = textOfCFString(inAlert->explanation);
    alert.buttons[0] =
        param.defaultText != nullptr ? textOfCFString(param.defaultText) : std::string(kOKText);
    alert.buttons[1] = textOfCFString(param.cancelText);
    alert.buttons[2] = textOfCFString(param.otherText);
    bool const shown =
        presentWithRecord("RunStandardAlert", alert, param, outItemHit, [&](JsonLine& line) {
            line.field("version", param.version).field("flags", param.flags);
        });
    OSStatus const status = shown ? OSStatus{noErr} : OSStatus{dlgErr};

    release(inAlert->error);
    release(inAlert->explanation);
    release(param.defaultText);
    release(param.cancelText);
    release(param.otherText);
    delete inAlert;
    return status;
}

DialogItemIndex StopAlert(SInt16 alertID, ModalFilterUPP) {
    std::optional<std::string> const text = alertResourceText(alertID);

    Alert alert;
    alert.type = kAlertStopAlert;
    alert.message = text;
    alert.buttons[0] = std::string(kOKText);
    alert.defaultButton = kAlertStdAlertOKButton;
    alert.cancelButton = 0;

    // A missing resource shows nothing.
    Outcome const outcome = text.has_value() ? velmora::alerts::presentAlert(alert) : Outcome{};
    DialogItemIndex const result = outcome.shown ? static_cast<DialogItemIndex>(outcome.itemHit)
                                                 : static_cast<DialogItemIndex>(-1);

    JsonLine line = describe("StopAlert", alert);
    line.field("alertID", alertID)
        .flag("found", text.has_value())
        .field("defaultButton", alert.defaultButton)
        .field("cancelButton", alert.cancelButton);
    appendToLog(line, outcome, result);
    return result;
}
