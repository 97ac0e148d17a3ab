/* Dialog Manager standard alerts.
 *
 * On Linux an alert is shown by the presenter that VELMORA_ALERTS names:
 *   "auto" (the default, also for unknown values): a GUI window when DISPLAY or
 *          WAYLAND_DISPLAY is set and SDL2 (libSDL2-2.0.so.0) loads, else a terminal prompt
 *          when stdin and stderr are terminals, else none. A window that cannot open falls
 *          back to the terminal the same way.
 *   "gui"      an SDL2 message box; fails without SDL2 or a display.
 *   "terminal" the text on stderr and a numbered choice read from stdin: Return alone picks
 *              the default button, end of input the cancel button (failure without one).
 *   "none"     shows nothing and fails.
 * An alert that cannot be shown or is left unanswered fails (dlgErr) and leaves the item hit
 * as it was. Buttons are shown in item order (1 OK, 2 cancel, 3 other); Return picks the
 * default button, Escape the cancel button. The caller's filter procedure, the help button,
 * movable and position are accepted (and logged) but have no effect.
 *
 * When VELMORA_ALERT_LOG names a file, every alert shown or attempted is appended to it as one
 * JSON line, e.g.
 *   {"call":"StandardAlert","alertType":1,"message":"Continue?","explanation":null,
 *    "buttons":["Yes","No"],"defaultButton":1,"cancelButton":2,"movable":true,
 *    "helpButton":false,"position":0,"presenter":"gui","shown":true,"itemHit":1,"status":0}
 * RunStandardAlert adds "version" and "flags"; StopAlert adds "alertID" and "found". Texts are
 * UTF-8; "buttons" lists the texts by item number, null for an item not shown; "itemHit" is 0
 * when no button was chosen; "status" is the call's result. */
#pragma once

#include <CoreFoundation/CFString.h>
#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef SInt16 AlertType;
enum { kAlertStopAlert = 0, kAlertNoteAlert = 1, kAlertCautionAlert = 2, kAlertPlainAlert = 3 };

typedef SInt16 DialogItemIndex;
typedef struct OpaqueDialogPtr* DialogRef;
typedef DialogRef DialogPtr;
typedef struct OpaqueWindowPtr* WindowRef;
typedef WindowRef WindowPtr;

/* Filter procedures are accepted and never called. */
typedef Boolean (*ModalFilterProcPtr)(DialogRef theDialog, void* theEvent,
                                      DialogItemIndex* itemHit);
typedef ModalFilterProcPtr ModalFilterUPP;

/* Button texts: a Pascal string, NULL for no button, or these for the system's own text
 * ("OK", "Cancel", "Don't Save"). The first button is always shown: a NULL defaultText gives
 * "OK". */
#define kAlertDefaultOKText ((ConstStringPtr)(intptr_t)-1)
#define kAlertDefaultCancelText ((ConstStringPtr)(intptr_t)-1)
#define kAlertDefaultOtherText ((ConstStringPtr)(intptr_t)-1)

enum {
    kAlertStdAlertOKButton = 1,
    kAlertStdAlertCancelButton = 2,
    kAlertStdAlertOtherButton = 3,
    kAlertStdAlertHelpButton = 4
};

enum { kWindowDefaultPosition = 0 };
enum { kStdCFStringAlertVersionOne = 1 };
enum { dlgErr = -1301 }; /* the alert could not be shown */

typedef struct AlertStdAlertParamRec {
    Boolean movable;
    Boolean helpButton;
    ModalFilterUPP filterProc;
    ConstStringPtr defaultText;
    ConstStringPtr cancelText;
    ConstStringPtr otherText;
    SInt16 defaultButton;
    SInt16 cancelButton;
    UInt16 position;
} AlertStdAlertParamRec;

typedef struct AlertStdCFStringAlertParamRec {
    UInt32 version;
    Boolean movable;
    Boolean helpButton;
    CFStringRef defaultText; /* NULL: the system's OK text */
    CFStringRef cancelText;
    CFStringRef otherText;
    SInt16 defaultButton;
    SInt16 cancelButton;
    UInt16 position;
    OptionBits flags;
} AlertStdCFStringAlertParamRec;

#define DIALOGS_EXPORT __attribute__((visibility("default")))

/* Shows a modal alert with the Mac Roman Pascal-string message inError (NULL: no text) and
 * waits for a button: noErr, and *outItemHit receives the button's item number (1 OK,
 * 2 cancel, 3 other); dlgErr, with *outItemHit untouched, when the alert could not be shown or
 * was left unanswered. A NULL inAlertParam gives one OK button. */
DIALOGS_EXPORT OSErr StandardAlert(AlertType inAlertType, ConstStr255Param inError,
                                   ConstStr255Param inExplanation,
                                   const AlertStdAlertParamRec* inAlertParam, SInt16* outItemHit);

/* Prepares an alert of CoreFoundation strings, keeping its own references to the strings
 * (NULL param: one OK button). paramErr when outAlert is NULL. */
DIALOGS_EXPORT OSStatus CreateStandardAlert(AlertType alertType, CFStringRef error,
                                            CFStringRef explanation,
                                            const AlertStdCFStringAlertParamRec* param,
                                            DialogRef* outAlert);
/* Shows an alert made by CreateStandardAlert, as StandardAlert does, and disposes of it
 * whatever the outcome: noErr with *outItemHit set, or dlgErr. */
DIALOGS_EXPORT OSStatus RunStandardAlert(DialogRef inAlert, ModalFilterUPP filterProc,
                                         DialogItemIndex* outItemHit);

/* Shows alert resource alertID as a stop alert with one OK button and returns the item hit.
 * Its text comes from the property list (XML or binary) that VELMORA_ALERT_RESOURCES names: a
 * dictionary whose keys are decimal ids and whose values are strings, e.g. key "5000". A
 * missing file, id or string shows nothing and returns -1, as does an alert that could not be
 * shown. */
DIALOGS_EXPORT DialogItemIndex StopAlert(SInt16 alertID, ModalFilterUPP modalFilter);

#ifdef __cplusplus
}
#endif
