#include <gtest/gtest.h>
#include <windows.h>
#include <evntrace.h>
#include <evntcons.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/nearest.h"
#include "client/options.h"
#include "client/output.h"
#include "client/requests/answerformat.h"
#include "client/requests/requesttimes.h"
#include "client/trace.h"
#include "interface/serviceidentity.h"
#include "tests/support/replacedimport.h"

namespace {

// An old console: it takes only short texts, and no single surrogate.
std::wstring g_console;
HANDLE g_stream = nullptr;

BOOL WINAPI
TakePiece(HANDLE console, const void* text, DWORD units, DWORD* written, void* /*reserved*/) {
    *written = units;
    g_stream = console;
    g_console.append(static_cast<const wchar_t*>(text), units);
    return units <= 10000 && !IS_HIGH_SURROGATE(g_console.back());
}

BOOL WINAPI IsConsole(HANDLE output, DWORD* /*mode*/) {
    return output == GetStdHandle(STD_OUTPUT_HANDLE) || output == GetStdHandle(STD_ERROR_HANDLE);
}

// A recorded file.
EVENT_TRACE_LOGFILEW g_trace;

TRACEHANDLE WINAPI OpenRecorded(EVENT_TRACE_LOGFILEW* source) {
    g_trace = *source;
    return std::wstring(source->LogFileName) == L"good.etl" ? 1 : INVALID_PROCESSTRACE_HANDLE;
}

// Plays an event without the flag, one of another provider, and the service's.
ULONG WINAPI PlayRecorded(TRACEHANDLE*, ULONG, FILETIME*, FILETIME*) {
    wchar_t text[] = L"Starting\0ignored";
    EVENT_RECORD record = {};
    record.EventHeader.ProviderId = kTracingProvider;
    // 2026-11-22 10:44:59.123.
    record.EventHeader.TimeStamp.QuadPart = 134398178991230000;
    record.EventHeader.ProcessId = 572;
    record.EventHeader.EventDescriptor.Level = 4;
    record.UserData = text;
    record.UserDataLength = sizeof(text);
    record.UserContext = g_trace.Context;
    g_trace.EventRecordCallback(&record);
    record.EventHeader.Flags = EVENT_HEADER_FLAG_STRING_ONLY;
    ++record.EventHeader.ProviderId.Data1;
    g_trace.EventRecordCallback(&record);
    --record.EventHeader.ProviderId.Data1;
    g_trace.EventRecordCallback(&record);
    // A text that lacks its terminator.
    record.UserDataLength = 5 * sizeof(wchar_t);
    record.EventHeader.EventDescriptor.Level = 1;
    g_trace.EventRecordCallback(&record);
    return ERROR_SUCCESS;
}

ULONG WINAPI CloseRecorded(TRACEHANDLE) {
    return ERROR_SUCCESS;
}

}  // namespace

REPLACE_IMPORT(WriteConsoleW, TakePiece);
REPLACE_IMPORT(GetConsoleMode, IsConsole);
REPLACE_IMPORT(OpenTraceW, OpenRecorded);
REPLACE_IMPORT(ProcessTrace, PlayRecorded);
REPLACE_IMPORT(CloseTrace, CloseRecorded);

