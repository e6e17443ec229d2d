#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "client/requests/answerformat.h"
#include "client/options.h"
#include "client/output.h"
#include "client/requests/requesttimes.h"
#include "tests/support/replacedimport.h"

namespace {

// An old console: it takes short texts only, and no half of a character.
std::wstring g_console;

BOOL WINAPI
TakePiece(HANDLE /*console*/, const void* text, DWORD units, DWORD* written, void* /*reserved*/) {
    *written = units;
    g_console.append(static_cast<const wchar_t*>(text), units);
    return units <= 10000 && !IS_HIGH_SURROGATE(g_console.back());
}

BOOL WINAPI IsConsole(HANDLE /*output*/, DWORD* /*mode*/) {
    return TRUE;
}

}  // namespace

REPLACE_IMPORT(WriteConsoleW, TakePiece);
REPLACE_IMPORT(GetConsoleMode, IsConsole);

namespace {

std::optional<Options> Parse(std::vector<const wchar_t*> arguments, std::wstring* error = nullptr) {
    arguments.insert(arguments.begin(), L"tesselctl");
    std::wstring wrong;
    auto options = ParseOptions(static_cast<int>(arguments.size()), arguments.data(), wrong);
    EXPECT_EQ(options.has_value(), wrong.empty());
    if (error != nullptr) {
        *error = wrong;
    }
    return options;
}

TEST(OptionsTest, RequestTakesItsValuesInAnyOrder) {
    const auto options = Parse({L"--int", L"-2147483648", L"CMD", L"--bool", L"true", L"--text",
                                L"--x", L"--json", L"--repeat", L"3", L"--parallel", L"1234"});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->command, L"CMD");
    EXPECT_TRUE(options->flag);
    EXPECT_EQ(options->number, -2147483647L - 1);
    EXPECT_EQ(options->text, L"--x");
    EXPECT_TRUE(options->json);
    EXPECT_EQ(options->repeat, 3);
    EXPECT_EQ(options->parallel, 1234);

    const auto plain = Parse({L""});
    ASSERT_TRUE(plain) << "the empty command is a command";
    EXPECT_FALSE(plain->text.has_value());
}

TEST(OptionsTest, WrongUsageSaysWhatIsWrong) {
    const std::vector<std::vector<const wchar_t*>> wrong = {
        {},
        {L"A", L"B"},
        {L"A", L"--int"},
        {L"A", L"--int", L""},
        {L"A", L"--int", L"1x"},
        {L"A", L"--int", L"2147483648"},
        {L"A", L"--int", L"99999999999999999999999"},
        {L"A", L"--bool", L"1"},
        {L"A", L"--repeat", L"0"},
        {L"A", L"--parallel", L"0"},
        {L"A", L"--parallel", L"1235"},
        {L"A", L"--nonsense"}};
    for (const auto& arguments : wrong) {
        std::wstring error;
        EXPECT_FALSE(Parse(arguments, &error));
        EXPECT_FALSE(error.empty());
    }
}

TEST(AnswersTest, JsonKeepsEveryTextReadableBack) {
    EXPECT_EQ(FormatAnswer(AnswerFormat::kJson, L"", L"C", true, -1, L"a\"\\\n\r\t\x1F \xE9\xFFE9"),
              L"{\"command\":\"C\",\"flag\":true,\"number\":-1,"
              L"\"text\":\"a\\\"\\\\\\n\\r\\t\\u001f \xE9\xFFE9\"}");
    // Surrogates stay together and are escaped alone.
    EXPECT_EQ(FormatAnswer(AnswerFormat::kPlain, L"", L"C", false, 0, L"\xD83D\xDE00\xDE00\xD83D"),
              L"C  flag=false  number=0  text=\"\xD83D\xDE00\\ude00\\ud83d\"");
}

TEST(AnswersTest, RoomThatComesBackIsAnAnswerThatWasNotRead) {
    EXPECT_EQ(FormatAnswer(AnswerFormat::kPlain, L"  ", L"C", false, 0, L"  "),
              L"C  flag=false  number=0  text=\"\" (nothing was read)");
    EXPECT_EQ(FormatAnswer(AnswerFormat::kJson, L"  ", L"C", false, 0, L"  "),
              L"{\"command\":\"C\",\"flag\":false,\"number\":0,\"text\":\"\"}");
    EXPECT_EQ(FormatAnswer(AnswerFormat::kPlain, L"  ", L"C", false, 0, L" "),
              L"C  flag=false  number=0  text=\" \"");
}

TEST(RequestTimesTest, PercentilesAreTimesThatWereTaken) {
    RequestTimes times;
    EXPECT_EQ(Percentile(times, 50), 0U);
    for (std::uint32_t time = 200; time > 0; --time) {
        times.push_back(time);
    }
    EXPECT_EQ(Percentile(times, 50), 100U);
    EXPECT_EQ(Percentile(times, 99), 198U);
    EXPECT_EQ(Percentile(times, 100), 200U);
    times = {3, 1, 2};
    EXPECT_EQ(Percentile(times, 50), 2U);
    EXPECT_EQ(Milliseconds(12034), L"12.034 ms");
}

TEST(OutputTest, AConsoleGetsALongTextWholeInPieces) {
    std::wstring line(1, L'x');
    while (line.size() < 30001) {
        line += L"\xD83D\xDE00";
    }
    PrintLine(line);
    EXPECT_TRUE(g_console == line + L"\n");
}

}  // namespace
