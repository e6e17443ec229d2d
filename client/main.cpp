// tesselctl: sends requests to the service and shows its answers.
#include <windows.h>

#include <atomic>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "client/check/check.h"
#include "client/nearest.h"
#include "client/options.h"
#include "client/output.h"
#include "client/requests/answerformat.h"
#include "client/requests/answers.h"
#include "client/requests/findcommand.h"
#include "client/requests/requesttimes.h"
#include "client/rights/grant.h"
#include "client/trace.h"

namespace {

enum ExitCode { kAnswered = 0, kNoAnswer = 1, kUsage = 2, kUnreachable = 3 };

constexpr wchar_t kHelpText[] =
    LR"(tesselctl sends one command to Tessel Service and shows every answer it gets.

Usage:
  tesselctl COMMAND [--bool true|false] [--int N] [--text TEXT] [options]
  tesselctl --list | --help | --version
  tesselctl --check        check everything the service needs; changes nothing
  As an administrator:
  tesselctl --report FILE  write a text file for the developers: the check, the programs, the
                           registration, the process, events and crash dumps
  tesselctl --grant        give the service its own SID, full control of its registry keys for
                           that SID alone, and a restart after a crash
  tesselctl --revoke       remove what --grant gave
  tesselctl --trace [SECONDS | FILE]
                           show the service's tracing events: as they come, for some seconds or
                           until Ctrl-C; or those that Windows has recorded in an .etl file

The request (default: false, 0, an empty text):
  --bool true|false
  --int N                  -2147483648 to 2147483647
  --text TEXT              a command that returns an identity of the modem gets 64 blanks if
                           there is no text
  --text-file PATH         the text of a file, or of standard input for -; keeps a password out
                           of command histories and process lists

The text of MBNHELPER_CREATEPROFILE, with the values of Windows' schema:
  description|APN|authentication|user|password|IP type[|compression]
  authentication           NONE, PAP, CHAP, MsCHAPv2, AutoSelection
  IP type                  Default, IPv4, IPv6, IPv4v6, XLAT
  compression              DISABLE (if it is missing), ENABLE
  Upper and lower case differ, and no other field may be empty or missing. With NONE, send - as
  user and password. Windows may refuse a profile with a user name.

Options:
  --json                   one JSON object per answer: command, flag, number, text; with --check,
                           --grant, --revoke one per line: item, status, found, advice; with
                           --trace one per event: time, process, level, text
  --quiet                  show no answers, only the last line of --repeat
  --repeat N               send the request N times; the last line shows the number of answers,
                           and the median, 99th percentile and longest of the times
  --parallel N             send from N threads at once, each with its own connection
  --without LIST           with --check, --report, --grant: parts that the notebook does not
                           have: modem,device,usb

Exit codes:
  0  answered              1  no answer (the command is unknown or is never answered)
  2  wrong usage           3  the service cannot be reached
  --check: 0 no fault, 1 a fault, 3 as above. --grant, --revoke: 1 if a change failed.
  --report: 1 if the file cannot be written. --trace: 1 if the events cannot be read.

Examples:
  tesselctl REGISTRYHELPER_SETSCREENMODE --int 5
  tesselctl COMMONHELPER_ISFILE_EXISTS --text C:\Windows
  tesselctl MBNHELPER_GETSIMICCID --json
  tesselctl MBNHELPER_CREATEPROFILE --text "Office|internet.example|NONE|-|-|IPv4")";

void PrintFailure(DWORD status) {
    const FailureWords words = DescribeFailure(status);
    PrintErrorLine(L"tesselctl: " + std::wstring(words.meaning) + L" (error " +
                   std::to_wstring(status) + L").\n" + words.advice);
}

void PrintList() {
    for (const auto& family : kCommandHelp) {
        for (const CommandHelp& row : family) {
            std::wstring name = row.name;
            name.resize(42, L' ');
            PrintLine(name + row.help);
        }
    }
}

