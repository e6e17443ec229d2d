// A client that does not keep to the rules. `hostileclient packets` sends calls with contexts that
// are not its own, or none, and to a procedure that there is not. `hostileclient texts N` sends N
// random commands and texts of up to some megabytes by the rules. After each, an ordinary request
// must be answered.
#include "tests/load/connection.h"

#include <rpcdcep.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <random>
#include <string>
#include <vector>

#include "rpc/stub/stubs.h"
#include "tests/load/cases.h"

namespace {

std::mt19937 g_random(20240607);
std::atomic<int> g_answers = 0;
std::atomic<bool> g_fits = true;
Request g_request;
bool g_passed = true;

unsigned Random(unsigned limit) {
    return std::uniform_int_distribution<unsigned>(0, limit - 1)(g_random);
}

// Sends one request by the rules and tells whether exactly the due answers came.
bool Served(const Connection& connection, const Request& request) {
    g_request = request;
    g_answers = 0;
    g_fits = true;
    RemoteRequest(connection.context, request.sent->command,
                  static_cast<boolean>(request.flag ? 1 : 0), request.number,
                  const_cast<wchar_t*>(request.text.c_str()));
    return g_fits && g_answers == request.sent->answers;
}

// An ordinary client of its own, after each attack.
bool ServiceServes() {
    static const Case* const echo = &*std::ranges::find_if(AllCases(), [](const Case& row) {
        return std::wcscmp(row.command, L"REGISTRYHELPER_ISVZWQ") == 0;
    });
    Connection connection;
    connection.Open();
    const bool served = Served(connection, {echo, true, 42, L"still there?"});
    connection.Close();
    return served;
}

using Bytes = std::vector<unsigned char>;

constexpr unsigned kOpen = 0, kClose = 1, kSend = 2, kNone = 3;
const Bytes kNullContext(20);

// The service's interface, of which a call's bytes are made here and not by the stubs.
RPC_CLIENT_INTERFACE g_interface = {
    sizeof(RPC_CLIENT_INTERFACE),
    {{0x7f215fb3, 0x587b, 0x423e, {0x9f, 0x10, 0xab, 0x48, 0x3b, 0xc4, 0xd2, 0x4d}}, {1, 0}},
    {{0x8a885d04, 0x1ceb, 0x11c9, {0x9f, 0xe8, 0x08, 0x00, 0x2b, 0x10, 0x48, 0x60}}, {2, 0}},
    nullptr,
    0,
    nullptr,
    0,
    nullptr,
    0};

// Connections with different options belong, to Wine, to different clients.
class RawClient {
 public:
    explicit RawClient(const std::wstring& options) {
        std::wstring address = std::wstring(kProtocolSequence) + L":[" + kEndpoint + options + L"]";
        RpcBindingFromStringBindingW(reinterpret_cast<RPC_WSTR>(address.data()), &m_binding);
    }

    // Gives the status of the call; the reply replaces `data`.
    RPC_STATUS Call(unsigned procedure, Bytes& data) const {
        RPC_MESSAGE message = {};
        message.Handle = m_binding;
        message.ProcNum = procedure;
        message.BufferLength = static_cast<unsigned>(data.size());
        message.TransferSyntax = &g_interface.TransferSyntax;
        message.RpcInterfaceInformation = &g_interface;
        I_RpcGetBuffer(&message);
        std::ranges::copy(data, static_cast<unsigned char*>(message.Buffer));
        const RPC_STATUS status = I_RpcSendReceive(&message);
        if (status == RPC_S_OK) {
            const auto* reply = static_cast<const unsigned char*>(message.Buffer);
            data.assign(reply, reply + message.BufferLength);
            I_RpcFreeBuffer(&message);
        }
        return status;
    }

    Bytes OpenContext() const {
        Bytes context;
        Call(kOpen, context);
        return context;
    }

