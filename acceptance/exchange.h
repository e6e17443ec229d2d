// Requests to the service and their answers.
#pragma once

#include <windows.h>
#include <rpc.h>
#include <rpcndr.h>

#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <string_view>

#include "client/requests/connection.h"

// Calls function(argument). Gives 0, or the code of the structured exception that it raised: an RPC
// or Win32 status, or what a crash gives. The frames down to here are unwound; destructors of C++
// do not run.
extern "C" DWORD CallGuarded(void (*function)(void*), void* argument);

// Exchanges in progress at the same time have places of their own, from 0 to this.
inline constexpr int kPlaces = 1400;

// One request and what came of it. The answer finds its exchange by the place, which stands in the
// request's text ("#12#...") or is its number: every command returns one of them as it was sent.
struct Exchange {
    int place;
    RequestValues sent;
    // Runs in the callback, after the answer is stored. It may raise, or not return.
    std::function<void()> in_callback = {};
    // How the call ended: 0, or the code of its exception.
    DWORD status = 0;
    int answers = 0;
    RequestValues answer = {};

    // 0 if it was answered once and as it was sent, otherwise the status or ERROR_INVALID_DATA.
    [[nodiscard]] DWORD Result() const;
    [[nodiscard]] std::wstring Text() const;
};

// A request with its place in its text, followed by `text`.
Exchange Marked(int place, std::wstring command, long number, std::wstring_view text = {});
// One that is answered as it was sent.
Exchange Echo(int place, long number = 7, std::wstring_view text = {});

// A command with a text that it can work on, empty if any will do, and the option that allows it.
struct Command {
    const wchar_t* name;
    const wchar_t* text = L"";
    wchar_t option = L'-';
};
inline constexpr Command kCommands[] = {
    {L"REGISTRYHELPER_ISVZWQ"},
    {L"MBNHELPER_GETNETWORKMODE"},
    {L"BLEHELPER_GETBLE"},
    {L"USBPATHCHANGER_SMGETMUICSTATUS"},
    {L"COMMONHELPER_ISFILE_EXISTS", L"C:\\Windows\\win.ini"},
    {L"COMMONHELPER_READEULADOCUMENT", L"C:\\Windows\\win.ini"},
    {L"MBNHELPER_CHECKINTERFACE", L"", L'm'},
    {L"MBNHELPER_GETSIMICCID", L"                                ", L'm'},
    {L"MBNHELPER_CREATEPROFILE", L"Acceptance|internet.example|NONE|-|-|IPv4", L'm'},
    {L"MBNHELPER_CONNECT", L"", L'm'},
    {L"MBNHELPER_DISCONNECT", L"", L'm'},
    {L"USBPATHCHANGER_CHANGEUSBPATHTOCP", L"", L'u'},
    {L"USBPATHCHANGER_CHANGEUSBPATHTOAP", L"", L'u'},
    {L"BLEHELPER_ISBLESUPPORT", L"", L'd'},
};
// One of every family, two of the family that makes texts; none changes anything.
inline constexpr auto kHarmlessCommands = std::span(kCommands).first<6>();

Exchange RequestOf(int place, const Command& command);

// The procedures by number.
enum ProcedureNumber : unsigned long { kOpen, kClose, kRequest };

// The procedures of a client half.
struct ClientHalf {
    decltype(&RemoteOpen) open;
    decltype(&RemoteRequest) request;
    decltype(&RemoteClose) close;
};
inline constexpr ClientHalf kShippedHalf = {RemoteOpen, RemoteRequest, RemoteClose};
// Halves that offer one transfer syntax. What works over one of them has gone over that syntax.
extern const ClientHalf kNdr20Half;
extern const ClientHalf kNdr64Half;
// The descriptor of kNdr20Half, for calls that are put together by hand.
extern MIDL_STUB_DESC& g_ndr20Descriptor;

// A context as it goes over the wire.
struct ContextBytes {
    ULONG attributes = 0;
    GUID id = {};
};

// A binding to the service and a context, which is opened at once. Calls give the code of their
// exception, 0 for none.
class Session {
 public:
    explicit Session(const ClientHalf& half = kShippedHalf);
    Session(const Session&) = delete;
    ~Session();

    // Sends the request and stores how it ended, also with the exchange. It ends with the error of
    // the open if that failed.
    DWORD Send(Exchange& exchange);
    // The result of one echo.
    DWORD Ask();
    DWORD Close();

    [[nodiscard]] ContextBytes Bytes() const;
    // Calls the procedure of that number with a buffer that is sent as it is, so that neither a
    // stub nor what this process knows of its contexts checks it. What the service gives back
    // overwrites the buffer, up to its size.
    DWORD CallWith(unsigned long procedure, void* buffer, std::size_t size);
    // Closes a context that need not be this session's. `bytes` becomes what the service gives
    // back.
    DWORD CloseBytes(ContextBytes& bytes) { return CallWith(kClose, &bytes, sizeof(bytes)); }

 private:
    const ClientHalf& m_half;
    RPC_BINDING_HANDLE m_binding = nullptr;
    REQUEST_CONTEXT_HANDLE m_context = nullptr;
    DWORD m_status;
};

// Counts exchanges, of any thread, that came back as they should, and keeps the first that did not.
class Tally {
 public:
    void Add(const Exchange& exchange, bool right);
    void Add(const Exchange& exchange) { Add(exchange, exchange.Result() == 0); }
    [[nodiscard]] int Right() const { return m_right; }
    [[nodiscard]] std::wstring Text(int of) const;

 private:
    std::mutex m_lock;
    int m_right = 0;
    std::wstring m_first;
};

// Takes an answer of this process, on a thread of the RPC runtime's choice.
void TakeAnswer(const wchar_t* command, bool flag, long number, const wchar_t* text);

// Runs work(0) to work(count - 1), each on a thread of its own, and waits for all.
void InParallel(int count, const std::function<void(int)>& work);
