// The GUI alert presenter: SDL2's message box, with SDL2 loaded at run time so that the layer
// does not depend on it (a host without a desktop never loads it).
#include "platform/alert_presenter.h"

#include <SDL_messagebox.h>

#include <dlfcn.h>
#include <errno.h> // program_invocation_short_name
#include <langinfo.h>
#include <locale.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace velmora::alerts {

namespace {

using ShowMessageBoxFn = int (*)(SDL_MessageBoxData const*, int*);

// SDL_ShowMessageBox, or null when SDL2 cannot be loaded. Loaded once and kept for the life of
// the process: SDL keeps state of its own that must not be unmapped.
ShowMessageBoxFn showMessageBox() {
    static ShowMessageBoxFn fn = nullptr;
    static std::once_flag once;
    std::call_once(once, [] {
        void* sdl = dlopen("libSDL2-2.0.so.0", RTLD_NOW | RTLD_LOCAL);
        if (sdl != nullptr)
            fn = reinterpret_cast<ShowMessageBoxFn>(dlsym(sdl, "SDL_ShowMessageBox"));
    });
    return fn;
}

bool isSet(char const* name) {
    char const* value = std::getenv(name);
    return value != nullptr && *value != '\0';
}

// True when the locale the environment asks for encodes characters as UTF-8.
bool environmentLocaleIsUtf8() {
    locale_t const loc = newlocale(LC_CTYPE_MASK, "", static_cast<locale_t>(nullptr));
    if (loc == static_cast<locale_t>(nullptr))
        return false;
    bool const utf8 = std::strcmp(nl_langinfo_l(CODESET, loc), "UTF-8") == 0;
    freelocale(loc);
    return utf8;
}

// Makes the message box draw non-ASCII text. SDL's X11 box draws through X font sets, which
// follow LC_CTYPE; under a non-UTF-8 locale (such as "C") every character beyond ASCII comes
// out blank. SDL sets the locale itself, from the environment (setlocale(LC_ALL, "") in a
// child process it forks), so a setlocale here would be lost: the environment's LC_ALL is set
// to C.UTF-8 for the call and restored afterwards. Alerts run on the main thread only, so
// changing the environment races with nothing.
class Utf8LocaleScope {
public:
    Utf8LocaleScope() {
        if (environmentLocaleIsUtf8())
            return;
        m_active = true;
        if (char const* all = std::getenv("LC_ALL"))
            m_oldAll = all;
        setenv("LC_ALL", "C.UTF-8", 1);
    }
    ~Utf8LocaleScope() {
        if (!m_active)
            return;
        if (m_oldAll.has_value())
            setenv("LC_ALL", m_oldAll->c_str(), 1);
        else
            unsetenv("LC_ALL");
    }
    Utf8LocaleScope(Utf8LocaleScope const&) = delete;
    Utf8LocaleScope& operator=(Utf8LocaleScope const&) = delete;

private:
    bool m_active = false;
    std::optional<std::string> m_oldAll;
};

Uint32 boxFlags(SInt16 type) {
    switch (type) {
    case 0: // kAlertStopAlert
        return SDL_MESSAGEBOX_ERROR;
    case 2: // kAlertCautionAlert
        return SDL_MESSAGEBOX_WARNING;
    default:
        return SDL_MESSAGEBOX_INFORMATION;
    }
}

} // namespace

bool guiAvailable() {
    return (isSet("DISPLAY") || isSet("WAYLAND_DISPLAY")) && showMessageBox() != nullptr;
}

Result presentGui(Alert const& alert, int* itemHit) {
    if (!guiAvailable())
        return Result::Unavailable;

    std::string const text = displayText(alert);

    std::vector<SDL_MessageBoxButtonData> buttons;
    for (int item = 1; item <= 3; ++item) {
        auto const& label = alert.buttons[item - 1];
        if (!label.has_value())
            continue;
        Uint32 flags = 0;
        if (item == alert.defaultButton)
            flags |= SDL_MESSAGEBOX_BUTTON_RETURNKEY_DEFAULT;
        if (item == alert.cancelButton)
            flags |= SDL_MESSAGEBOX_BUTTON_ESCAPEKEY_DEFAULT;
        buttons.push_back(SDL_MessageBoxButtonData{flags, item, label->c_str()});
    }

    // The caller's title is never shown; the window manager gets the program's name.
    char const* title = program_invocation_short_name != nullptr && *program_invocation_short_name
                            ? program_invocation_short_name
                            : "Alert";
    SDL_MessageBoxData const data{boxFlags(alert.type) | SDL_MESSAGEBOX_BUTTONS_LEFT_TO_RIGHT,
                                  nullptr,
                                  title,
                                  text.c_str(),
                                  static_cast<int>(buttons.size()),
                                  buttons.data(),
                                  nullptr};
    int buttonId = -1;
    int rc = 0;
    {
        Utf8LocaleScope utf8;
        rc = showMessageBox()(&data, &buttonId);
    }
    if (rc != 0)
        return Result::Unavailable;
    if (buttonId < 1 || buttonId > 3) {
        // Closed by the window manager: as Escape would.
        if (alert.cancelButton < 1 || alert.cancelButton > 3 ||
            !alert.buttons[alert.cancelButton - 1].has_value())
            return Result::Unanswered;
        buttonId = alert.cancelButton;
    }
    *itemHit = buttonId;
    return Result::Answered;
}

} // namespace velmora::alerts
