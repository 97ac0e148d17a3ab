/// \file
/// Dialog Manager standard alerts.
///
/// On Linux an alert is shown by the presenter that VELMORA_ALERTS names:
///
/// - "auto" (the default, also for unknown values): a GUI window when DISPLAY or
///   WAYLAND_DISPLAY is set and SDL2 (libSDL2-2.0.so.0, loaded with dlopen on first use)
///   loads, else a terminal prompt when stdin and stderr are terminals, else none. A window
///   that cannot open falls back to the terminal the same way.
/// - "gui": an SDL2 message box; fails without SDL2 or a display.
/// - "terminal": the text on stderr and a numbered choice read from stdin (a button's number
///   or its text, in any case): Return alone picks the default button, end of input the cancel
///   button (failure without one).
/// - "none": shows nothing and fails.
///
/// An alert that cannot be shown or is left unanswered fails (dlgErr) and leaves the item hit
/// as it was. Buttons are shown in item order (1 OK, 2 cancel, 3 other); Return picks the
/// default button, Escape the cancel button. The caller's filter procedure, the help button,
/// movable and position are accepted (and logged) but have no effect. The window's title is
/// the program's name.
///
/// When VELMORA_ALERT_LOG names a file, every alert shown or attempted is appended to it as one
/// JSON line, for example:
///
///     {"call":"StandardAlert","alertType":1,"message":"Continue?","explanation":null,
///      "buttons":["Yes","No"],"defaultButton":1,"cancelButton":2,"movable":true,
///      "helpButton":false,"position":0,"presenter":"gui","shown":true,"itemHit":1,"status":0}
///
/// RunStandardAlert adds "version" and "flags"; StopAlert adds "alertID" and "found". Texts are
/// UTF-8; "buttons" lists the texts by item number, null for an item not shown (trailing ones
/// are left out); "itemHit" is 0 when no button was chosen; "status" is the call's result.
/// docs/alerts.md describes the presenters and the log in full.
#pragma once

#include <CoreFoundation/CFString.h>
#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef SInt16 AlertType; ///< The kind of alert: kAlertStopAlert ... kAlertPlainAlert.
/// The kinds of alert; the GUI shows an error, warning or information box, the terminal a
/// "Stop: ", "Note: " or "Caution: " prefix.
enum {
    kAlertStopAlert = 0,    ///< An error.
    kAlertNoteAlert = 1,    ///< Information.
    kAlertCautionAlert = 2, ///< A warning.
    kAlertPlainAlert = 3    ///< No icon or prefix.
};

typedef SInt16 DialogItemIndex;            ///< A button's item number: 1 OK, 2 cancel, 3 other.
typedef struct OpaqueDialogPtr* DialogRef; ///< An alert made by CreateStandardAlert.
typedef DialogRef DialogPtr;               ///< The same as DialogRef.
typedef struct OpaqueWindowPtr* WindowRef; ///< A window; declared only.
typedef WindowRef WindowPtr;               ///< The same as WindowRef.

/// Filter procedures are accepted and never called.
typedef Boolean (*ModalFilterProcPtr)(DialogRef theDialog, void* theEvent,
                                      DialogItemIndex* itemHit);
typedef ModalFilterProcPtr ModalFilterUPP; ///< The same as ModalFilterProcPtr.

/// \name Default button texts
/// Button texts: a Pascal string, NULL for no button, or these for the system's own text
/// ("OK", "Cancel", "Don't Save"). The first button is always shown: a NULL defaultText gives
/// "OK".
///@{

/// The system's own text for the button in this field.
#define kAlertDefaultOKText ((ConstStringPtr)(intptr_t)-1)
#define kAlertDefaultCancelText ((ConstStringPtr)(intptr_t)-1)
#define kAlertDefaultOtherText ((ConstStringPtr)(intptr_t)-1)
///@}

/// Item numbers of the buttons.
enum {
    kAlertStdAlertOKButton = 1,     ///< The first button, shown at the left.
    kAlertStdAlertCancelButton = 2, ///< The second button.
    kAlertStdAlertOtherButton = 3,  ///< The third button.
    kAlertStdAlertHelpButton = 4    ///< Declared only; no help button is shown.
};

