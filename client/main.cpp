// tesselctl: sends requests to the service and shows its answers.
#include <windows.h>
#include <rpc.h>

#include <functional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "client/requests/answerformat.h"
#include "client/requests/answers.h"
#include "client/check/check.h"
#include "client/check/report.h"
#include "client/requests/commandhelp.h"
#include "client/requests/connection.h"
#include "client/rights/grant.h"
#include "client/options.h"
#include "client/output.h"

namespace {

enum ExitCode { kAnswered = 0, kNoAnswer = 1, kUsage = 2, kUnreachable = 3 };

constexpr wchar_t kHelpText[] =
    LR"(tesselctl sends one command to Tessel Service and shows every answer it gets.

Usage:
  tesselctl COMMAND [--bool true|false] [--int N] [--text TEXT] [options]
  tesselctl --list         every command of the service, with one line of help
  tesselctl --help         this text
  tesselctl --version      the version of this program
  tesselctl --check        check everything the service needs; changes nothing
  tesselctl --report FILE  as an administrator: write a text file for whoever helps: the check, the
                           programs, the registration, the process, events and crash dumps
  tesselctl --grant        as an administrator: give the service its own SID, full control of its
                           registry keys for that SID alone, and restart after a crash
  tesselctl --revoke       take just that away again

The request:
  --bool true|false        its flag (false if not given)
  --int N                  its number, -2147483648 to 2147483647 (0 if not given)
  --text TEXT              its text (empty if not given). The commands that return an
                           identity of the modem write it over this text, cut to its length;
                           without --text, blanks are sent to give them room.
  --text-file PATH         its text from a file, or from standard input for -: a password then
                           stays out of histories and lists of processes

Options:
  --json                   one JSON object per answer: command, flag, number, text; per line of
                           --check, --grant, --revoke: item, status, found, advice
  --quiet                  no answers shown, only the last line: how many there were, and the
                           median, 99th percentile and longest of the requests' times
  --repeat N               send the request N times; a last line counts and times them
  --parallel N             from N threads at once, each with its own connection
  --without LIST           with --check, --report, --grant: what the model does not have, of
                           modem,device,usb

Exit codes:
  0  answered              1  no answer (the command is unknown or is never answered)
  2  wrong usage           3  the service cannot be reached
  --check: 0 without a fault, 1 with, 3 as above. --grant, --revoke: 1 when a change failed.
  --report: 0 when the file is written, else 1.

Items of --check, each ok, warning, fault or not here (--grant, --revoke: done, unchanged, failed
or not here):
  service, service.account, .start, .path, .version, .state, .sid, .recovery; files, and
  file PATH for one that others may change; keys, and key PATH for a registry key that is not
  well; capability; requests.open, .answer; modem.state, .identity; device

Examples:
  tesselctl REGISTRYHELPER_SETSCREENMODE --int 5
  tesselctl COMMONHELPER_ISFILE_EXISTS --text C:\Windows
  tesselctl MBNHELPER_GETSIMICCID --json)";