// Sends the request `repeat` times from each of `parallel` threads, until a call fails. Opens a
// connection for each thread first. Adds all durations to `times`. Prints the reason and returns
// false if a call failed or a thread cannot be created.
bool SendAll(const RequestValues& request, int repeat, int parallel, RequestTimes& times) {
    const std::vector<Connection> connections(static_cast<std::size_t>(parallel));
    std::vector<RequestTimes> times_of(connections.size());
    std::atomic<DWORD> failure = ERROR_SUCCESS;
    const auto send = [&](std::size_t place) {
        for (int i = 0; i < repeat && failure == ERROR_SUCCESS; ++i) {
            const std::uint64_t start = MicrosecondsNow();
            const DWORD status = connections[place].Send(request);
            if (status != ERROR_SUCCESS) {
                failure = status;
                return;
            }
            AddTimeSince(start, times_of[place]);
        }
    };
    std::vector<std::thread> threads;
    try {
        while (threads.size() < connections.size()) {
            threads.emplace_back(send, threads.size());
        }
    } catch (const std::system_error&) {
        PrintErrorLine(L"tesselctl: cannot create more threads than " +
                       std::to_wstring(threads.size()));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const RequestTimes& own : times_of) {
        times.insert(times.end(), own.begin(), own.end());
    }
    if (failure != ERROR_SUCCESS) {
        PrintFailure(failure);
    }
    return failure == ERROR_SUCCESS && threads.size() == connections.size();
}

int Request(const Options& options) {
    const std::wstring& command = *options.command;
    const CommandHelp* help = FindCommandHelp(command);
    const bool pad = help != nullptr && help->needs == Needs::kPadding && !options.text;
    const std::wstring padding(pad ? kPaddingLength : 0, L' ');
    const RequestValues request = {command, options.flag.value_or(false),
                                   options.number.value_or(0), options.text.value_or(padding)};
    if (!options.quiet) {
        const AnswerFormat format = options.json ? AnswerFormat::kJson : AnswerFormat::kPlain;
        HandleAnswers([padding = padding, format](const RequestValues& answer) {
            PrintLine(FormatAnswer(format, padding, answer));
        });
    }

    RequestTimes times;
    const ULONGLONG start = GetTickCount64();
    if (!SendAll(request, options.repeat, options.parallel, times)) {
        return kUnreachable;
    }

    const long long requests = static_cast<long long>(options.repeat) * options.parallel;
    const long answers = AnswerCount();
    if (requests > 1 || options.quiet) {
        PrintErrorLine(std::to_wstring(requests) + L" requests, " + std::to_wstring(answers) +
                       L" answers, " + std::to_wstring(GetTickCount64() - start) + L" ms; median " +
                       Milliseconds(Percentile(times, 50)) + L", 99th percentile " +
                       Milliseconds(Percentile(times, 99)) + L", longest " +
                       Milliseconds(Percentile(times, 100)));
    }
    if (answers >= requests) {
        return kAnswered;
    }
    if (help == nullptr) {
        const auto nearest = NearestCommand(command);
        PrintErrorLine(L"tesselctl: no answer: the service does not know \"" + command + L"\" (" +
                       (nearest ? L"did you mean " + *nearest + L"?)"
                                : L"tesselctl --list shows what it knows)"));
    } else {
        PrintErrorLine(L"tesselctl: no answer to " + command + L" (" + help->help + L")");
    }
    return kNoAnswer;
}

}  // namespace

int wmain(int argc, wchar_t* argv[]) {
    std::wstring error;
    const std::optional<Options> options = ParseOptions(argc, argv, error);
    if (!options) {
        PrintErrorLine(L"tesselctl: " + error + L"\nTry: tesselctl --help");
        return kUsage;
    }
    const std::wstring& action = options->action;
    if (action == L"--list") {
        PrintList();
    } else if (action == L"--help") {
        PrintLine(kHelpText);
    } else if (action == L"--version") {
        PrintLine(L"tesselctl " TESSEL_VERSION);
    } else if (action == L"--check") {
        const CheckResult result = Check(*options);
        return !result.reached ? kUnreachable : result.faults == 0 ? 0 : 1;
    } else if (action == L"--grant" || action == L"--revoke") {
        return ChangeRights(*options) == 0 ? 0 : 1;
    } else if (action == L"--trace") {
        return ShowEvents(*options) == ERROR_SUCCESS ? 0 : 1;
    } else if (action == L"--report") {
        return Report(*options) ? 0 : 1;
    } else {
        return Request(*options);
    }
    return 0;
}
