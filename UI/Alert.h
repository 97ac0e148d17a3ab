// Modal alert dialogs.
//
// Alerts are application-modal and untitled: the parent window, the title and the trailing
// flag of every function are accepted for callers and not used. The affirmative button is
// always the default button, whatever focus is asked for.
#pragma once

#include "common/common_string.h"

#include <vector>

struct OpaqueWindowPtr;

namespace UI {

// The button meant to have the focus: 0 names the first (affirmative) button, any other value
// the second.
enum YesNoFocus { FOCUS_YES = 0, FOCUS_NO = 1 };
enum OKCancelFocus { FOCUS_OK = 0, FOCUS_CANCEL = 1 };

// One OK button; true when OK was pressed, false when the alert could not be shown. Messages
// longer than 254 characters are cut to 254.
bool MessageOK(OpaqueWindowPtr* parent, String const& title, String const& text, bool sheet);
// "Yes" (default) and "No"; true only for "Yes".
bool MessageYesNo(OpaqueWindowPtr* parent, String const& title, String const& text,
                  YesNoFocus focus, bool sheet);
// OK (default) and Cancel; true only for OK.
bool MessageOKCancel(OpaqueWindowPtr* parent, String const& title, String const& text,
                     OKCancelFocus focus, bool sheet);
// A UTF-16 message with one button of the given UTF-16 text; nothing is reported.
void MessageOK(OpaqueWindowPtr* parent, std::vector<unsigned short> const& title,
               std::vector<unsigned short> const& text, std::vector<unsigned short> const& button,
               bool sheet);

} // namespace UI
