// Measures the service and the bare server.
//
//   measure requests ROUNDS DOCUMENT     the latency of every kind of request
//   measure load ROUNDS CLIENTS          the throughput of several clients at once
//   measure hold SERVER CLIENTS          receives some answers, then keeps the clients connected
//                                        until it is killed
//
// SERVER is "service" or "bare". The first two print a line for each round, with tabs between the
// fields: name, medians of service and bare server in microseconds (or requests per second), and
// both 99th percentiles.
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <deque>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "benchmark/barework.h"
#include "connection/connection.h"

namespace {

using Times = std::vector<double>;

std::atomic<long> g_answers = 0;

// The last answer, stored only if g_keep is true. Then only one thread sends.
bool g_keep = false;
RequestValues g_answer;

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

// A kind of request. A round has `batch` requests to each server. If there is a `preparation`, this
// command is sent to the service before each request, and its time does not count.
struct Kind {
    const char* name;
    RequestValues request;
    BareWork bare;
    int batch;
    const wchar_t* preparation = nullptr;
};

// Ends the program if the request fails.
void Send(const Connection& connection, const RequestValues& request) {
    if (const DWORD status = connection.Send(request); status != ERROR_SUCCESS) {
        std::printf("a request failed: %lu\n", status);
        std::exit(1);
    }
}

double TimeOf(const Connection& connection, const RequestValues& request) {
    const double start = Now();
    Send(connection, request);
    return Now() - start;
}

RequestValues AnswerOf(const Connection& connection, const RequestValues& request) {
    g_keep = true;
    g_answer = {};
    Send(connection, request);
    g_keep = false;
    return g_answer;
}

const RequestValues kNoWork = {L"REGISTRYHELPER_ISVZWQ", true, 7, L"text"};

std::deque<Connection> Connect(const wchar_t* address, int count) {
    std::deque<Connection> connections;
    for (int i = 0; i < count; ++i) {
        connections.emplace_back(address);
    }
    return connections;
}

// Sends `requests` requests over each connection, in one thread for each. Returns the requests per
// second of all connections.
double Throughput(const std::deque<Connection>& connections, int requests) {
    std::vector<std::thread> threads;
    const double start = Now();
    for (const Connection& connection : connections) {
        threads.emplace_back([&] {
            for (int i = 0; i < requests; ++i) {
                Send(connection, kNoWork);
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
    Send(bare, {kChooseWork, false, static_cast<long>(kind.bare), kind.request.text});
    if (AnswerOf(ours, kind.request) != AnswerOf(bare, kind.request)) {
        std::printf("%s: the bare server answers differently\n", kind.name);
        std::exit(1);
    }
    // The first round does not count.
    for (int round = 0; round <= rounds; ++round) {
        Times our_times;
        Times bare_times;
        for (int i = 0; i < 2 * kind.batch; ++i) {
            if (kind.preparation != nullptr) {
                Send(ours, {kind.preparation});
            }
            if (((i >> 1) ^ i) % 2 == 0) {
                our_times.push_back(TimeOf(ours, kind.request));
            } else {
                bare_times.push_back(TimeOf(bare, kind.request));
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
    const std::deque<Connection> ours = Connect(kStringBinding, clients);
    const std::deque<Connection> bare = Connect(kBareStringBinding, clients);
    Send(bare.front(), {kChooseWork, false, static_cast<long>(BareWork::kAnswer)});
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
    const Connection ours;
    const Connection bare(kBareStringBinding);
    const std::wstring padding(64, L' ');
    const RequestValues read_document = {L"COMMONHELPER_READEULADOCUMENT", true, 0, document};
    RequestValues long_text = kNoWork;
    long_text.text.assign(1048576 / sizeof(wchar_t), L'x');
    constexpr wchar_t kToModem[] = L"USBPATHCHANGER_CHANGEUSBPATHTOCP";
    constexpr wchar_t kToWindows[] = L"USBPATHCHANGER_CHANGEUSBPATHTOAP";
    const Kind kinds[] = {
        {"no work", kNoWork, BareWork::kAnswer, 200},
        {"long text, 1 MB", long_text, BareWork::kAnswer, 10},
        {"setting written",
         {L"REGISTRYHELPER_SETPENSETTING", true, 7},
         BareWork::kWriteSetting,
         200},
        {"setting read", {L"REGISTRYHELPER_GETPENSETTING", true}, BareWork::kReadSetting, 200},
        {"USB to the modem", {kToModem, true}, BareWork::kRouteToModem, 20},
        {"USB to Windows", {kToWindows, true}, BareWork::kRouteToWindows, 20, kToModem},
        {"USB to Windows, nothing there", {kToWindows, true}, BareWork::kRouteToWindows, 20},
        {"modem state", {L"MBNHELPER_CHECKINTERFACE", true}, BareWork::kReadyState, 20},
        {"SIM number", {L"MBNHELPER_GETSIMICCID", true, 0, padding}, BareWork::kSimIccId, 20},
        {"document, file read", read_document, BareWork::kReadAndSendDocument, 10},
        {"document, reply alone", read_document, BareWork::kSendDocument, 10},
    };
    for (const Kind& kind : kinds) {
        MeasureLatency(kind, rounds, ours, bare);
    }
    return 0;
}

int Hold(const wchar_t* address, int clients) {
    const std::deque<Connection> connections = Connect(address, clients);
    Throughput(connections, 20);
    std::printf("%ld answers\n", g_answers.load());
    std::fflush(stdout);
    Sleep(INFINITE);
    return 0;
}

const wchar_t* AddressOf(std::wstring_view server) {
    return server == L"bare" ? kBareStringBinding : kStringBinding;
}

}  // namespace

void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    ++g_answers;
    if (g_keep) {
        g_answer = {command, flag != 0, number, text};
    }
}

int wmain(int argc, wchar_t** argv) {
    const std::wstring mode = argc > 3 ? argv[1] : L"";
    const auto number = [&](int index) { return _wtoi(argv[index]); };
    return mode == L"requests" ? MeasureRequests(number(2), argv[3])
           : mode == L"load"   ? MeasureLoad(number(2), number(3))
           : mode == L"hold"   ? Hold(AddressOf(argv[2]), number(3))
                               : 2;
}