// The RPC runtime reports a failed call as a structured exception with an RPC or Win32 status. It
// ends the program, from whichever thread; anything else is a crash and stays one.
LONG WINAPI ReportRpcFailure(EXCEPTION_POINTERS* exception) {
    const DWORD status = exception->ExceptionRecord->ExceptionCode;
    if (!IsRpcStatus(status)) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    const FailureWords words = DescribeFailure(status);
    PrintErrorLine(L"tesselctl: " + std::wstring(words.meaning) + L" (error " +
                   std::to_wstring(status) + L").\n" + words.advice);
    ExitProcess(kUnreachable);
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

// How PrintAnswer shows an answer.
AnswerFormat g_format = AnswerFormat::kPlain;
std::wstring g_padding;

void PrintAnswer(const wchar_t* command, bool flag, long number, const wchar_t* text) {
    PrintLine(FormatAnswer(g_format, g_padding, command, flag, number, text));
}

// What one thread of a run does: the same request again and again over a connection of its own.
struct Sender {
    const RequestValues& request;
    int repeat;
    Connection connection;
};

void Send(Sender& sender) {
    for (int i = 0; i < sender.repeat; ++i) {
        sender.connection.Send(sender.request);
    }
}

// All senders at once, each on a thread of its own. False when a thread could not be made.
bool SendInParallel(std::vector<Sender>& senders) {
    std::vector<std::thread> threads;
    try {
        for (Sender& sender : senders) {
            threads.emplace_back(Send, std::ref(sender));
        }
    } catch (const std::system_error&) {
        PrintErrorLine(L"tesselctl: no more threads than " + std::to_wstring(threads.size()));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return threads.size() == senders.size();
}

// Opens all connections before the first request and closes them after the last. Adds the time of
// every request to `times`.
bool SendAll(const RequestValues& request, int repeat, int parallel, RequestTimes& times) {
    std::vector<Sender> senders(static_cast<std::size_t>(parallel), Sender{request, repeat, {}});
    for (Sender& sender : senders) {
        sender.connection.Open();
    }
    bool sent = true;
    if (parallel == 1) {
        Send(senders.front());
    } else {
        sent = SendInParallel(senders);
    }
    for (Sender& sender : senders) {
        sender.connection.Close();
        times.insert(times.end(), sender.connection.times.begin(), sender.connection.times.end());
    }
    return sent;
}

int Request(const Options& options) {
    const std::wstring& command = *options.command;
    const CommandHelp* help = FindCommandHelp(command);
    const bool pad = help != nullptr && help->needs == Needs::kPadding && !options.text;
    g_padding.assign(pad ? kPaddingLength : 0, L' ');
    g_format = options.json ? AnswerFormat::kJson : AnswerFormat::kPlain;
    const RequestValues request = {command, options.flag.value_or(false),
                                   options.number.value_or(0), options.text.value_or(g_padding)};
    if (!options.quiet) {
        HandleAnswers(PrintAnswer);
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
        const std::wstring nearest = NearestCommand(command);
        PrintErrorLine(L"tesselctl: no answer: the service does not know \"" + command + L"\" (" +
                       (nearest.empty() ? L"tesselctl --list shows what it knows)"
                                        : L"did you mean " + nearest + L"?)"));
    } else {
        PrintErrorLine(L"tesselctl: no answer to " + command + L" (" + help->help + L")");
    }
    return kNoAnswer;
}

int CheckAll(const Options& options) {
    const CheckResult result = Check(options.json, options.without, TESSEL_VERSION);
    if (!result.reached) {
        return kUnreachable;
    }
    return result.faults == 0 ? 0 : 1;
}

}  // namespace

int wmain(int argc, wchar_t* argv[]) {
    SetUnhandledExceptionFilter(ReportRpcFailure);
    std::wstring error;
    const std::optional<Options> options = ParseOptions(argc, argv, error);
    if (!options) {
        PrintErrorLine(L"tesselctl: " + error + L"\nTry: tesselctl --help");
        return kUsage;
    }
    switch (options->action) {
        case Options::Action::kList:
            PrintList();
            return kAnswered;
        case Options::Action::kHelp:
            PrintLine(kHelpText);
            return kAnswered;
        case Options::Action::kVersion:
            PrintLine(L"tesselctl " TESSEL_VERSION);
            return kAnswered;
        case Options::Action::kCheck:
            return CheckAll(*options);
        case Options::Action::kGrant:
            return Grant(options->json, !options->without.usb) == 0 ? 0 : 1;
        case Options::Action::kRevoke:
            return Revoke(options->json) == 0 ? 0 : 1;
        case Options::Action::kReport:
            return Report(options->report, options->without, TESSEL_VERSION) ? 0 : 1;
        case Options::Action::kRequest:
            return Request(*options);
    }
    return kUsage;
}
