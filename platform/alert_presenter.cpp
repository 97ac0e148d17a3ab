// This file provides the choice of alert presenter (VELMORA_ALERTS) and the text helpers the
// presenters share.
#include "platform/alert_presenter.h"

#include "platform/text_codec.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace velmora::alerts {

namespace {

enum class Choice { Auto, Gui, Terminal, None };

Choice requestedPresenter() {
    char const* value = std::getenv("VELMORA_ALERTS");
    if (value == nullptr)
        return Choice::Auto;
    if (std::strcmp(value, "gui") == 0)
        return Choice::Gui;
    if (std::strcmp(value, "terminal") == 0)
        return Choice::Terminal;
    if (std::strcmp(value, "none") == 0)
        return Choice::None;
    return Choice::Auto;
}

bool terminalAvailable() {
    return isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1;
}

std::string withLineFeeds(std::string const& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\r')
            out.push_back(text[i]);
        else if (i + 1 >= text.size() || text[i + 1] != '\n')
            out.push_back('\n');
    }
    return out;
}

} // namespace

Outcome presentAlert(Alert const& alert) {
    Outcome outcome;
    Result result = Result::Unavailable;
    switch (requestedPresenter()) {
    case Choice::None:
        break;
    case Choice::Gui:
        outcome.presenter = "gui";
        result = presentGui(alert, &outcome.itemHit);
        break;
    case Choice::Terminal:
        outcome.presenter = "terminal";
        result = presentTerminal(alert, &outcome.itemHit);
        break;
    case Choice::Auto:
        if (guiAvailable()) {
            outcome.presenter = "gui";
            result = presentGui(alert, &outcome.itemHit);
        }
        // A box that could not open at all (a dead display) falls back to the terminal.
        if (result == Result::Unavailable && terminalAvailable()) {
            outcome.presenter = "terminal";
            result = presentTerminal(alert, &outcome.itemHit);
        }
        break;
    }
    outcome.shown = result == Result::Answered;
    if (!outcome.shown)
        outcome.itemHit = 0;
    return outcome;
}

std::string displayText(Alert const& alert) {
    std::string text = withLineFeeds(alert.message.value_or(std::string()));
    if (alert.explanation.has_value() && !alert.explanation->empty())
        text += (text.empty() ? "" : "\n\n") + withLineFeeds(*alert.explanation);
    return text;
}

std::string utf8FromMacRoman(unsigned char const* bytes, std::size_t n) {
    std::u16string units;
    units.reserve(n);
    for (std::size_t i = 0; i < n; ++i)
        units.push_back(text::macRomanToUnit(bytes[i]));
    std::string out;
    text::utf16ToUtf8(units.data(), units.size(), out);
    return out;
}

} // namespace velmora::alerts
