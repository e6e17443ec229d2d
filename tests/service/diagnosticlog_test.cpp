#include "service/diagnosticlog.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <io.h>

#include <cstdio>
#include <ctime>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "service/console.h"
#include "tests/support/replacedimport.h"

// This program is linked with the log switched on.
const bool g_logEnabled = true;

namespace {

__time64_t g_now = 0;

}  // namespace

// Under the function's own name too: the universal C runtime's headers do not call it through the
// import pointer.
extern "C" __time64_t FixedTime(__time64_t* result) __asm__("_time64");

__time64_t FixedTime(__time64_t* result) {
    if (result != nullptr) {
        *result = g_now;
    }
    return g_now;
}
REPLACE_IMPORT(_time64, FixedTime);

namespace {

constexpr char kLog[] = "C:\\TesselServicelog.txt";

// The program has the file open for writing and lets others open it.
std::vector<std::string> ReadLines(const char* path = kLog) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(DiagnosticLogTest, LinesCarryTheLocalTimeAndConcurrentWritersNeverTearThem) {
    std::tm moment = {59, 59, 23, 31, 0, 124, 0, 0, -1};
    g_now = std::mktime(&moment);

    EXPECT_TRUE(ReadLines().empty()) << "each start of a program empties the log";
    EXPECT_TRUE(std::ofstream(kLog, std::ios::app).is_open()) << "others may write it too";
    WriteLog(std::string("Service OnStop"));
    WriteLog(std::wstring(L"wide \x1234"));
    EXPECT_EQ(ReadLines(), (std::vector<std::string>{"20240131_235959 : Service OnStop",
                                                     "20240131_235959 : wide \x34"}));

    std::set<std::string> due;
    std::vector<std::thread> writers;
    for (const char writer : {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'}) {
        due.insert("20240131_235959 : " + std::string(100, writer));
        writers.emplace_back([writer] {
            for (int line = 0; line < 200; ++line) {
                WriteLog(std::string(100, writer));
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    const auto lines = ReadLines();
    EXPECT_EQ(lines.size(), 2U + 8 * 200);
    EXPECT_EQ(std::set<std::string>(lines.begin() + 2, lines.end()), due);
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
