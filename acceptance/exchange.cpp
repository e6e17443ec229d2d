#include "acceptance/exchange.h"

#include <rpcndr.h>

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <utility>

#include "acceptance/forcedsyntax.h"
#include "acceptance/guardedcall.h"
#include "client/requests/answers.h"
#include "rpc/endpoint.h"
#include "win32/rpctext.h"

namespace {

// What the text of an exchange with a number begins with: "#12#".
constexpr wchar_t kMark = L'#';

// By number; the last is for the request that has none.
constexpr int kUnnumbered = kExchangeNumbers;
std::atomic<Exchange*> g_exchanges[kExchangeNumbers + 1];
OtherAnswers g_other_answers;

std::atomic<Exchange*>& PlaceOf(const wchar_t* text) {
    if (text[0] == kMark) {
        wchar_t* end = nullptr;
        const long number = std::wcstol(text + 1, &end, 10);
        if (*end == kMark && number >= 0 && number < kExchangeNumbers) {
            return g_exchanges[number];
        }
    }
    return g_exchanges[kUnnumbered];
}

// Every request of this program is answered here, on a thread of the RPC runtime's choice.
void TakeAnswer(const wchar_t* command, bool flag, long number, const wchar_t* text) {
    Exchange* exchange = PlaceOf(text);
    if (exchange == nullptr) {
        if (g_other_answers) {
            g_other_answers({command, flag, number, text});
        }
        return;
    }
    ++exchange->answers;
    exchange->answer = {command, flag, number, text};
    if (exchange->in_callback) {
        exchange->in_callback();
    }
}

}  // namespace

bool Exchange::IsEchoed() const {
    return status == 0 && answers == 1 && answer.command == sent.command &&
           answer.flag == sent.flag && answer.number == sent.number && answer.text == sent.text;
}

std::wstring Exchange::Text() const {
    return L"status " + std::to_wstring(status) + L", " + std::to_wstring(answers) + L" answers, " +
           (answer.flag ? L"true, " : L"false, ") + std::to_wstring(answer.number) + L", " +
           std::to_wstring(answer.text.size()) + L" units \"" + answer.text.substr(0, 40) + L"\"";
}

Exchange Echo(int number, long data, std::wstring_view text) {
    return {{L"REGISTRYHELPER_ISVZWQ", data % 2 != 0, data,
             kMark + std::to_wstring(number) + kMark + std::wstring(text)}};
}

Session::~Session() {
    if (m_context != nullptr) {
        Close();
    }
    if (m_binding != nullptr) {
        RpcBindingFree(&m_binding);
    }
}

DWORD Session::Open() {
    const RPC_STATUS status = RpcBindingFromStringBindingW(RpcText(kStringBinding), &m_binding);
    return status != RPC_S_OK ? static_cast<DWORD>(status)
                              : StatusOf([this] { m_half->open(m_binding, &m_context); });
}

void Session::Send(Exchange& exchange) {
    std::atomic<Exchange*>& place = PlaceOf(exchange.sent.text.c_str());
    place = &exchange;
    exchange.status = StatusOf([&] {
        const RequestValues& sent = exchange.sent;
        m_half->request(m_context, sent.command.c_str(), static_cast<boolean>(sent.flag),
                        sent.number, const_cast<wchar_t*>(sent.text.c_str()));
    });
    place = nullptr;
}

DWORD Session::Close() {
    const bool had_context = m_context != nullptr;
    const DWORD status = StatusOf([this] { m_half->close(&m_context); });
    if (status != 0 && had_context) {
        // Frees this process's part of it.
        StatusOf([this] { RpcSsDestroyClientContext(&m_context); });
    }
    return status;
}

ContextBytes Session::Bytes() const {
    ContextBytes bytes = {};
    NDRCContextMarshall(m_context, bytes.data());
    return bytes;
}

DWORD Session::CloseBytes(ContextBytes& bytes) {
    constexpr unsigned long kRemoteClose = 1;
    RPC_MESSAGE message = {};
    MIDL_STUB_MESSAGE stub = {};
    const DWORD status = StatusOf([&] {
        NdrClientInitializeNew(&message, &stub, const_cast<MIDL_STUB_DESC*>(&kNdr20Descriptor),
                               kRemoteClose);
        NdrGetBuffer(&stub, bytes.size(), m_binding);
        stub.Buffer = std::ranges::copy(bytes, stub.Buffer).out;
        NdrSendReceive(&stub, stub.Buffer);
        std::copy_n(stub.Buffer, bytes.size(), bytes.begin());
    });
    StatusOf([&] { NdrFreeBuffer(&stub); });
    return status;
}

void HandleOtherAnswers(OtherAnswers handler) {
    g_other_answers = std::move(handler);
}

void TakeAnswers() {
    HandleAnswers(TakeAnswer);
}

DWORD AskOnce() {
    Session session;
    DWORD status = session.Open();
    if (status == 0) {
        Exchange echo = Echo(0);
        session.Send(echo);
        status = echo.status != 0 ? echo.status : echo.IsEchoed() ? 0 : ERROR_INVALID_DATA;
    }
    return status;
}

Crew::Crew(int count, std::function<void(int)> work) : m_work(std::move(work)) {
    for (int i = 0; i < count; ++i) {
        m_members.push_back({&m_work, i});
    }
    for (Member& member : m_members) {
        HANDLE thread = CreateThread(nullptr, 0, Run, &member, 0, nullptr);
        if (thread == nullptr) {
            break;
        }
        m_threads.push_back(thread);
    }
}

DWORD WINAPI Crew::Run(void* member) {
    const auto* self = static_cast<Member*>(member);
    (*self->work)(self->index);
    return 0;
}

bool Crew::Wait(DWORD milliseconds) {
    const ULONGLONG start = GetTickCount64();
    for (HANDLE thread : m_threads) {
        const ULONGLONG waited = GetTickCount64() - start;
        const DWORD left = milliseconds == INFINITE ? INFINITE
                           : waited < milliseconds  ? static_cast<DWORD>(milliseconds - waited)
                                                    : 0;
        if (WaitForSingleObject(thread, left) != WAIT_OBJECT_0) {
            return false;
        }
    }
    for (HANDLE thread : m_threads) {
        CloseHandle(thread);
    }
    m_threads.clear();
    return true;
}
