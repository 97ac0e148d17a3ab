// Shows one alert through the UI functions, for the GUI alert test. The exit status is the
// answer: 0 when the first button was chosen, 1 otherwise.
//   velmora_alert_probe yesno TEXT   UI::MessageYesNo with the Mac Roman bytes of TEXT
//   velmora_alert_probe utf16        the UTF-16 UI::MessageOK, "Café 日本語" with "OK はい"
#include "UI/Alert.h"

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "yesno") == 0)
        return UI::MessageYesNo(nullptr, "Probe", argv[2], UI::FOCUS_YES, false) ? 0 : 1;
    if (argc == 2 && std::strcmp(argv[1], "utf16") == 0) {
        std::vector<unsigned short> const text = {'C', 'a',    'f',    0x00E9,
                                                  ' ', 0x65E5, 0x672C, 0x8A9E};
        std::vector<unsigned short> const button = {'O', 'K', ' ', 0x306F, 0x3044};
        UI::MessageOK(nullptr, {}, text, button, false);
        return 0;
    }
    std::fprintf(stderr, "usage: %s yesno TEXT | utf16\n", argv[0]);
    return 2;
}
