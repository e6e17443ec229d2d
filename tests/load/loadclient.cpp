// Many clients in one process, each sending one request after the other, every command in turn, and
// checking every answer: loadclient CLIENTS REQUESTS SECONDS PROCESS ends after so many requests in
// all or so many seconds (0 for either: no limit). PROCESS, from 1 to 2000, makes the tags of this
// process unlike those of any other. "connected" is printed when each client is in a request of its
// own: no further connection is made from then on.
#include "tests/load/connection.h"

#include <atomic>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

#include "tests/load/cases.h"

namespace {

constexpr int kRequestsPerContext = 50;
constexpr DWORD kHungMilliseconds = 60000;
constexpr wchar_t kFirstText[] = L"connect";

// One client and the request that it waits for.
struct Client {
    Connection connection;
    HANDLE thread = nullptr;
    Request request;
    std::atomic<long> tag = 0;
    std::atomic<int> answers = 0;
    std::atomic<DWORD> since = 0;
};

std::vector<Client> g_clients;
long g_first_tag = 0;
long g_limit = 0;
ULONGLONG g_end = 0;
HANDLE g_connected = nullptr;
std::atomic<size_t> g_connecting = 0;
std::atomic<long> g_requests = 0;
std::atomic<long> g_due = 0;
std::atomic<long> g_answers = 0;
std::atomic<long> g_wrong = 0;

void Wrong(const char* what, const wchar_t* command, bool flag, long number, const wchar_t* text) {
    constexpr long kShown = 20;
    if (++g_wrong <= kShown) {
        std::printf("%s: %ls %d %ld \"%.60ls\"\n", what, command, flag, number, text);
    }
}

// Tags are spread over the clients: the tag alone tells whose it is.
void SendRequest(Client& client, long n) {
    const size_t place = static_cast<size_t>(n) / g_clients.size() + n % g_clients.size();
    Request& request = client.request;
    request.sent = &AllCases()[place % AllCases().size()];
    request.flag = n % 3 == 0;
    request.number = g_first_tag + n;
    request.text = L"t" + std::to_wstring(request.number) + L"|web.apn|PAP|user|secret|IPV4";
    request.text.append(static_cast<size_t>(n % 97), L'x');
    if (request.sent->send != nullptr) {
        request.text = request.sent->send;
    }
    client.answers = 0;
    client.since = GetTickCount();
    client.tag = request.number;
    RemoteRequest(client.connection.context, request.sent->command,
                  static_cast<boolean>(request.flag ? 1 + n % 255 : 0), request.number,
                  const_cast<wchar_t*>(request.text.c_str()));
    if (client.answers != request.sent->answers) {
        Wrong(client.answers > 0 ? "too many" : "no answer", request.sent->command, request.flag,
              request.number, const_cast<wchar_t*>(request.text.c_str()));
    }
    g_due += request.sent->answers;
    client.tag = 0;
}

// A client's first request is held up in its answer until every client is in one.
void AwaitOtherClients() {
    if (++g_connecting == g_clients.size()) {
        std::printf("connected\n");
        std::fflush(stdout);
        SetEvent(g_connected);
    }
    WaitForSingleObject(g_connected, kHungMilliseconds);
}

DWORD WINAPI RunClient(void* parameter) {
    Client& client = *static_cast<Client*>(parameter);
    RemoteRequest(client.connection.context, L"REGISTRYHELPER_ISVZWQ", 0, 0,
                  const_cast<wchar_t*>(kFirstText));
    const long step = static_cast<long>(g_clients.size());
    long n = static_cast<long>(&client - g_clients.data());
    for (int sent = 0; (g_limit == 0 || n < g_limit) && GetTickCount64() < g_end; n += step) {
        if (++sent % kRequestsPerContext == 0) {
            RemoteClose(&client.connection.context);
            RemoteOpen(client.connection.binding, &client.connection.context);
        }
        SendRequest(client, n % kTagsPerProcess);
        ++g_requests;
    }
    client.since = 0;
    return 0;
}

// Waits for all clients. False when one of them waits too long for its request.
bool AllEnd() {
    for (Client& client : g_clients) {
        while (WaitForSingleObject(client.thread, 1000) == WAIT_TIMEOUT) {
            if (client.since != 0 && GetTickCount() - client.since > kHungMilliseconds) {
                std::printf("hung in %ls\n", client.request.sent->command);
                return false;
            }
        }
    }
    return true;
}

}  // namespace

void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    if (std::wcscmp(text, kFirstText) == 0) {
        AwaitOtherClients();
        return;
    }
    ++g_answers;
    const long tag = text[0] == L't' ? std::wcstol(text + 1, nullptr, 10) : number;
    const size_t n = static_cast<size_t>(tag - g_first_tag);
    Client* client = tag >= g_first_tag ? &g_clients[n % g_clients.size()] : nullptr;
    if (client == nullptr || client->tag != tag) {
        Wrong("not asked for", command, flag != 0, number, text);
        return;
    }
    ++client->answers;
    if (!AnswerFits(client->request, command, flag != 0, number, text)) {
        Wrong("wrong", command, flag != 0, number, text);
    }
}

int wmain(int argc, wchar_t** argv) {
    if (argc < 5) {
        return kFailed;
    }
    SetUnhandledExceptionFilter(ReportFailure);
    g_clients = std::vector<Client>(std::wcstoul(argv[1], nullptr, 10));
    g_limit = std::wcstol(argv[2], nullptr, 10);
    const unsigned long seconds = std::wcstoul(argv[3], nullptr, 10);
    const ULONGLONG start = GetTickCount64();
    g_end = seconds != 0 ? start + seconds * 1000ULL : ~0ULL;
    g_first_tag = std::wcstol(argv[4], nullptr, 10) * kTagsPerProcess;
    g_connected = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    // Wine mixes up the association groups of first connections that are made at the same time.
    for (Client& client : g_clients) {
        client.connection.Open();
    }
    for (Client& client : g_clients) {
        client.thread = CreateThread(nullptr, 0, RunClient, &client, 0, nullptr);
    }
    if (!AllEnd()) {
        std::fflush(stdout);
        TerminateProcess(GetCurrentProcess(), kHung);
    }
    const ULONGLONG milliseconds = GetTickCount64() - start + 1;
    for (Client& client : g_clients) {
        client.connection.Close();
    }
    const bool passed = g_wrong == 0 && g_answers == g_due && g_connecting == g_clients.size();
    std::printf(
        "%zu clients, %ld requests, %ld answers due, %ld came, %ld wrong, %lld ms, %lld/s\n",
        g_clients.size(), g_requests.load(), g_due.load(), g_answers.load(), g_wrong.load(),
        milliseconds, g_requests * 1000ULL / milliseconds);
    return passed ? kPassed : kFailed;
}
