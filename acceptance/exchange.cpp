#include "acceptance/exchange.h"

#include <rpcndr.h>

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <thread>
#include <utility>
#include <vector>

#include "acceptance/child.h"
#include "acceptance/forcedsyntax.h"
#include "acceptance/guardedcall.h"
#include "acceptance/items.h"
#include "client/requests/answers.h"
#include "client/requests/commandhelp.h"
#include "rpc/endpoint.h"
#include "win32/rpctext.h"

namespace {

constexpr wchar_t kMark = L'#';

std::atomic<Exchange*> g_exchanges[kPlaces];

// Every answer of this process, on a thread of the RPC runtime's choice.
void TakeAnswer(const wchar_t* command, bool flag, long number, const wchar_t* text) {
    const long place = text[0] == kMark ? std::wcstol(text + 1, nullptr, 10) : number;
    Exchange* exchange = place >= 0 && place < kPlaces ? g_exchanges[place].load() : nullptr;
    if (exchange == nullptr) {
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
    return Format(L"%ls, %d answers, flag %d, number %ld, %zu units \"%.40ls\"",
                  Outcome(status).c_str(), answers, answer.flag, answer.number, answer.text.size(),
                  answer.text.c_str());
}

Exchange Marked(int place, const wchar_t* command, long number, std::wstring_view text) {
    std::wstring marked = kMark + std::to_wstring(place) + kMark;
    marked += text;
    return {place, {command, number % 2 != 0, number, std::move(marked)}};
}

Exchange Echo(int place, long number, std::wstring_view text) {
    return Marked(place, L"REGISTRYHELPER_ISVZWQ", number, text);
}

Exchange Unmarked(int place, const wchar_t* command, std::wstring text) {
    return {place, {command, true, place, std::move(text)}};
}

Exchange RequestOf(int place, const wchar_t* command) {
    const std::wstring_view name = command;
    if (name.starts_with(L"COMMONHELPER_")) {
        return Unmarked(place, command, OwnPath());
    }
    if (name == L"MBNHELPER_CREATEPROFILE") {
        return Unmarked(place, command, L"Acceptance|internet.example|NONE|-|-|IPv4");
    }
    if (name == L"MBNHELPER_GETSIMICCID") {
        return Unmarked(place, command, std::wstring(kPaddingLength, L' '));
    }
    return Marked(place, command, 7);
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

DWORD Session::Send(Exchange& exchange) {
    g_exchanges[exchange.place] = &exchange;
    exchange.status = StatusOf([&] {
        const RequestValues& sent = exchange.sent;
        m_half->request(m_context, sent.command.c_str(), static_cast<boolean>(sent.flag),
                        sent.number, const_cast<wchar_t*>(sent.text.c_str()));
    });
    g_exchanges[exchange.place] = nullptr;
    return exchange.status;
}

DWORD Session::Close() {
    const DWORD status = StatusOf([this] { m_half->close(&m_context); });
    if (m_context != nullptr) {
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

DWORD OpenAll(std::vector<Session>& sessions) {
    DWORD status = 0;
    for (Session& session : sessions) {
        status = session.Open();
        if (status != 0) {
            break;
        }
    }
    return status;
}

void Tally::Add(const Exchange& exchange, bool right) {
    const std::lock_guard lock(m_lock);
    if (right) {
        ++m_right;
    } else if (m_first.empty()) {
        m_first = L"; the first other: " + exchange.Text();
    }
}

std::wstring Tally::Text(int of) const {
    return Format(L"%d of %d answered%ls", m_right, of, m_first.c_str());
}

void TakeAnswers() {
    HandleAnswers(TakeAnswer);
}

DWORD AskOnce() {
    Session session;
    const DWORD status = session.Open();
    if (status != 0) {
        return status;
    }
    Exchange echo = Echo(kPlaces - 1);
    session.Send(echo);
    return echo.IsEchoed() || echo.status != 0 ? echo.status : ERROR_INVALID_DATA;
}

void InParallel(int count, const std::function<void(int)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back(work, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}
