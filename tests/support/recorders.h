// What the product logs, prints and answers, recorded instead. A test that calls a function of one
// group links the recorder of that group.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

// WriteLog: the lines since the last clear, in order, of all threads.
std::vector<std::string> LoggedLines();
void ClearLoggedLines();

// ConsolePrint and ConsolePrintNarrow: the text since the last clear.
std::wstring PrintedText();
void ClearPrintedText();

// ReportResult.
struct Report {
    std::wstring command;
    bool flag;
    long number;
    std::wstring text;
    bool operator==(const Report&) const = default;

    // How GoogleTest shows it.
    friend void PrintTo(const Report& report, std::ostream* out) {
        *out << testing::PrintToString(report.command) << (report.flag ? " true " : " false ")
             << report.number << " " << testing::PrintToString(report.text);
    }
};

// The answers since the last call of this function, in order.
std::vector<Report> TakeReports();

// Lets a family of commands carry out one command with a text and returns the flag and number of
// the answer, "true 7", or "" if none came. Expects both strings to come back as they went.
// Inline: what GoogleTest makes of it would link the recorder into tests that have their own.
inline std::wstring AnswerOf(void (*family)(void*, const wchar_t*, bool, long, wchar_t*),
                             const std::wstring& command,
                             bool flag,
                             long number) {
    wchar_t text[] = L"own text";
    family(nullptr, command.c_str(), flag, number, text);
    std::wstring answer;
    for (const Report& report : TakeReports()) {
        EXPECT_TRUE(report.command == command && report.text == L"own text");
        answer += (report.flag ? L"true " : L"false ") + std::to_wstring(report.number);
    }
    return answer;
}
