// Records the answers of a command family. Defines ReportResult: include it in one source of a test
// program.
#pragma once

#include <string>

#include "command/command.h"
#include "interface/tesselservice.h"

inline std::wstring g_answers;

// Called while an answer is sent.
inline void (*g_onAnswer)() = [] {};

void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    g_onAnswer();
    g_answers += command + std::wstring(flag != 0 ? L" true " : L" false ");
    g_answers += std::to_wstring(number) + (*text != L'\0' ? L" " : L"") + text;
}

// Carries out one command and returns the flag, number and text of its answer: "true 7 text", or
// "true 7" if the text is empty. Returns "" if no answer came. If the answer names another command,
// that name comes first.
inline std::wstring AnswerOf(CommandHandler& family,
                             const std::wstring& command,
                             bool flag,
                             long number,
                             std::wstring text = {}) {
    g_answers.clear();
    family(nullptr, command.c_str(), flag, number, text.data());
    return g_answers.starts_with(command + L" ") ? g_answers.substr(command.size() + 1) : g_answers;
}
