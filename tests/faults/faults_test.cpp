// Lets every allocation of a request fail, one after the other. The log is on: most requests need
// memory only for their lines.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <fstream>
#include <new>
#include <string>
#include <utility>

#include "tests/support/answers.h"
#include "tests/support/interposed.h"
#include "tests/support/registryvalues.h"

namespace {

constexpr wchar_t kSettingsKey[] = L"SOFTWARE\\Bramble\\BrambleSettings";

}  // namespace

// The C++ library frees these blocks with free.
void* operator new(std::size_t size) {
    void* block = CountedCallFails("operator new") ? nullptr : std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

namespace {

void CleanUp() {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Bramble");
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\ClickNote");
    DeleteFileW(L"document.txt");
}

// Returns the answer to a request, and the stored screen mode and colour profile (-1: none), if the
// allocation of that number fails (0: none fails).
std::wstring AnswerWithout(int allocation, const wchar_t* command, std::wstring text) {
    g_watch = {};
    g_answers.clear();
    CleanUp();
    Store(std::wstring(kSettingsKey) + L"\\PenOption", L"ButtonAction", 5);
    std::ofstream("document.txt") << "line";
    g_watch = {true, {"operator new", allocation}};
    g_onAnswer = [] { g_watch.on = false; };
    RemoteRequest(nullptr, command, 1, 7, text.data());
    std::wstring answer = g_answers.substr(std::wstring(command).size() + 1);
    for (const wchar_t* name : {L"ScreenMode", L"ColorProfile"}) {
        answer += L" " + std::to_wstring(StoredNumber(kSettingsKey, name).value_or(-1));
    }
    return answer;
}

// Without memory only a line of the log is lost, or a document is not read.
TEST(FaultsTest, EveryRequestIsDoneAndAnsweredWithoutMemory) {
    const struct {
        const wchar_t* command;
        const wchar_t* text;
        std::wstring answer;
        std::wstring without = answer;
    } requests[] = {
        {L"REGISTRYHELPER_GETPENSETTING", L"text", L"true 5 text -1 -1"},
        {L"REGISTRYHELPER_GETPENCLICKSETTING", L"text", L"true -100 text -1 -1"},
        {L"REGISTRYHELPER_GETPENPRESSURESENSITIVITY", L"text", L"true -1 text -1 -1"},
        {L"REGISTRYHELPER_SETSCREENMODE", L"text", L"true 7 text 7 7"},
        {L"REGISTRYHELPER_GETSCREENMODE", L"text", L"true 99 text 99 3"},
        {L"REGISTRYHELPER_CHECKADDTIONALPENSETTING", L"text", L"true 7 text -1 -1"},
        {L"COMMONHELPER_ISFILE_EXISTS", L"missing document.txt", L"false 7 -1 -1"},
        {L"COMMONHELPER_READEULADOCUMENT", L"document.txt", L"true 7 line\n -1 -1",
         L"true 7 -1 -1"},
    };
    for (const auto& [command, text, answer, without] : requests) {
        SCOPED_TRACE(testing::PrintToString(command));
        EXPECT_EQ(AnswerWithout(0, command, text), answer);
        const int allocations = g_watch.calls;
        EXPECT_GT(allocations, 0);
        for (int i = 1; i <= allocations; ++i) {
            const std::wstring given = AnswerWithout(i, command, text);
            EXPECT_TRUE(given == answer || given == without) << testing::PrintToString(given);
        }
    }
    CleanUp();
}

}  // namespace
