// Measures the service against the bare server, request by request, side by side.
//
//   measure requests ROUNDS DOCUMENT     latency of every kind of request
//   measure load ROUNDS CLIENTS          throughput of so many clients at once
//   measure start SERVER COMMAND         from the start of the program to its first answer
//   measure hold SERVER CLIENTS          so many clients answered and connected, until killed
//
// SERVER is "service" or "bare".
// The first two print a line a round, its fields separated by tabs: name; service and bare server:
// median in microseconds, or requests per second; both 99th percentiles.
#include <windows.h>
#include <rpc.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <string_view>
#include <vector>

#include "benchmark/barework.h"
#include "rpc/endpoint.h"
#include "rpc/stub/tesselservice.h"

namespace {

using Times = std::vector<double>;

std::atomic<long> g_answers = 0;

// The last answer, while one thread sends and answers are compared.
bool g_keep = false;
struct Answer {
    bool flag = false;
    long number = 0;
    std::wstring text;
    bool operator==(const Answer&) const = default;
} g_answer;

double Now() {
    LARGE_INTEGER frequency;
    LARGE_INTEGER count;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&count);
    return 1e6 * static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
}

double Quantile(Times times, double part) {
    std::ranges::sort(times);
    return times[static_cast<std::size_t>(part * static_cast<double>(times.size() - 1) + 0.5)];
}

// A connection to one of the servers; an unreachable one ends the thread. It is not closed:
// the servers outlive the measuring.
class Connection {
 public:
    explicit Connection(const wchar_t* endpoint) {
        std::wstring address = L"ncalrpc:[" + std::wstring(endpoint) + L"]";
        RpcBindingFromStringBindingW(reinterpret_cast<RPC_WSTR>(address.data()), &m_binding);
        RemoteOpen(m_binding, &m_context);
    }

    void Send(const wchar_t* command, bool flag, long number, const wchar_t* text) const {
        RemoteRequest(m_context, command, static_cast<boolean>(flag), number,
                      const_cast<wchar_t*>(text));
    }

 private:
    RPC_BINDING_HANDLE m_binding = nullptr;
    REQUEST_CONTEXT_HANDLE m_context = nullptr;
};

std::vector<Connection> Connect(const wchar_t* endpoint, int count) {
    std::vector<Connection> connections;
    for (int i = 0; i < count; ++i) {
        connections.emplace_back(endpoint);
    }
    return connections;
}

// A kind of request. `batch` requests to each server make one round. Before each of them
// `preparation`, if there is one, is sent to the service and not timed.
struct Kind {
    const char* name;
    const wchar_t* command;
    long number;
    std::wstring text;
    BareWork bare;
    int batch;
    const wchar_t* preparation = nullptr;
};

double Send(const Connection& connection, const Kind& kind) {
    const double start = Now();
    connection.Send(kind.command, true, kind.number, kind.text.c_str());
    return Now() - start;
}

Answer AnswerOf(const Connection& connection, const Kind& kind) {
    g_keep = true;
    g_answer = {};
    connection.Send(kind.command, true, kind.number, kind.text.c_str());
    g_keep = false;
    return g_answer;
}

struct Load {
    const Connection* connection;
    const Kind* kind;
};

DWORD WINAPI SendLoad(void* load) {
    const auto& [connection, kind] = *static_cast<Load*>(load);
    for (int i = 0; i < kind->batch; ++i) {
        Send(*connection, *kind);
    }
    return 0;
}

// Requests per second of all connections at once.
double Throughput(const std::vector<Connection>& connections, const Kind& kind) {
    std::vector<Load> loads;
    for (const Connection& connection : connections) {
        loads.push_back({&connection, &kind});
    }
    std::vector<HANDLE> threads;
    const double start = Now();
    for (Load& load : loads) {
        threads.push_back(CreateThread(nullptr, 0, SendLoad, &load, 0, nullptr));
    }
    for (HANDLE thread : threads) {
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
    }
    return 1e6 * kind.batch * static_cast<double>(connections.size()) / (Now() - start);
}

// One request to each in turn, and which one goes first changes as well, so that whatever else the
// machine does meets both.
void MeasureLatency(const Kind& kind, int rounds, const Connection& ours, const Connection& bare) {
    bare.Send(kChooseWork, false, static_cast<long>(kind.bare), kind.text.c_str());
    if (AnswerOf(ours, kind) != AnswerOf(bare, kind)) {
        std::printf("%s: the bare server answers differently\n", kind.name);
        std::exit(1);
    }
    // The first round warms up.
    for (int round = 0; round <= rounds; ++round) {
        Times our_times;
        Times bare_times;
        for (int i = 0; i < 2 * kind.batch; ++i) {
            if (kind.preparation != nullptr) {
                ours.Send(kind.preparation, false, 0, L"");
            }
            if (((i >> 1) ^ i) % 2 == 0) {
                our_times.push_back(Send(ours, kind));
            } else {
                bare_times.push_back(Send(bare, kind));
            }
        }
        if (round > 0) {
            std::printf("%s\t%.1f\t%.1f\t%.1f\t%.1f\n", kind.name, Quantile(our_times, 0.5),
                        Quantile(bare_times, 0.5), Quantile(our_times, 0.99),
                        Quantile(bare_times, 0.99));
        }
    }
    std::fflush(stdout);
}

