// Measures the service and the bare server.
//
//   measure requests ROUNDS DOCUMENT     the latency of every kind of request
//   measure load ROUNDS CLIENTS          the throughput of several clients at once
//   measure start SERVER COMMAND         the time from the start of the program to its first answer
//   measure hold SERVER CLIENTS          receives some answers, then keeps the clients connected
//                                        until it is killed
//
// SERVER is "service" or "bare". The first two print a line for each round, with tabs between the
// fields: name, medians of service and bare server in microseconds (or requests per second), and
// both 99th percentiles.
#include <windows.h>
#include <rpc.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "benchmark/barework.h"
#include "interface/endpoint.h"
#include "interface/tesselservice.h"
#include "win32/rpctext.h"
#include "win32/uniquehandle.h"

namespace {

using Times = std::vector<double>;

std::atomic<long> g_answers = 0;

// The last answer, stored only if g_keep is true. Then only one thread sends.
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
    return times[static_cast<std::size_t>(
        std::lround(part * static_cast<double>(times.size() - 1)))];
}

// A connection to one of the servers. If the server cannot be reached, the thread ends. The
// connection is never closed.
class Connection {
 public:
    explicit Connection(const wchar_t* endpoint) {
        const std::wstring address = L"ncalrpc:[" + std::wstring(endpoint) + L"]";
        RpcBindingFromStringBindingW(RpcText(address.c_str()), &m_binding);
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

// A kind of request. A round has `batch` requests to each server. If there is a `preparation`, this
// command is sent to the service before each request, and its time does not count.
struct Kind {
    const char* name;
    const wchar_t* command;
    long number;
    std::wstring text;
    BareWork bare;
    int batch;
    const wchar_t* preparation = nullptr;
};

void SendKind(const Connection& connection, const Kind& kind) {
    connection.Send(kind.command, true, kind.number, kind.text.c_str());
}

double TimeOf(const Connection& connection, const Kind& kind) {
    const double start = Now();
    SendKind(connection, kind);
    return Now() - start;
}

Answer AnswerOf(const Connection& connection, const Kind& kind) {
    g_keep = true;
    g_answer = {};
    SendKind(connection, kind);
    g_keep = false;
    return g_answer;
}

const Kind kNoWork = {"no work", L"REGISTRYHELPER_ISVZWQ", 7, L"text", BareWork::kAnswer, 200};

std::vector<Connection> Connect(const wchar_t* endpoint, int count) {
    std::vector<Connection> connections;
    for (int i = 0; i < count; ++i) {
        connections.emplace_back(endpoint);
    }
    return connections;
}

// Sends `requests` requests over each connection, in one thread for each. Returns the requests per
// second of all connections.
double Throughput(const std::vector<Connection>& connections, int requests) {
    std::vector<std::thread> threads;
    const double start = Now();
    for (const Connection& connection : connections) {
        threads.emplace_back([&] {
            for (int i = 0; i < requests; ++i) {
                SendKind(connection, kNoWork);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return 1e6 * requests * static_cast<double>(connections.size()) / (Now() - start);
}

// Sends to both servers in turn and alternates the first one, so that other work of the machine
// delays both.
void MeasureLatency(const Kind& kind, int rounds, const Connection& ours, const Connection& bare) {
    bare.Send(kChooseWork, false, static_cast<long>(kind.bare), kind.text.c_str());
    if (AnswerOf(ours, kind) != AnswerOf(bare, kind)) {
        std::printf("%s: the bare server answers differently\n", kind.name);
        std::exit(1);
    }
    // The first round does not count.
    for (int round = 0; round <= rounds; ++round) {
        Times our_times;
        Times bare_times;
        for (int i = 0; i < 2 * kind.batch; ++i) {
            if (kind.preparation != nullptr) {
                ours.Send(kind.preparation, false, 0, L"");
            }
            if (((i >> 1) ^ i) % 2 == 0) {
                our_times.push_back(TimeOf(ours, kind));
            } else {
                bare_times.push_back(TimeOf(bare, kind));
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
    constexpr int kRequests = 100;
    const std::vector<Connection> ours = Connect(kEndpoint, clients);
    const std::vector<Connection> bare = Connect(kBareEndpoint, clients);
    bare.front().Send(kChooseWork, false, static_cast<long>(BareWork::kAnswer), L"");
    for (int round = 0; round <= rounds; ++round) {
        const double our_rate = Throughput(ours, kRequests);
        const double bare_rate = Throughput(bare, kRequests);
        if (round > 0) {
            std::printf("requests per second\t%.1f\t%.1f\n", our_rate, bare_rate);
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
        kNoWork,
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

// Starts the program, sends requests until it answers, and ends it.
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
    const auto ask_once = [](void* context) -> DWORD {
        auto& asked = *static_cast<Attempt*>(context);
        SendKind(Connection(asked.endpoint), kNoWork);
        asked.answered = true;
        return 0;
    };
    while (!attempt.answered) {
        // Not a std::thread: an attempt that fails ends its thread with ExitThread.
        const Handle thread(CreateThread(nullptr, 0, ask_once, &attempt, 0, nullptr));
        WaitForSingleObject(thread.get(), INFINITE);
    }
    std::printf("%.1f\n", Now() - start);
    TerminateProcess(process.hProcess, 0);
    WaitForSingleObject(process.hProcess, INFINITE);
    return 0;
}

int Hold(const wchar_t* endpoint, int clients) {
    Throughput(Connect(endpoint, clients), 20);
    std::printf("%ld answers\n", g_answers.load());
    std::fflush(stdout);
    Sleep(INFINITE);
    return 0;
}

const wchar_t* EndpointOf(std::wstring_view server) {
    return server == L"bare" ? kBareEndpoint : kEndpoint;
}

// Ends the thread: a call to a server that cannot be reached raises a structured exception.
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
    const auto number = [&](int index) { return _wtoi(argv[index]); };
    return mode == L"requests" ? MeasureRequests(number(2), argv[3])
           : mode == L"load"   ? MeasureLoad(number(2), number(3))
           : mode == L"start"  ? MeasureStart(EndpointOf(argv[2]), argv[3])
           : mode == L"hold"   ? Hold(EndpointOf(argv[2]), number(3))
                               : 2;
}
