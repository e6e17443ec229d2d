#include "service/diagnosticlog.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <io.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "service/console.h"

// This program is linked with the log switched on.
const bool g_logEnabled = true;

namespace {

constexpr char kLog[] = "C:\\TesselServicelog.txt";

// The program has the file open for writing and lets others open it.
std::vector<std::string> ReadLines(const char* path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string LocalTime() {
    SYSTEMTIME now;
    GetLocalTime(&now);
    char text[32];
    std::snprintf(text, sizeof(text), "%04d%02d%02d_%02d%02d%02d : ", now.wYear, now.wMonth,
                  now.wDay, now.wHour, now.wMinute, now.wSecond);
    return text;
}

TEST(DiagnosticLogTest, LinesCarryTheLocalTime) {
    EXPECT_TRUE(ReadLines(kLog).empty()) << "each start of a program empties the log";
    EXPECT_TRUE(std::ofstream(kLog, std::ios::app).is_open()) << "others may write it too";
    const std::string before = LocalTime();
    WriteLog(std::string("Service OnStop"));
    WriteLog(std::wstring(L"wide \x1234"));
    const std::string after = LocalTime();
    const char* texts[] = {"Service OnStop", "wide \x34"};
    const std::vector<std::string> lines = ReadLines(kLog);
    ASSERT_EQ(lines.size(), std::size(texts));
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_LE(before + texts[i], lines[i]);
        EXPECT_LE(lines[i], after + texts[i]);
    }
}

// A console server is ended by force.
TEST(ConsoleTest, TextIsOutBeforeTheProgramEnds) {
    constexpr char kConsole[] = "C:\\TesselConsole.txt";
    std::fflush(stdout);
    const int own_output = _dup(_fileno(stdout));
    std::FILE* file = std::fopen(kConsole, "w");
    _dup2(_fileno(file), _fileno(stdout));
    ConsolePrint(L"%ls\n", L"text");
    ConsolePrintNarrow("%s\n", "narrow text");
    const auto shown = ReadLines(kConsole);
    std::fflush(stdout);
    _dup2(own_output, _fileno(stdout));
    std::fclose(file);
    std::remove(kConsole);
    EXPECT_EQ(shown, (std::vector<std::string>{"text", "narrow text"}));
}

}  // namespace
