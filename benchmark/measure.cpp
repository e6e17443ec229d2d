// Measures the service against the bare server, request by request, side by side.
//   measure requests ROUNDS DOCUMENT     one line per kind of request
//   measure start ROUNDS SERVICE BARE    from the start of each program to its first answer
//   measure hold ENDPOINT CLIENTS        so many clients answered and connected, until killed
// Lines are fields separated by tabs, times in microseconds.
#include <windows.h>
#include <rpc.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

#include "benchmark/barework.h"
#include "rpc/clientstub.h"

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

double Median(const Times& times) {
    return Quantile(times, 0.5);
}

// A connection to one of the servers; an unreachable one ends the thread, see EndThread.
class Connection {
 public:
    explicit Connection(const wchar_t* endpoint) {
        std::wstring address = L"ncalrpc:[" + std::wstring(endpoint) + L"]";
        RpcBindingFromStringBindingW(reinterpret_cast<RPC_WSTR>(address.data()), &m_binding);
        RemoteOpen(m_binding, &m_context);
    }

    void Send(const wchar_t* command, bool flag, long number, const wchar_t* text) const {
        RemoteRequest(m_context, command, static_cast<boolean>(flag), number, text);
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

// A kind of request. `batch` requests make one round.
struct Kind {
    const char* name;
    const wchar_t* command;
    long number;
    std::wstring text;
    BareWork bare;
    int batch;
};

Times SendBatch(const Connection& connection, const Kind& kind) {
    Times times;
    for (int i = 0; i < kind.batch; ++i) {
        const double start = Now();
        connection.Send(kind.command, true, kind.number, kind.text.c_str());
        times.push_back(Now() - start);
    }
    return times;
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
    SendBatch(*connection, *kind);
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

// One line: name, both medians, the median ratio of the rounds with its quartiles, both 99th
// percentiles, and for throughput instead of those nothing.
void Print(const char* name, const Times& ours, const Times& bare, const Times& ratios) {
    std::printf("%s\t%.1f\t%.1f\t%.3f\t%.3f\t%.3f\t%.1f\t%.1f\n", name, Median(ours), Median(bare),
                Median(ratios), Quantile(ratios, 0.25), Quantile(ratios, 0.75),
                Quantile(ours, 0.99), Quantile(bare, 0.99));
    std::fflush(stdout);
}

// Rounds of ours and bare; which one goes first changes from round to round.
template <typename MeasureOurs, typename MeasureBare>
void Alternate(int rounds, MeasureOurs ours, MeasureBare bare) {
    for (int round = 0; round < rounds; ++round) {
        if (round % 2 == 0) {
            ours();
            bare();
        } else {
            bare();
            ours();
        }
    }
}

void Append(Times& all, const Times& more) {
    all.insert(all.end(), more.begin(), more.end());
}

void MeasureLatency(const Kind& kind, int rounds, const Connection& ours, const Connection& bare) {
    bare.Send(kChooseWork, false, static_cast<long>(kind.bare), kind.text.c_str());
    if (kind.bare != BareWork::kSendDocument && AnswerOf(ours, kind) != AnswerOf(bare, kind)) {
        std::printf("%s: the bare server answers differently\n", kind.name);
        std::exit(1);
    }
    SendBatch(ours, kind);
    SendBatch(bare, kind);
    Times our_times;
    Times bare_times;
    Times our_medians;
    Times bare_medians;
    Alternate(
        rounds,
        [&] {
            const Times times = SendBatch(ours, kind);
            our_medians.push_back(Median(times));
            Append(our_times, times);
        },
        [&] {
            const Times times = SendBatch(bare, kind);
            bare_medians.push_back(Median(times));
            Append(bare_times, times);
        });
    Times ratios;
    for (std::size_t i = 0; i < our_medians.size(); ++i) {
        ratios.push_back(our_medians[i] / bare_medians[i]);
    }
    Print(kind.name, our_times, bare_times, ratios);
}

void MeasureThroughput(const Kind& kind, int rounds, int clients) {
    const std::vector<Connection> ours = Connect(L"TesselRpcEndpoint", clients);
    const std::vector<Connection> bare = Connect(kBareEndpoint, clients);
    bare.front().Send(kChooseWork, false, static_cast<long>(kind.bare), L"");
    Throughput(ours, kind);
    Throughput(bare, kind);
    Times our_rates;
    Times bare_rates;
    Alternate(
        rounds, [&] { our_rates.push_back(Throughput(ours, kind)); },
        [&] { bare_rates.push_back(Throughput(bare, kind)); });
    Times ratios;
    for (std::size_t i = 0; i < our_rates.size(); ++i) {
        // As for times: above 1 is slower than bare.
        ratios.push_back(bare_rates[i] / our_rates[i]);
    }
    Print(kind.name, our_rates, bare_rates, ratios);
}

int MeasureRequests(int rounds, const wchar_t* document) {
    const Connection ours(L"TesselRpcEndpoint");
    const Connection bare(kBareEndpoint);
    const std::wstring room(64, L' ');
    const Kind kinds[] = {
        {"no work", L"REGISTRYHELPER_ISVZWQ", 7, L"text", BareWork::kAnswer, 200},
        {"setting written", L"REGISTRYHELPER_SETPENSETTING", 7, L"", BareWork::kWriteSetting, 200},
        {"setting read", L"REGISTRYHELPER_GETPENSETTING", 0, L"", BareWork::kReadSetting, 200},
        {"USB to the modem", L"USBPATHCHANGER_CHANGEUSBPATHTOCP", 0, L"", BareWork::kRouteToModem,
         10},
        {"USB to Windows", L"USBPATHCHANGER_CHANGEUSBPATHTOAP", 0, L"", BareWork::kRouteToWindows,
         10},
        {"modem state", L"MBNHELPER_CHECKINTERFACE", 0, L"", BareWork::kReadyState, 20},
        {"SIM number", L"MBNHELPER_GETSIMICCID", 0, room, BareWork::kSimIccId, 20},
        {"document, file read", L"COMMONHELPER_READEULADOCUMENT", 0, document,
         BareWork::kReadAndSendDocument, 5},
        {"document, reply alone", L"COMMONHELPER_READEULADOCUMENT", 0, document,
         BareWork::kSendDocument, 5},
    };
    for (const Kind& kind : kinds) {
        MeasureLatency(kind, rounds, ours, bare);
    }
    const Kind load = {
        "requests per second", L"REGISTRYHELPER_ISVZWQ", 7, L"text", BareWork::kAnswer, 200};
    MeasureThroughput(load, rounds, 8);
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
double TimeToFirstAnswer(std::wstring command, const wchar_t* endpoint) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    Attempt attempt = {endpoint};
    const double start = Now();
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process)) {
        std::printf("cannot start %ls\n", command.c_str());
        std::exit(1);
    }
    while (!attempt.answered) {
        HANDLE thread = CreateThread(nullptr, 0, AskOnce, &attempt, 0, nullptr);
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
    }
    const double time = Now() - start;
    TerminateProcess(process.hProcess, 0);
    WaitForSingleObject(process.hProcess, INFINITE);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return time;
}

int MeasureStart(int rounds, const std::wstring& service, const std::wstring& bare_server) {
    Times ours;
    Times bare;
    Times ratios;
    Alternate(
        rounds,
        [&] { ours.push_back(TimeToFirstAnswer(service + L" -console", L"TesselRpcEndpoint")); },
        [&] { bare.push_back(TimeToFirstAnswer(bare_server, kBareEndpoint)); });
    for (std::size_t i = 0; i < ours.size(); ++i) {
        ratios.push_back(ours[i] / bare[i]);
    }
    Print("start to first answer", ours, bare, ratios);
    return 0;
}

int Hold(const wchar_t* endpoint, int clients) {
    Throughput(Connect(endpoint, clients), {"", L"REGISTRYHELPER_ISVZWQ", 7, L"text", BareWork::kAnswer, 20});
    std::printf("%ld answers\n", g_answers.load());
    std::fflush(stdout);
    Sleep(INFINITE);
    return 0;
}

// An unreachable server raises a structured exception: the thread that met it is given up.
LONG WINAPI EndThread(EXCEPTION_POINTERS* /*exception*/) {
    ExitThread(1);
}

}  // namespace

void ReportResult(const wchar_t* /*command*/, boolean flag, long number, const wchar_t* text) {
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
    if (mode == L"start" && argc > 4) {
        return MeasureStart(std::wcstol(argv[2], nullptr, 10), argv[3], argv[4]);
    }
    if (mode == L"hold") {
        return Hold(argv[2], std::wcstol(argv[3], nullptr, 10));
    }
    return 2;
}
