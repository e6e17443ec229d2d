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
