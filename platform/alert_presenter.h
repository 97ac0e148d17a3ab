// The presenters behind the Dialog Manager's standard alerts, for the layer's own sources.
//
// Dialogs.cpp turns each Carbon call into an Alert, hands it to presentAlert and writes the
// outcome to the alert log. presentAlert picks the presenter that VELMORA_ALERTS names.
#pragma once

#include <MacTypes.h>

#include <optional>
#include <string>

namespace velmora::alerts {

// One alert, with every text already in UTF-8.
struct Alert {
    SInt16 type = 1;                        // kAlertStopAlert ... kAlertPlainAlert
    std::optional<std::string> message;     // none: the alert has no text
    std::optional<std::string> explanation; // the smaller text under the message
    // The buttons by item number: [0] is item 1 (OK), [1] item 2 (cancel), [2] item 3
    // (other). An empty slot shows no button.
    std::optional<std::string> buttons[3];
    int defaultButton = 1; // the item Return picks, 0 for none
    int cancelButton = 0;  // the item Escape (or end of input) picks, 0 for none
};

// What became of an alert.
struct Outcome {
    bool shown = false;             // a presenter showed it and got an answer
    int itemHit = 0;                // the item chosen; 0 when not shown
    char const* presenter = "none"; // "gui", "terminal" or "none": the last one tried
};

// How one presenter fared.
enum class Result {
    Answered,   // a button was chosen
    Unanswered, // shown, but left without a button the alert can report
    Unavailable // could not be shown at all
};

// Shows alert with the presenter VELMORA_ALERTS names and waits for the answer:
//   "none"      shows nothing; the alert is not shown.
//   "gui"       an SDL2 message box; not shown when SDL2 or a display is missing.
//   "terminal"  the text on stderr and a numbered choice read from stdin.
//   "auto" (also unset or any other value) "gui" when DISPLAY or WAYLAND_DISPLAY is set and
//               SDL2 loads, else "terminal" when stdin and stderr are terminals, else "none".
//               A GUI box that fails to open falls back to the terminal in the same way.
Outcome presentAlert(Alert const& alert);

// True when DISPLAY or WAYLAND_DISPLAY is set and SDL2 loads.
bool guiAvailable();
// The GUI presenter; *itemHit is set when Answered. Closing the box without a button counts
// as the cancel button, and leaves an alert without one Unanswered.
Result presentGui(Alert const& alert, int* itemHit);

// The terminal presenter; *itemHit is set when Answered. An empty line picks the default
// button; end of input picks the cancel button, and leaves an alert without one Unanswered.
Result presentTerminal(Alert const& alert, int* itemHit);

// The message and the explanation as one text, with a blank line between them and every line
// break (Mac text breaks lines with CR) as LF.
std::string displayText(Alert const& alert);

// The UTF-8 form of Mac Roman bytes (every byte has one).
std::string utf8FromMacRoman(unsigned char const* bytes, std::size_t n);

} // namespace velmora::alerts