int MeasureLoad(int rounds, int clients) {
    const Kind kind = {
        "requests per second", L"REGISTRYHELPER_ISVZWQ", 7, L"text", BareWork::kAnswer, 100};
    const std::vector<Connection> ours = Connect(kEndpoint, clients);
    const std::vector<Connection> bare = Connect(kBareEndpoint, clients);
    bare.front().Send(kChooseWork, false, static_cast<long>(kind.bare), L"");
    for (int round = 0; round <= rounds; ++round) {
        const double our_rate = Throughput(ours, kind);
        const double bare_rate = Throughput(bare, kind);
        if (round > 0) {
            std::printf("%s\t%.1f\t%.1f\n", kind.name, our_rate, bare_rate);
        }
    }
    return 0;
}

int MeasureRequests(int rounds, const wchar_t* document) {
    const Connection ours(kEndpoint);
    const Connection bare(kBareEndpoint);
    const std::wstring padding(64, L' ');
    constexpr wchar_t kToModem[] = L"USBPATHCHANGER_CHANGEUSBPATHTOCP";
    constexpr wchar_t kToWindows[] = L"USBPATHCHANGER_CHANGEUSBPATHTOAP";
    const Kind kinds[] = {
        {"no work", L"REGISTRYHELPER_ISVZWQ", 7, L"text", BareWork::kAnswer, 200},
        {"setting written", L"REGISTRYHELPER_SETPENSETTING", 7, L"", BareWork::kWriteSetting, 200},
        {"setting read", L"REGISTRYHELPER_GETPENSETTING", 0, L"", BareWork::kReadSetting, 200},
        {"USB to the modem", kToModem, 0, L"", BareWork::kRouteToModem, 20},
        {"USB to Windows", kToWindows, 0, L"", BareWork::kRouteToWindows, 20, kToModem},
        {"USB to Windows, nothing there", kToWindows, 0, L"", BareWork::kRouteToWindows, 20},
        {"modem state", L"MBNHELPER_CHECKINTERFACE", 0, L"", BareWork::kReadyState, 20},
        {"SIM number", L"MBNHELPER_GETSIMICCID", 0, padding, BareWork::kSimIccId, 20},
        {"document, file read", L"COMMONHELPER_READEULADOCUMENT", 0, document,
         BareWork::kReadAndSendDocument, 10},
        {"document, reply alone", L"COMMONHELPER_READEULADOCUMENT", 0, document,
         BareWork::kSendDocument, 10},
    };
    for (const Kind& kind : kinds) {
        MeasureLatency(kind, rounds, ours, bare);
    }
    return 0;
}

struct Attempt {
    const wchar_t* endpoint;
    std::atomic<bool> answered = false;
};

DWORD WINAPI AskOnce(void* context) {
    auto& attempt = *static_cast<Attempt*>(context);
    const Connection connection(attempt.endpoint);
    connection.Send(L"REGISTRYHELPER_ISVZWQ", true, 7, L"");
    attempt.answered = true;
    return 0;
}

// Starts the program and asks until it answers; the program is ended then.
int MeasureStart(const wchar_t* endpoint, std::wstring command) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    Attempt attempt = {endpoint};
    const double start = Now();
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process)) {
        return 1;
    }
    while (!attempt.answered) {
        HANDLE thread = CreateThread(nullptr, 0, AskOnce, &attempt, 0, nullptr);
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
    }
    std::printf("%.1f\n", Now() - start);
    TerminateProcess(process.hProcess, 0);
    WaitForSingleObject(process.hProcess, INFINITE);
    return 0;
}

int Hold(const wchar_t* endpoint, int clients) {
    Throughput(Connect(endpoint, clients),
               {"", L"REGISTRYHELPER_ISVZWQ", 7, L"text", BareWork::kAnswer, 20});
    std::printf("%ld answers\n", g_answers.load());
    std::fflush(stdout);
    Sleep(INFINITE);
    return 0;
}

const wchar_t* EndpointOf(std::wstring_view server) {
    return server == L"bare" ? kBareEndpoint : kEndpoint;
}

// An unreachable server raises a structured exception: the thread that met it is given up.
LONG WINAPI EndThread(EXCEPTION_POINTERS* /*exception*/) {
    ExitThread(1);
}

}  // namespace

void ReportResult(wchar_t* /*command*/, boolean flag, long number, wchar_t* text) {
    ++g_answers;
    if (g_keep) {
        g_answer = {flag != 0, number, text};
    }
}

int wmain(int argc, wchar_t** argv) {
    SetUnhandledExceptionFilter(EndThread);
    const std::wstring mode = argc > 3 ? argv[1] : L"";
    if (mode == L"requests") {
        return MeasureRequests(std::wcstol(argv[2], nullptr, 10), argv[3]);
    }
    if (mode == L"load") {
        return MeasureLoad(std::wcstol(argv[2], nullptr, 10), std::wcstol(argv[3], nullptr, 10));
    }
    if (mode == L"start") {
        return MeasureStart(EndpointOf(argv[2]), argv[3]);
    }
    if (mode == L"hold") {
        return Hold(EndpointOf(argv[2]), std::wcstol(argv[3], nullptr, 10));
    }
    return 2;
}
