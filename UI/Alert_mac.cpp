// The alert dialogs on the Carbon Dialog Manager's standard alerts.
#include "UI/Alert.h"

#include "Util/CFString.h"

#include <Carbon/Carbon.h>

namespace {

// Pascal strings: a length byte, then the text.
unsigned char const kYesText[] = {3, 'Y', 'e', 's'};
unsigned char const kNoText[] = {2, 'N', 'o'};

// The message travels as a Pascal string, which holds 255 bytes at most.
unsigned int const kMaxMessageLength = 254;

// Shows text with an OK button, or with two buttons (OK/Cancel, or Yes/No when yesNoTexts is
// set); true exactly when the first button was chosen. An alert that cannot be shown answers
// false.
bool StandardAlertDialog(String const& text, bool twoButtons, bool yesNoTexts, bool focusOnFirst) {
    if (yesNoTexts)
        twoButtons = true;

    AlertStdAlertParamRec param;
    param.movable = true;
    param.helpButton = false;
    param.filterProc = nullptr;
    param.defaultText = kAlertDefaultOKText;
    param.cancelText = twoButtons ? kAlertDefaultCancelText : nullptr;
    param.otherText = nullptr;
    param.defaultButton = focusOnFirst ? kAlertStdAlertOKButton : kAlertStdAlertCancelButton;
    param.cancelButton = twoButtons ? kAlertStdAlertCancelButton : 0;
    param.position = kWindowDefaultPosition;
    if (yesNoTexts) {
        param.defaultText = kYesText;
        param.cancelText = kNoText;
    }

    String message(text);
    message.Truncate(kMaxMessageLength);
    Util::CFString cfMessage(message.Latin1(), Util::CFString::RELEASE);

    // The affirmative button is always the default, whatever focus was asked for.
    param.defaultButton = kAlertStdAlertOKButton;

    ConstStringPtr pascal = CFStringGetPascalStringPtr(cfMessage.Get(), kCFStringEncodingMacRoman);
    // Not every string keeps a Pascal form; then it is copied out.
    Str255 buffer;
    if (pascal == nullptr &&
        CFStringGetPascalString(cfMessage.Get(), buffer, sizeof buffer, kCFStringEncodingMacRoman))
        pascal = buffer;

    SInt16 itemHit = 0;
    StandardAlert(kAlertNoteAlert, pascal, nullptr, &param, &itemHit);
    return itemHit == kAlertStdAlertOKButton;
}

} // namespace

namespace UI {

bool MessageOK(OpaqueWindowPtr*, String const&, String const& text, bool) {
    return StandardAlertDialog(text, false, false, true);
}

bool MessageYesNo(OpaqueWindowPtr*, String const&, String const& text, YesNoFocus focus, bool) {
    return StandardAlertDialog(text, true, true, focus == 0);
}

bool MessageOKCancel(OpaqueWindowPtr*, String const&, String const& text, OKCancelFocus focus,
                     bool) {
    return StandardAlertDialog(text, true, false, focus == 0);
}

void MessageOK(OpaqueWindowPtr*, std::vector<unsigned short> const&,
               std::vector<unsigned short> const& text, std::vector<unsigned short> const& button,
               bool) {
    Util::CFString cfButton(button.data(), static_cast<unsigned int>(button.size()),
                            Util::CFString::RELEASE);

    AlertStdCFStringAlertParamRec param;
    param.version = kStdCFStringAlertVersionOne;
    param.movable = true;
    param.helpButton = false;
    param.defaultText = cfButton.Get();
    param.cancelText = nullptr;
    param.otherText = nullptr;
    param.defaultButton = kAlertStdAlertOKButton;
    param.cancelButton = 0;
    param.position = kWindowDefaultPosition;
    param.flags = 0;

    DialogRef dialog = nullptr;
    OSStatus created = noErr;
    {
        Util::CFString cfMessage(text.data(), static_cast<unsigned int>(text.size()),
                                 Util::CFString::RELEASE);
        created = CreateStandardAlert(kAlertNoteAlert, cfMessage.Get(), nullptr, &param, &dialog);
    }
    if (created == noErr) {
        DialogItemIndex itemHit = 0;
        RunStandardAlert(dialog, nullptr, &itemHit);
    }
}

} // namespace UI
