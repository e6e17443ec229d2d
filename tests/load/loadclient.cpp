// Many clients in one process, each sending one request after the other, every command in turn, and
// checking every answer: loadclient CLIENTS REQUESTS SECONDS PROCESS ends after so many requests in
// all or so many seconds (0 for either: no limit). PROCESS, from 1 to 2000, makes the tags of this
// process unlike those of any other. `loadclient handles` prints how many handles all programs
// hold.
#include <windows.h>
#include <rpc.h>
#include <winternl.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <string>
#include <vector>

#include "rpc/commandlists.h"
#include "rpc/stub/tesselservice.h"

namespace {

enum ExitCode { kPassed = 0, kFailed = 1, kUnreachable = 3 };

// A command, and how its answer differs from the request's own values. The modem, the control
// device and the document are as load.sh arranges them.
struct Case {
    const wchar_t* command;
    int answers = 1;
    // Of the answer's flag and number: "=" the request's own, "0" or "1", "?" what others have set.
    const char* values = "==";
    // Of its text: null the request's own, "|" that up to the first of these.
    const wchar_t* text = nullptr;
    // In the place of a text of any units, 32 at least.
    const wchar_t* send = nullptr;
};

constexpr Case kUnlikeTheRest[] = {
    {L"REGISTRYHELPER_CHECKADDTIONALPENSETTING", 1, "1="},
    {L"REGISTRYHELPER_GETPENSETTING", 1, "=?"},
    {L"REGISTRYHELPER_SETPENSETTING", 1, "1="},
    {L"REGISTRYHELPER_GETPENCLICKSETTING", 1, "=?"},
    {L"REGISTRYHELPER_SETPENCLICKSETTING", 1, "1="},
    {L"REGISTRYHELPER_GETPENPRESSURESENSITIVITY", 1, "=?"},
    {L"REGISTRYHELPER_SETPENPRESSURESENSITIVITY", 1, "1="},
    {L"REGISTRYHELPER_SETSCREENMODE", 1, "1="},
    {L"REGISTRYHELPER_GETSCREENMODE", 1, "=?"},
    {L"REGISTRYHELPER_SETDIMMINGTIME", 0},
    {L"REGISTRYHELPER_GETDIMMINGTIME", 0},
    {L"REGISTRYHELPER_ISSMARTDIMMINGSUPPORT", 0},
    {L"COMMONHELPER_ISFILE_EXISTS", 1, "1=", L"", L"C:\\windows"},
    {L"COMMONHELPER_READEULADOCUMENT", 1, "==", L"one\ntwo\n", L"C:\\Tessel\\load.txt"},
    {L"MBNHELPER_CHECKINTERFACE", 1, "=1"},
    {L"MBNHELPER_CHECKSIMSTATUS", 1, "=1"},
    {L"MBNHELPER_GETHOMEPROVIDERID", 1, "==", L"26201"},
    {L"MBNHELPER_GETHOMEPROVIDERNAME", 1, "==", L"Bramble Mobile"},
    {L"MBNHELPER_GETSUBSCRIBERID", 1, "==", L"262011234567890"},
    {L"MBNHELPER_GETSIMICCID", 1, "==", L"8949012345678901234"},
    {L"MBNHELPER_CREATEPROFILE", 1, "==", L"|"},
    {L"BLEHELPER_GETBLE", 1, "??"},
    {L"BLEHELPER_ISBLESUPPORT", 1, "=1"},
    {L"COMMONHELPER_READEULADOCUMENT", 1, "==", L""},
    {L"REGISTRYHELPER_GETDEVICENAME", 0},
};

std::vector<Case> AllCases() {
    std::vector<Case> cases(std::begin(kUnlikeTheRest), std::end(kUnlikeTheRest));
    const auto add = [&](const auto& commands) {
        for (const wchar_t* command : commands) {
            const std::wstring_view name = command;
            if (std::ranges::find(kUnlikeTheRest, name, &Case::command) ==
                std::end(kUnlikeTheRest)) {
                cases.push_back({command});
            }
        }
    };
    add(kRegistryHelperCommands);
    add(kCommonHelperCommands);
    add(kMbnHelperCommands);
    add(kBleHelperCommands);
    add(kUsbPathChangerCommands);
    return cases;
}

const std::vector<Case> g_cases = AllCases();

// Tags are above every number that an answer gives for another reason.
constexpr long kTagsPerProcess = 1000000;
constexpr int kRequestsPerContext = 50;
constexpr DWORD kConnectMilliseconds = 60000;
constexpr wchar_t kFirstText[] = L"connect";

// One client and the request that it waits for.
struct Client {
    RPC_BINDING_HANDLE binding = nullptr;
    REQUEST_CONTEXT_HANDLE context = nullptr;
    HANDLE thread = nullptr;
    const Case* sent = nullptr;
    bool flag = false;
    std::wstring text;
    std::atomic<long> tag = 0;
    std::atomic<int> answers = 0;
};

std::vector<Client> g_clients;
long g_first_tag = 0;
long g_limit = 0;
ULONGLONG g_end = 0;
HANDLE g_connected = nullptr;
std::atomic<size_t> g_connecting = 0;
std::atomic<long> g_requests = 0;
std::atomic<long> g_wrong = 0;

void Wrong(const char* what, const wchar_t* command, bool flag, long number, const wchar_t* text) {
    constexpr long kShown = 20;
    if (++g_wrong <= kShown) {
        std::printf("%s: %ls %d %ld \"%.60ls\"\n", what, command, flag, number, text);
    }
}

bool ValueFits(char due, long own, long got) {
    return due == '?' || got == (due == '=' ? own : due - '0');
}

std::wstring TextDue(const Client& client) {
    const wchar_t* due = client.sent->text;
    return due == nullptr   ? client.text
           : due[0] == L'|' ? client.text.substr(0, client.text.find(L'|'))
                            : due;
}

// Tags are spread over the clients: the tag alone tells whose it is.
void SendRequest(Client& client, long n) {
    const size_t place = static_cast<size_t>(n) / g_clients.size() + n % g_clients.size();
    client.sent = &g_cases[place % g_cases.size()];
    client.flag = n % 3 == 0;
    const long number = g_first_tag + n;
    client.text = L"t" + std::to_wstring(number) + L"|web.apn|PAP|user|secret|IPV4";
    // Some are long.
    for (long i = n % 997 == 0 ? 1000000 : n % 97; i > 0; --i) {
        client.text += static_cast<wchar_t>(1 + (n * 31 + i) % 0xFFFF);
    }
    if (client.sent->send != nullptr) {
        client.text = client.sent->send;
    }
    client.answers = 0;
    client.tag = number;
    RemoteRequest(client.context, client.sent->command,
                  static_cast<boolean>(client.flag ? 1 + n % 255 : 0), number, client.text.data());
    if (client.answers != client.sent->answers) {
        Wrong("wrong count of answers", client.sent->command, client.flag, number,
              client.text.c_str());
    }
    client.tag = 0;
}

// A client's first request is held up in its answer until every client is in one: "connected" is
// printed, and no further connection is made from then on.
void AwaitOtherClients() {
    if (++g_connecting == g_clients.size()) {
        std::printf("connected\n");
        std::fflush(stdout);
        SetEvent(g_connected);
    }
    WaitForSingleObject(g_connected, kConnectMilliseconds);
}

DWORD WINAPI RunClient(void* parameter) {
    Client& client = *static_cast<Client*>(parameter);
    std::wstring first = kFirstText;
    RemoteRequest(client.context, L"REGISTRYHELPER_ISVZWQ", 0, 0, first.data());
    const long step = static_cast<long>(g_clients.size());
    long n = static_cast<long>(&client - g_clients.data());
    for (int sent = 0; (g_limit == 0 || n < g_limit) && GetTickCount64() < g_end; n += step) {
        if (++sent % kRequestsPerContext == 0) {
            RemoteClose(&client.context);
            RemoteOpen(client.binding, &client.context);
        }
        SendRequest(client, n % kTagsPerProcess);
        ++g_requests;
    }
    return 0;
}

// Ends the program when a call fails, in the runtime's way or by a fault. The first thread does it,
// when the others have failed too: Wine now and then hangs in the end of a process whose threads
// are in the midst of their work.
LONG WINAPI EndProgram(EXCEPTION_POINTERS* exception) {
    static std::atomic_flag ending;
    if (ending.test_and_set()) {
        Sleep(INFINITE);
    }
    const DWORD code = exception->ExceptionRecord->ExceptionCode;
    std::printf("the call failed with 0x%lx\n", code);
    std::fflush(stdout);
    constexpr DWORD kOthersFailMilliseconds = 500;
    Sleep(kOthersFailMilliseconds);
    const bool from_runtime = (code & 0xFFFF0000) == 0 || (code & 0xFFFF0000) == 0x1C000000;
    TerminateProcess(GetCurrentProcess(), from_runtime ? kUnreachable : kFailed);
    return EXCEPTION_EXECUTE_HANDLER;
}

void PrintHandles() {
    // Of the class that lists every handle of the system: their number comes first.
    constexpr auto kSystemHandleInformation = static_cast<SYSTEM_INFORMATION_CLASS>(16);
    std::vector<ULONG> list(1 << 18);
    ULONG size = 0;
    NtQuerySystemInformation(kSystemHandleInformation, list.data(),
                             static_cast<ULONG>(list.size() * sizeof(ULONG)), &size);
    std::printf("%lu\n", list[0]);
}

}  // namespace

