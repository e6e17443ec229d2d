// tesselctl: sends requests to the service and shows its answers.
#include <windows.h>
#include <rpc.h>

#include <cwchar>
#include <string>
#include <vector>

#include "client/answers.h"
#include "client/commandhelp.h"
#include "client/options.h"
#include "client/output.h"
#include "rpc/stub/tesselservice.h"

namespace {

enum ExitCode { kAnswered = 0, kNoAnswer = 1, kUsage = 2, kUnreachable = 3 };

// Long enough for every identity that a modem gives.
constexpr std::size_t kAnswerRoom = 64;

constexpr wchar_t kHelpText[] =
    LR"(tesselctl sends one command to Tessel Service and shows every answer it gets.

Usage:
  tesselctl COMMAND [--bool true|false] [--int N] [--text TEXT] [options]
  tesselctl --list        every command of the service, with one line of help
  tesselctl --help        this text
  tesselctl --version     the version of this program

The request:
  --bool true|false       its flag (false if not given)
  --int N                 its number, -2147483648 to 2147483647 (0 if not given)
  --text TEXT             its text (empty if not given). The commands that return an
                          identity of the modem write it over this text, cut to its length;
                          without --text, blanks are sent to give them room.

Options:
  --json                  one JSON object per answer: command, flag, number, text
  --repeat N              send the request N times
  --parallel N            from N threads at once, each with its own connection

Exit codes:
  0  answered             1  no answer (the command is unknown or is never answered)
  2  wrong usage          3  the service cannot be reached

Examples:
  tesselctl REGISTRYHELPER_SETSCREENMODE --int 5
  tesselctl COMMONHELPER_ISFILE_EXISTS --text C:\Windows
  tesselctl MBNHELPER_GETSIMICCID --json)";

// The RPC runtime reports a failed call as a structured exception with an RPC or Win32 status. It
// ends the program, from whichever thread; anything else is a crash and stays one.
LONG WINAPI ReportRpcFailure(EXCEPTION_POINTERS* exception) {
    const DWORD status = exception->ExceptionRecord->ExceptionCode;
    if ((status & 0xFFFF0000) != 0) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    const std::wstring code = L" (error " + std::to_wstring(status) + L").";
    switch (status) {
        case RPC_S_SERVER_UNAVAILABLE:
        case RPC_S_UNKNOWN_IF:
        case EPT_S_NOT_REGISTERED:
            PrintErrorLine(L"tesselctl: the service is not running" + code +
                           L"\nStart it with: net start \"Tessel Service\"\n"
                           L"If it is not installed: tessel-service -install");
            break;
        case ERROR_ACCESS_DENIED:
            PrintErrorLine(L"tesselctl: the service refuses this user" + code);
            break;
        default:
            PrintErrorLine(L"tesselctl: the connection to the service failed" + code);
            break;
    }
    ExitProcess(kUnreachable);
}

void PrintList() {
    for (const CommandHelp& row : AllCommandHelp()) {
        std::wstring name = row.command;
        name.resize(42, L' ');
        PrintLine(name + row.help);
    }
}

// One connection of a run, and what is sent over it.
struct Connection {
    const Options& options;
    const std::wstring& text;
    RPC_BINDING_HANDLE binding = nullptr;
    REQUEST_CONTEXT_HANDLE context = nullptr;

    void Open() {
        wchar_t address[] = L"ncalrpc:[TesselRpcEndpoint]";
        const RPC_STATUS status =
            RpcBindingFromStringBindingW(reinterpret_cast<RPC_WSTR>(address), &binding);
        if (status != RPC_S_OK) {
            RaiseException(static_cast<DWORD>(status), 0, 0, nullptr);
        }
        RemoteOpen(binding, &context);
        if (context == nullptr) {
            RaiseException(RPC_S_OUT_OF_MEMORY, 0, 0, nullptr);
        }
    }

    void SendRequests() const {
        for (int i = 0; i < options.repeat; ++i) {
            // Only the service's copy of the text is written over.
            RemoteRequest(context, options.command.c_str(), static_cast<boolean>(options.data_bool),
                          options.data_int, const_cast<wchar_t*>(text.c_str()));
        }
    }

    void Close() {
        RemoteClose(&context);
        RpcBindingFree(&binding);
    }
};

DWORD WINAPI SendRequests(void* connection) {
    static_cast<const Connection*>(connection)->SendRequests();
    return 0;
}

// Sends over every connection at once, each on a thread of its own. False when a thread could not
// be made.
bool SendInParallel(std::vector<Connection>& connections) {
    std::vector<HANDLE> threads;
    for (Connection& connection : connections) {
        HANDLE thread = CreateThread(nullptr, 0, SendRequests, &connection, 0, nullptr);
        if (thread == nullptr) {
            PrintErrorLine(L"tesselctl: no more threads than " + std::to_wstring(threads.size()));
            break;
        }
        threads.push_back(thread);
    }
    for (HANDLE thread : threads) {
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
    }
    return threads.size() == connections.size();
}

// Opens all connections before the first request and closes them after the last.
bool SendAll(const Options& options, const std::wstring& text) {
    std::vector<Connection> connections(static_cast<std::size_t>(options.parallel),
                                        Connection{options, text});
    for (Connection& connection : connections) {
        connection.Open();
    }
    bool sent = true;
    if (options.parallel == 1) {
        connections.front().SendRequests();
    } else {
        sent = SendInParallel(connections);
    }
    for (Connection& connection : connections) {
        connection.Close();
    }
    return sent;
}

int Request(const Options& options) {
    const CommandHelp* help = FindCommandHelp(options.command);
    const std::wstring room(help != nullptr && help->needs_room && !options.text ? kAnswerRoom : 0,
                            L' ');
    const std::wstring text = options.text.value_or(room);
    PrintAnswersAs(options.json ? AnswerFormat::kJson : AnswerFormat::kPlain, room);

    const ULONGLONG start = GetTickCount64();
    if (!SendAll(options, text)) {
        return kUnreachable;
    }

    const long long requests = static_cast<long long>(options.repeat) * options.parallel;
    const long answers = AnswerCount();
    if (requests > 1) {
        PrintErrorLine(std::to_wstring(requests) + L" requests, " + std::to_wstring(answers) +
                       L" answers, " + std::to_wstring(GetTickCount64() - start) + L" ms");
    }
    if (answers >= requests) {
        return kAnswered;
    }
    if (help == nullptr) {
        PrintErrorLine(L"tesselctl: no answer: the service does not know \"" + options.command +
                       L"\" (tesselctl --list shows what it knows)");
    } else {
        PrintErrorLine(L"tesselctl: no answer to " + options.command + L" (" + help->help + L")");
    }
    return kNoAnswer;
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
        case Options::Action::kRequest:
            return Request(*options);
    }
    return kUsage;
}
