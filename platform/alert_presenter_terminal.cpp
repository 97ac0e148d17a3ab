// The terminal alert presenter: the alert on stderr, the answer from stdin.
//
//   Note: Do you want to continue?
//     1) Yes  (default)
//     2) No
//   Choose 1-2, Return for Yes:
//
// stdin is read one byte at a time, so that nothing after the answer's line is taken from a
// host that reads stdin itself.
#include "platform/alert_presenter.h"

#include <errno.h>
#include <unistd.h>

#include <cctype>
#include <string>

namespace velmora::alerts {

namespace {

void writeAll(int fd, std::string const& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        ssize_t const n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        done += static_cast<std::size_t>(n);
    }
}

// One line of stdin without its line break; false at end of input (or a read error) before
// any byte of a line.
bool readLine(std::string& line) {
    line.clear();
    bool any = false;
    for (;;) {
        char c = 0;
        ssize_t const n = ::read(STDIN_FILENO, &c, 1);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return any;
        any = true;
        if (c == '\n')
            break;
        line.push_back(c);
    }
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return true;
}

std::string trimmed(std::string const& s) {
    std::size_t b = 0;
    std::size_t e = s.size();
    while (b < e && std::isspace(static_cast<unsigned char>(s[b])))
        ++b;
    while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1])))
        --e;
    return s.substr(b, e - b);
}

bool sameIgnoringAsciiCase(std::string const& a, std::string const& b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

char const* kindLabel(SInt16 type) {
    switch (type) {
    case 0:
        return "Stop: ";
    case 1:
        return "Note: ";
    case 2:
        return "Caution: ";
    default:
        return "";
    }
}

bool isShown(Alert const& alert, int item) {
    return item >= 1 && item <= 3 && alert.buttons[item - 1].has_value();
}

// The item an answer names: its number or its button text; 0 for none.
int itemOfAnswer(Alert const& alert, std::string const& answer) {
    for (int item = 1; item <= 3; ++item) {
        if (!isShown(alert, item))
            continue;
        if (answer == std::to_string(item) ||
            sameIgnoringAsciiCase(answer, *alert.buttons[item - 1]))
            return item;
    }
    return 0;
}

} // namespace

Result presentTerminal(Alert const& alert, int* itemHit) {
    int first = 0;
    int last = 0;
    std::string prompt = kindLabel(alert.type);
    std::string const text = displayText(alert);
    // Continuation lines are indented under the first.
    for (char c : text) {
        prompt.push_back(c);
        if (c == '\n')
            prompt += "  ";
    }
    prompt.push_back('\n');
    for (int item = 1; item <= 3; ++item) {
        if (!isShown(alert, item))
            continue;
        first = first == 0 ? item : first;
        last = item;
        prompt += "  " + std::to_string(item) + ") " + *alert.buttons[item - 1];
        if (item == alert.defaultButton)
            prompt += "  (default)";
        prompt.push_back('\n');
    }
    if (first == 0)
        return Result::Unavailable;

    std::string question = "Choose " + std::to_string(first);
    if (last != first)
        question += "-" + std::to_string(last);
    if (isShown(alert, alert.defaultButton))
        question += ", Return for " + *alert.buttons[alert.defaultButton - 1];
    question += ": ";

    writeAll(STDERR_FILENO, prompt);
    for (;;) {
        writeAll(STDERR_FILENO, question);
        std::string line;
        if (!readLine(line)) {
            writeAll(STDERR_FILENO, "\n");
            if (!isShown(alert, alert.cancelButton))
                return Result::Unanswered;
            *itemHit = alert.cancelButton;
            return Result::Answered;
        }
        std::string const answer = trimmed(line);
        int const item = answer.empty() && isShown(alert, alert.defaultButton)
                             ? alert.defaultButton
                             : itemOfAnswer(alert, answer);
        if (item != 0) {
            *itemHit = item;
            return Result::Answered;
        }
    }
}

} // namespace velmora::alerts