/// Alert positions; every position is accepted and has no effect.
enum {
    kWindowDefaultPosition = 0 ///< The default position.
};
/// Versions of AlertStdCFStringAlertParamRec.
enum {
    kStdCFStringAlertVersionOne = 1 ///< The only version.
};
/// Result codes of the alerts.
enum {
    dlgErr = -1301 ///< The alert could not be shown or was left unanswered.
};

/// The buttons of a StandardAlert, in Pascal strings.
typedef struct AlertStdAlertParamRec {
    Boolean movable;            ///< Accepted and logged; no effect.
    Boolean helpButton;         ///< Accepted and logged; no help button is shown.
    ModalFilterUPP filterProc;  ///< Never called.
    ConstStringPtr defaultText; ///< Item 1: text, kAlertDefaultOKText, or NULL for "OK".
    ConstStringPtr cancelText;  ///< Item 2: text, kAlertDefaultCancelText, or NULL for none.
    ConstStringPtr otherText;   ///< Item 3: text, kAlertDefaultOtherText, or NULL for none.
    SInt16 defaultButton;       ///< The item Return picks; 0 for none.
    SInt16 cancelButton;        ///< The item Escape and end of input pick; 0 for none.
    UInt16 position;            ///< Accepted and logged; no effect.
} AlertStdAlertParamRec;

/// The buttons of a CreateStandardAlert, in CoreFoundation strings.
typedef struct AlertStdCFStringAlertParamRec {
    UInt32 version;          ///< kStdCFStringAlertVersionOne; logged.
    Boolean movable;         ///< Accepted and logged; no effect.
    Boolean helpButton;      ///< Accepted and logged; no help button is shown.
    CFStringRef defaultText; ///< Item 1: text, or NULL for the system's OK text.
    CFStringRef cancelText;  ///< Item 2: text, or NULL for none.
    CFStringRef otherText;   ///< Item 3: text, or NULL for none.
    SInt16 defaultButton;    ///< The item Return picks; 0 for none.
    SInt16 cancelButton;     ///< The item Escape and end of input pick; 0 for none.
    UInt16 position;         ///< Accepted and logged; no effect.
    OptionBits flags;        ///< Logged; no effect.
} AlertStdCFStringAlertParamRec;

/// Exports an alert function from the platform library.
#define DIALOGS_EXPORT __attribute__((visibility("default")))

/// Shows a modal alert with the Mac Roman Pascal-string message inError (NULL: no text) and
/// waits for a button: noErr, and `*outItemHit` receives the button's item number (1 OK,
/// 2 cancel, 3 other); dlgErr, with `*outItemHit` untouched, when the alert could not be shown
/// or was left unanswered. A NULL inAlertParam gives one OK button. inExplanation, when given,
/// is shown under the message after an empty line.
DIALOGS_EXPORT OSErr StandardAlert(AlertType inAlertType, ConstStr255Param inError,
                                   ConstStr255Param inExplanation,
                                   const AlertStdAlertParamRec* inAlertParam, SInt16* outItemHit);

/// Prepares an alert of CoreFoundation strings, keeping its own references to the strings
/// (NULL param: one OK button). paramErr when outAlert is NULL. Nothing is shown until
/// RunStandardAlert.
DIALOGS_EXPORT OSStatus CreateStandardAlert(AlertType alertType, CFStringRef error,
                                            CFStringRef explanation,
                                            const AlertStdCFStringAlertParamRec* param,
                                            DialogRef* outAlert);
/// Shows an alert made by CreateStandardAlert, as StandardAlert does, and disposes of it
/// whatever the outcome: noErr with `*outItemHit` set, or dlgErr; paramErr for a NULL alert.
DIALOGS_EXPORT OSStatus RunStandardAlert(DialogRef inAlert, ModalFilterUPP filterProc,
                                         DialogItemIndex* outItemHit);

/// Shows alert resource alertID as a stop alert with one OK button and returns the item hit
/// (1). Its text comes from the property list (XML or binary, at most 16 MiB) that
/// VELMORA_ALERT_RESOURCES names: a dictionary whose keys are decimal ids and whose values are
/// strings, such as the key "5000". A missing file, id or string shows nothing and returns -1,
/// as does an alert that could not be shown.
DIALOGS_EXPORT DialogItemIndex StopAlert(SInt16 alertID, ModalFilterUPP modalFilter);

#ifdef __cplusplus
}
#endif
