/// \file
/// Modal alert dialogs.
///
/// Alerts are application-modal and untitled: the parent window, the title and the trailing
/// flag of every function are accepted for callers and not used. The affirmative button is
/// always the default button, whatever focus is asked for. On Linux an alert appears as an
/// SDL2 window, a terminal prompt or not at all, as VELMORA_ALERTS chooses (see Carbon/Dialogs.h
/// and docs/alerts.md); an alert that cannot be shown counts as not confirmed.
///
///     if (UI::MessageYesNo(nullptr, "", "Replace the file?", UI::FOCUS_YES, false))
///         replace();   // only when "Yes" was chosen
#pragma once

#include "common/common_string.h"

#include <vector>

struct OpaqueWindowPtr;

/// Modal alert dialogs.
namespace UI {

/// The button meant to have the focus: 0 names the first (affirmative) button, any other value
/// the second. Focus does not move the default button.
enum YesNoFocus {
    FOCUS_YES = 0, ///< "Yes"
    FOCUS_NO = 1   ///< "No"
};
/// As YesNoFocus, for OK and Cancel.
enum OKCancelFocus {
    FOCUS_OK = 0,    ///< "OK"
    FOCUS_CANCEL = 1 ///< "Cancel"
};

/// One OK button; true when OK was pressed, false when the alert could not be shown. Messages
/// longer than 254 characters are cut to 254.
bool MessageOK(OpaqueWindowPtr* parent, String const& title, String const& text, bool sheet);
/// "Yes" (default, Return) and "No" (Escape); true only for "Yes". Messages are cut to 254
/// characters; an alert that cannot be shown answers false.
bool MessageYesNo(OpaqueWindowPtr* parent, String const& title, String const& text,
                  YesNoFocus focus, bool sheet);
/// OK (default, Return) and Cancel (Escape); true only for OK. Messages are cut to 254
/// characters; an alert that cannot be shown answers false.
bool MessageOKCancel(OpaqueWindowPtr* parent, String const& title, String const& text,
                     OKCancelFocus focus, bool sheet);
/// A UTF-16 message with one button of the given UTF-16 text; nothing is reported, and the
/// message is not cut.
void MessageOK(OpaqueWindowPtr* parent, std::vector<unsigned short> const& title,
               std::vector<unsigned short> const& text, std::vector<unsigned short> const& button,
               bool sheet);

} // namespace UI