void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    if (std::wcscmp(text, kFirstText) == 0) {
        AwaitOtherClients();
        return;
    }
    const long tag = text[0] == L't' ? std::wcstol(text + 1, nullptr, 10) : number;
    const size_t n = static_cast<size_t>(tag - g_first_tag);
    Client* client = tag >= g_first_tag ? &g_clients[n % g_clients.size()] : nullptr;
    if (client == nullptr || client->tag != tag) {
        Wrong("not asked for", command, flag != 0, number, text);
        return;
    }
    ++client->answers;
    const char* values = client->sent->values;
    if (std::wcscmp(command, client->sent->command) != 0 || text != TextDue(*client) ||
        !ValueFits(values[0], client->flag, flag) || !ValueFits(values[1], tag, number)) {
        Wrong("wrong", command, flag != 0, number, text);
    }
}

int wmain(int argc, wchar_t** argv) {
    if (argc < 5) {
        PrintHandles();
        return kPassed;
    }
    SetUnhandledExceptionFilter(EndProgram);
    g_clients = std::vector<Client>(std::wcstoul(argv[1], nullptr, 10));
    g_limit = std::wcstol(argv[2], nullptr, 10);
    const unsigned long seconds = std::wcstoul(argv[3], nullptr, 10);
    const ULONGLONG start = GetTickCount64();
    g_end = seconds != 0 ? start + seconds * 1000ULL : ~0ULL;
    g_first_tag = std::wcstol(argv[4], nullptr, 10) * kTagsPerProcess;
    g_connected = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    // Wine mixes up the association groups of first connections that are made at the same time.
    for (Client& client : g_clients) {
        std::wstring address = L"ncalrpc:[TesselRpcEndpoint]";
        RpcBindingFromStringBindingW(reinterpret_cast<RPC_WSTR>(address.data()), &client.binding);
        RemoteOpen(client.binding, &client.context);
    }
    for (Client& client : g_clients) {
        client.thread = CreateThread(nullptr, 0, RunClient, &client, 0, nullptr);
    }
    for (Client& client : g_clients) {
        WaitForSingleObject(client.thread, INFINITE);
    }
    const ULONGLONG milliseconds = GetTickCount64() - start + 1;
    for (Client& client : g_clients) {
        RemoteClose(&client.context);
    }
    std::printf("%zu clients, %ld requests, %ld wrong, %lld/s\n", g_clients.size(),
                g_requests.load(), g_wrong.load(), g_requests * 1000ULL / milliseconds);
    return g_wrong == 0 && g_connecting == g_clients.size() ? kPassed : kFailed;
}
