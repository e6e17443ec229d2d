// What the product says, kept instead of said: calling a function of one group links its recorder.
#pragma once

#include <string>
#include <vector>

// WriteLog: the lines since the last clear, in order. Safe to fill from several threads.
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
};

// The answers given since the last call, in order; forgets them.
std::vector<Report> TakeReports();
