/* Dialog Manager standard alerts.
 *
 * On Linux an alert is shown by the presenter that VELMORA_ALERTS names: "auto" (the default:
 * a GUI window when a display is reachable, else a terminal prompt when stdin and stderr are
 * terminals, else none), "gui", "terminal" or "none". An alert that cannot be shown fails and
 * leaves the item hit at 0. When VELMORA_ALERT_LOG names a file, every alert shown or attempted
 * is appended to it as one JSON line. */
#pragma once

#include <CoreFoundation/CFString.h>
#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef SInt16 AlertType;
enum {
    kAlertStopAlert = 0,
    kAlertNoteAlert = 1,
    kAlertCautionAlert = 2,
    kAlertPlainAlert = 3
};

typedef SInt16 DialogItemIndex;
typedef struct OpaqueDialogPtr* DialogRef;
typedef DialogRef DialogPtr;
typedef struct OpaqueWindowPtr* WindowRef;
typedef WindowRef WindowPtr;

/* Filter procedures are accepted and never called. */
typedef Boolean (*ModalFilterProcPtr)(DialogRef theDialog, void* theEvent,
                                      DialogItemIndex* itemHit);
typedef ModalFilterProcPtr ModalFilterUPP;

/* Button texts: a Pascal string, NULL for no button, or these for the system's own text. */
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

/* Shows a modal alert with the Pascal-string message inError (NULL: no text) and waits for a
 * button; *outItemHit receives the button's number (1 first, 2 second), or stays as it was when
 * the alert could not be shown. */
DIALOGS_EXPORT OSErr StandardAlert(AlertType inAlertType, ConstStr255Param inError,
                                   ConstStr255Param inExplanation,
                                   const AlertStdAlertParamRec* inAlertParam, SInt16* outItemHit);

/* Prepares an alert of CoreFoundation strings; RunStandardAlert shows it, waits and disposes
 * of it. */
DIALOGS_EXPORT OSStatus CreateStandardAlert(AlertType alertType, CFStringRef error,
                                            CFStringRef explanation,
                                            const AlertStdCFStringAlertParamRec* param,
                                            DialogRef* outAlert);
DIALOGS_EXPORT OSStatus RunStandardAlert(DialogRef inAlert, ModalFilterUPP filterProc,
                                         DialogItemIndex* outItemHit);

/* Shows alert resource alertID: its text comes from the property list (a dictionary of id ->
 * text) that VELMORA_ALERT_RESOURCES names. A missing resource shows nothing and returns -1. */
DIALOGS_EXPORT DialogItemIndex StopAlert(SInt16 alertID, ModalFilterUPP modalFilter);

#ifdef __cplusplus
}
#endif
