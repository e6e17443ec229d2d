// The options of the acceptance program that its child processes get too.
#pragma once

#include <string_view>

struct RunOptions {
    bool json = false;
    bool quick = false;
    bool modem = false;
    bool usb = false;
    bool device = false;
};

// An option without a value, as it is typed.
struct Switch {
    std::wstring_view word;
    bool RunOptions::* option;
};
inline constexpr Switch kSwitches[] = {
    {L"--json", &RunOptions::json},     {L"--quick", &RunOptions::quick},
    {L"--modem", &RunOptions::modem},   {L"--usb", &RunOptions::usb},
    {L"--device", &RunOptions::device},
};

// Sets the option that `word` names. Returns false if it names none.
inline bool SetOption(RunOptions& options, std::wstring_view word) {
    for (const Switch& known : kSwitches) {
        if (known.word == word) {
            return options.*known.option = true;
        }
    }
    return false;
}
