// Prints the table of USB values that protocol.md contains, from the program's own: Markdown, in
// UTF-8.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "usbpath/usbfnvalues.h"

namespace {

// Below HKEY_LOCAL_MACHINE\SYSTEM\ControlSet001\, which all keys have in common.
const wchar_t* ShortKey(const UsbfnStep& step) {
    constexpr std::wstring_view kCommon = L"SYSTEM\\ControlSet001\\";
    if (!std::wstring_view(step.key_path).starts_with(kCommon)) {
        std::abort();
    }
    return step.key_path + kCommon.size();
}

std::wstring Value(const UsbfnStep& step) {
    wchar_t number[32] = {};
    switch (step.action) {
        case UsbfnAction::kDelete:
            return L"deleted";
        case UsbfnAction::kSetDword:
            std::swprintf(number, std::size(number), L"REG_DWORD 0x%X", step.number);
            return number;
        case UsbfnAction::kSetString:
            return L"REG_SZ `" + std::wstring(step.text) + L"`";
        case UsbfnAction::kSetInterfaceList: {
            std::wstring names(step.text.substr(0, step.text.size() - 2));
            std::replace(names.begin(), names.end(), L'\0', L' ');
            return L"REG_MULTI_SZ `" + names + L"`";
        }
        case UsbfnAction::kSetBinary:
            return L"REG_BINARY, " + std::to_wstring(step.bytes.size()) + L" bytes, below";
    }
    std::abort();
}

const UsbfnStep* WayBack(const UsbfnStep& step) {
    const auto found = std::find_if(kApSequence.begin(), kApSequence.end(), [&](const auto& back) {
        return std::wstring_view(back.key_path) == step.key_path &&
               std::wstring_view(back.value_name) == step.value_name;
    });
    return found != kApSequence.end() ? &*found : nullptr;
}

void PrintRow(const UsbfnStep& step, const std::wstring& cp, const std::wstring& ap) {
    std::printf("| `%ls` | `%ls` | %ls | %ls |\n", ShortKey(step), step.value_name, cp.c_str(),
                ap.c_str());
}

}  // namespace

int wmain() {
    std::puts("| Key | Value | To the modem | Back to Windows |\n|---|---|---|---|");
    for (const UsbfnStep& step : kCpSequence) {
        // The one value that is deleted before it is written has its row from the writing.
        if (step.action != UsbfnAction::kDelete) {
            const UsbfnStep* back = WayBack(step);
            PrintRow(step, Value(step), back != nullptr ? Value(*back) : L"-");
        }
    }
    for (const UsbfnStep& step : kApSequence) {
        if (std::none_of(kCpSequence.begin(), kCpSequence.end(),
                         [&](const UsbfnStep& to) { return WayBack(to) == &step; })) {
            PrintRow(step, L"-", Value(step));
        }
    }
    for (const UsbfnStep& step : kCpSequence) {
        for (std::size_t i = 0; i < step.bytes.size(); ++i) {
            if (i == 0) {
                std::printf("\n`%ls`, `%ls`:\n", ShortKey(step), step.value_name);
            }
            std::printf("%s%02x", i % 32 == 0 ? "\n    " : " ", step.bytes[i]);
        }
        if (!step.bytes.empty()) {
            std::puts("");
        }
    }
    return 0;
}