namespace {

std::wstring g_error;

std::optional<Options> Parse(std::vector<const wchar_t*> arguments) {
    arguments.insert(arguments.begin(), L"tesselctl");
    g_error.clear();
    auto options = ParseOptions(static_cast<int>(arguments.size()), arguments.data(), g_error);
    EXPECT_EQ(options.has_value(), g_error.empty());
    return options;
}

TEST(OptionsTest, RightUsageIsKept) {
    const auto options = Parse({L"--int", L"-2147483648", L"CMD", L"--bool", L"true", L"--text",
                                L"--x", L"--json", L"--repeat", L"3", L"--parallel", L"1234"});
    ASSERT_TRUE(options);
    EXPECT_TRUE(options->command == L"CMD" && options->flag == true && options->text == L"--x");
    EXPECT_EQ(options->number, -2147483647L - 1);
    EXPECT_TRUE(options->json && options->repeat == 3 && options->parallel == 1234);
    const auto plain = Parse({L""});
    EXPECT_TRUE(plain && !plain->text) << "the empty command is a command";
    const auto check = Parse({L"--json", L"--check", L"--without", L"usb,modem"});
    ASSERT_TRUE(check && check->action == L"--check");
    EXPECT_TRUE(check->without.usb && check->without.modem && !check->without.device);
    for (const wchar_t* word : {L"--help", L"-h", L"-?", L"/?", L"help"}) {
        const auto help = Parse({word});
        EXPECT_TRUE(help && help->action == L"--help") << testing::PrintToString(word);
    }
    const auto trace = Parse({L"--trace", L"--json"});
    EXPECT_TRUE(trace && trace->json && trace->trace_seconds == 0 && trace->trace_file.empty());
    EXPECT_EQ(Parse({L"--trace", L"60"})->trace_seconds, 60);
    EXPECT_EQ(Parse({L"--trace", L"6.etl"})->trace_file, L"6.etl");
    const auto report = Parse({L"--report", L"--check"});
    EXPECT_TRUE(report && report->report == L"--check");
}

TEST(OptionsTest, WrongUsageSaysWhatIsWrong) {
    const std::pair<std::vector<const wchar_t*>, const wchar_t*> wrong[] = {
        {{}, L"no command"},
        {{L"A", L"5"}, L"did you mean --int 5?"},
        {{L"A", L"true"}, L"did you mean --bool true?"},
        {{L"A", L"--int"}, L"--int needs a value"},
        {{L"A", L"--int", L""}, L"not \"\""},
        {{L"A", L"--int", L"1x"}, L"whole number"},
        {{L"A", L"--int", L"2147483648"}, L"whole number"},
        {{L"A", L"--bool", L"1"}, L"true or false"},
        {{L"A", L"--repeat", L"0"}, L"at least 1"},
        {{L"A", L"--parallel", L"1235"}, L"from 1 to"},
        {{L"A", L"--text-file", L"C:\\missing"}, L"file of UTF-8"},
        {{L"--check", L"--revoke"}, L"--check does not go with --revoke"},
        {{L"A", L"--check"}, L"--check takes no command"},
        {{L"--int", L"1", L"--check"}, L"--int does not go with --check"},
        {{L"--check", L"--without", L"modem,sim"}, L"modem,device,usb"},
        {{L"A", L"--without", L"usb"}, L"--without does not go with a command"},
        {{L"--report"}, L"--report needs a value"},
        {{L"--trace", L"0"}, L"seconds up to 86400, or the path"},
        {{L"check"}, L"\"check\" is not a command (did you mean --check?)"},
        {{L"Grand"}, L"did you mean --grant?"},
        {{L"/version"}, L"unknown option /version (did you mean --version?)"},
        {{L"-jsn", L"A"}, L"unknown option -jsn (did you mean --json?)"},
        {{L"--x"}, L"unknown option --x"},
        {{L"A", L"help"}, L"--help takes no command"},
        {{L"REGISTRYHELPER_SETSCREENMODE"}, L"needs a number: --int N"},
        {{L"COMMONHELPER_ISFILE_EXISTS", L"--int", L"1"}, L"needs a text: --text"},
        {{L"BLEHELPER_SETBLE"}, L"needs a flag: --bool"},
    };
    for (const auto& [arguments, part_of_error] : wrong) {
        EXPECT_FALSE(Parse(arguments));
        EXPECT_NE(g_error.find(part_of_error), g_error.npos) << testing::PrintToString(g_error);
    }
}

TEST(OptionsTest, ATextComesFromAFileAsAnEditorOrAPowerShellWritesIt) {
    const std::pair<std::string, std::optional<std::wstring>> files[] = {
        {"Office|\xC3\xA9\r\n", L"Office|\xE9"},
        {"\xEF\xBB\xBFone\ntwo\n\n", L"one\ntwo\n"},
        {std::string("\xFF\xFE\xE9\0\r\0\n\0", 8), L"\xE9"},
        {"", L""},
        // Not UTF-8.
        {"\xE9", std::nullopt},
    };
    for (const auto& [bytes, text] : files) {
        std::ofstream("text.txt", std::ios::binary) << bytes;
        const auto options = Parse({L"A", L"--text-file", L"text.txt"});
        EXPECT_TRUE(options ? options->text == text : !text) << bytes;
    }
    std::remove("text.txt");
}

TEST(NearestTest, OnlyAWordThatIsNearlyACommandHasANearestOne) {
    EXPECT_EQ(NearestCommand(L"registryhelper_getscreenmod"), L"REGISTRYHELPER_GETSCREENMODE");
    EXPECT_EQ(NearestCommand(L"MBNHELPER_QUERYPROFILE"), L"MBNHELPER_QEURYPROFILE");
    EXPECT_EQ(NearestCommand(L"REGISTRYHELPR_GETPENSETTING"), L"REGISTRYHELPER_GETPENSETTING");
    EXPECT_EQ(NearestCommand(L"getble"), L"BLEHELPER_GETBLE");
    // Words that are not near, or between two.
    for (const wchar_t* word : {L"", L"X", L"help", L"check", L"grant", L"connected", L"/?",
                                L"REGISTRYHELPER_GETDEVICENAME", L"REGISTRYHELPER_XETPENSETTING",
                                L"USBPATHCHANGER_CHANGEUSBPATHTO", L"petble"}) {
        EXPECT_EQ(NearestCommand(word), std::nullopt) << testing::PrintToString(word);
    }
}

TEST(AnswersTest, JsonKeepsEveryTextReadableBack) {
    EXPECT_EQ(
        FormatAnswer(AnswerFormat::kJson, L"", {L"C", true, -1, L"a\"\\\n\r\t\x1F \xE9\xFFE9"}),
        L"{\"command\":\"C\",\"flag\":true,\"number\":-1,"
        L"\"text\":\"a\\\"\\\\\\n\\r\\t\\u001f \xE9\xFFE9\"}");
    // Surrogates stay together and are escaped alone.
    EXPECT_EQ(
        FormatAnswer(AnswerFormat::kPlain, L"", {L"C", false, 0, L"\xD83D\xDE00\xDE00\xD83D"}),
        L"C  flag=false  number=0  text=\"\xD83D\xDE00\\ude00\\ud83d\"");
}

TEST(AnswersTest, PaddingThatComesBackWasNotOverwrittenAndAnEmptyTextWasRead) {
    const auto shown = [](AnswerFormat format, const wchar_t* padding, const wchar_t* text) {
        const std::wstring line = FormatAnswer(format, padding, {L"C", false, 0, text});
        return line.substr(line.find(L"text"));
    };
    EXPECT_EQ(shown(AnswerFormat::kPlain, L"  ", L"  "), L"text=\"\" (nothing was read)");
    EXPECT_EQ(shown(AnswerFormat::kPlain, L"  ", L""), L"text=\"\" (there is none)");
    EXPECT_EQ(shown(AnswerFormat::kPlain, L"  ", L" "), L"text=\" \"");
    EXPECT_EQ(shown(AnswerFormat::kJson, L"  ", L"  "), L"text\":\"\"}");
    EXPECT_EQ(shown(AnswerFormat::kPlain, L"", L""), L"text=\"\"");
}

TEST(RequestTimesTest, APercentileIsTheTimeInWhichSoManyRequestsWereDone) {
    RequestTimes times;
    for (std::uint32_t time = 200; time > 0; --time) {
        times.push_back(time);
    }
    EXPECT_EQ(Percentile(times, 1), 2U);
    EXPECT_EQ(Percentile(times, 99), 198U);
    EXPECT_EQ(Percentile(times, 100), 200U);
    times = {7, 5};
    EXPECT_EQ(Percentile(times, 99), 7U);
}

TEST(TraceTest, OnlyTheEventsOfTheServiceAreShown) {
    for (const bool json : {false, true}) {
        g_console.clear();
        Options options;
        options.json = json;
        options.trace_file = L"good.etl";
        EXPECT_EQ(ShowEvents(options), ERROR_SUCCESS);
        EXPECT_EQ(g_console,
                  json ? L"{\"time\":\"2026-11-22T10:44:59.123Z\",\"process\":572,\"level\":4,"
                         L"\"text\":\"Starting\"}\n{\"time\":\"2026-11-22T10:44:59.123Z\","
                         L"\"process\":572,\"level\":1,\"text\":\"Start\"}\n"
                       : L"2026-11-22T10:44:59.123Z  information  process 572  Starting\n"
                         L"2026-11-22T10:44:59.123Z  critical     process 572  Start\n");
    }
    EXPECT_EQ(g_trace.ProcessTraceMode, PROCESS_TRACE_MODE_EVENT_RECORD);
    g_console.clear();
    Options missing;
    missing.trace_file = L"missing.etl";
    SetLastError(ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(ShowEvents(missing), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_TRUE(g_console.starts_with(L"tesselctl: missing.etl cannot be read: error 2"));
}

TEST(OutputTest, AConsoleGetsALongTextWholeInPieces) {
    std::wstring line(1, L'x');
    while (line.size() < 30001) {
        line += L"\xD83D\xDE00";
    }
    g_console.clear();
    PrintLine(line);
    EXPECT_TRUE(g_console == line + L"\n");
}

TEST(OutputTest, ErrorsGoToTheErrorStream) {
    SetStdHandle(STD_OUTPUT_HANDLE, reinterpret_cast<HANDLE>(1));
    SetStdHandle(STD_ERROR_HANDLE, reinterpret_cast<HANDLE>(2));
    PrintLine(L"answer");
    EXPECT_EQ(g_stream, reinterpret_cast<HANDLE>(1));
    PrintErrorLine(L"error");
    EXPECT_EQ(g_stream, reinterpret_cast<HANDLE>(2));
}

}  // namespace
