#include "acceptance/exchange.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include "acceptance/items.h"
#include "client/requests/answerformat.h"
#include "connection/guardedcall.h"

namespace {

constexpr wchar_t kMark = L'#';

std::atomic<Exchange*> g_exchanges[kPlaces];

}  // namespace

// Stores the answer in its exchange. The interface has no const.
// NOLINTNEXTLINE(readability-non-const-parameter)
void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    const long place = text[0] == kMark ? std::wcstol(text + 1, nullptr, 10) : number;
    Exchange* exchange = place >= 0 && place < kPlaces ? g_exchanges[place].load() : nullptr;
    if (exchange == nullptr) {
        return;
    }
    ++exchange->answers;
    exchange->answer = {command, flag != 0, number, text};
    if (exchange->in_callback) {
        exchange->in_callback();
    }
}

DWORD Exchange::Result() const {
    return status != 0 || (answers == 1 && answer == sent) ? status : ERROR_INVALID_DATA;
}

std::wstring Exchange::Text() const {
    return Format(L"%ls, %d answers, flag %d, number %ld, %zu units %ls", Outcome(status), answers,
                  answer.flag, answer.number, answer.text.size(),
                  JsonText(std::wstring_view(answer.text).substr(0, 40)));
}

Exchange Marked(int place, std::wstring command, long number, std::wstring_view text) {
    std::wstring marked = kMark + std::to_wstring(place) + kMark;
    return {place, {std::move(command), number % 2 != 0, number, marked.append(text)}};
}

Exchange Echo(int place, long number, std::wstring_view text) {
    return Marked(place, L"REGISTRYHELPER_ISVZWQ", number, text);
}

Exchange RequestOf(int place, const SampleCommand& command) {
    return *command.text == L'\0' ? Marked(place, command.name, 7)
                                  : Exchange{place, {command.name, true, place, command.text}};
}

DWORD Session::Send(Exchange& exchange) const {
    g_exchanges[exchange.place] = &exchange;
    exchange.status = Connection::Send(exchange.sent);
    g_exchanges[exchange.place] = nullptr;
    return exchange.status;
}

DWORD Session::Ask() const {
    Exchange echo = Echo(kPlaces - 1);
    Send(echo);
    return echo.Result();
}

ContextBytes Session::Bytes() const {
    ContextBytes bytes;
    NDRCContextMarshall(Context(), &bytes);
    return bytes;
}

DWORD Session::CallWith(unsigned long procedure, void* buffer, std::size_t size) const {
    RPC_MESSAGE message = {};
    MIDL_STUB_MESSAGE stub = {};
    const DWORD status = StatusOf([&] {
        NdrClientInitializeNew(&message, &stub, &g_ndr20Descriptor, procedure);
        NdrGetBuffer(&stub, static_cast<unsigned long>(size), Binding());
        std::memcpy(stub.Buffer, buffer, size);
        stub.Buffer += size;
        NdrSendReceive(&stub, stub.Buffer);
        std::memcpy(buffer, stub.Buffer, std::min<std::size_t>(size, message.BufferLength));
    });
    StatusOf([&] { NdrFreeBuffer(&stub); });
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
    return Format(L"%d of %d answered%ls", m_right, of, m_first);
}

void InParallel(int count, const std::function<void(int)>& work) {
    std::vector<std::thread> threads(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        threads[static_cast<std::size_t>(i)] = std::thread(work, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}