 private:
    RPC_BINDING_HANDLE m_binding = nullptr;
};

// The arguments of RemoteRequest for the command that echoes.
Bytes Arguments(const Bytes& context) {
    constexpr char16_t kTexts[] = u"REGISTRYHELPER_ISVZWQ";
    Bytes data = context;
    const auto put_number = [&](unsigned long value) {
        data.resize((data.size() + 3) / 4 * 4);
        data.insert(data.end(), reinterpret_cast<unsigned char*>(&value),
                    reinterpret_cast<unsigned char*>(&value) + 4);
    };
    const auto put_text = [&] {
        put_number(std::size(kTexts));
        put_number(0);
        put_number(std::size(kTexts));
        const auto* bytes = reinterpret_cast<const unsigned char*>(kTexts);
        data.insert(data.end(), bytes, bytes + sizeof(kTexts));
    };
    put_text();
    data.push_back(1);
    put_number(7);
    put_text();
    return data;
}

void SendPackets() {
    // Answers are received from the first call by the stubs on.
    g_passed = ServiceServes();
    const RawClient client(L"");
    const RawClient other(L",Security=Identification Dynamic True");
    const Bytes own = client.OpenContext();
    const Bytes others = other.OpenContext();
    Bytes closed = client.OpenContext();
    const Bytes was_open = closed;
    client.Call(kClose, closed);

    const struct {
        const char* name;
        const RawClient& client;
        unsigned procedure;
        Bytes data;
        bool answered;
    } calls[] = {
        {"by the rules", client, kSend, Arguments(own), true},
        // Wine's runtime lets it pass.
        {"a null context", client, kSend, Arguments(kNullContext), true},
        {"close of a null context", client, kClose, kNullContext, false},
        {"a closed context", client, kSend, Arguments(was_open), false},
        {"close of a closed context", client, kClose, was_open, false},
        {"another client's context", client, kSend, Arguments(others), false},
        {"close of another client's context", client, kClose, others, false},
        {"no such procedure", client, kNone, Arguments(own), false},
        {"the other client", other, kSend, Arguments(others), true},
    };
    for (const auto& call : calls) {
        g_request = {};
        g_answers = 0;
        Bytes data = call.data;
        const RPC_STATUS status = call.client.Call(call.procedure, data);
        // Whether the call reached a handler is to be seen from its answer.
        const bool as_due = (g_answers != 0) == call.answered;
        const bool serves = ServiceServes();
        std::printf("%-36s status 0x%lx%s%s\n", call.name, status,
                    as_due ? "" : " WRONGLY ANSWERED OR NOT",
                    serves ? "" : " SERVICE DOES NOT SERVE");
        g_passed = g_passed && as_due && serves;
    }
}

void SendTexts(int count) {
    Connection connection;
    connection.Open();
    unsigned long long units = 0;
    for (int i = 0; i < count; ++i) {
        const Case& row = AllCases()[Random(static_cast<unsigned>(AllCases().size()))];
        // One in eight is long.
        std::wstring text(32 + Random(i % 8 == 0 ? 2000000 : 2000), L'\0');
        std::ranges::generate(text, [] { return static_cast<wchar_t>(1 + Random(0xFFFF)); });
        text = row.send != nullptr ? row.send : text;
        units += text.size();
        Request request = {&row, i % 2 == 0, kTagsPerProcess + i, text};
        if (!Served(connection, request)) {
            std::printf("%ls with %zu units: %d answers\n", row.command, text.size(),
                        g_answers.load());
            g_passed = false;
        }
        // No command begins like this.
        const Case unknown = {text.c_str(), 0};
        request.sent = &unknown;
        g_passed = g_passed && Served(connection, request);
    }
    connection.Close();
    std::printf("%d random texts, %llu units\n", count, units);
    g_passed = g_passed && ServiceServes();
}

}  // namespace

void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    ++g_answers;
    if (g_request.sent != nullptr && !AnswerFits(g_request, command, flag != 0, number, text)) {
        g_fits = false;
    }
}

int wmain(int argc, wchar_t** argv) {
    SetUnhandledExceptionFilter(ReportFailure);
    if (argc > 2 && std::wcscmp(argv[1], L"texts") == 0) {
        SendTexts(static_cast<int>(std::wcstol(argv[2], nullptr, 10)));
    } else {
        SendPackets();
    }
    std::printf(g_passed ? "passed\n" : "failed\n");
    return g_passed ? kPassed : kFailed;
}
