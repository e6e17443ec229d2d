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

#include "acceptance/options.h"
#include "connection/connection.h"

// Each exchange in progress has its own place, from 0 to kPlaces - 1.
inline constexpr int kPlaces = 1400;

// One request and its result. An answer names no request. So the request carries the place of its
// exchange, in its text ("#12#...") or as its number. Every command returns one of the two
// unchanged, and the answer goes to the exchange with that place.
struct Exchange {
    int place;
    RequestValues sent;
    // Runs in the callback, after the answer is stored. It may raise an exception, or not return.
    std::function<void()> in_callback = {};
    // How the call ended: 0, or the code of its exception.
    DWORD status = 0;
    int answers = 0;
    RequestValues answer = {};

    // 0 if it was answered once and as it was sent, otherwise the status or ERROR_INVALID_DATA.
    [[nodiscard]] DWORD Result() const;
    [[nodiscard]] std::wstring Text() const;
};

// A request whose text is its place and then `text`.
Exchange Marked(int place, std::wstring command, long number, std::wstring_view text = {});
// A request that is answered with its own values.
Exchange Echo(int place, long number = 7, std::wstring_view text = {});

// A command that may be sent, a text that it accepts (empty: any text), and the option that allows
// it (null: always).
struct SampleCommand {
    const wchar_t* name;
    const wchar_t* text = L"";
    bool RunOptions::* option = nullptr;
};
inline constexpr SampleCommand kSampleCommands[] = {
    {L"REGISTRYHELPER_ISVZWQ"},
    {L"MBNHELPER_GETNETWORKMODE"},
    {L"USBPATHCHANGER_SMGETMUICSTATUS"},
    {L"COMMONHELPER_ISFILE_EXISTS", L"C:\\Windows\\win.ini"},
    {L"COMMONHELPER_READEULADOCUMENT", L"C:\\Windows\\win.ini"},
    {L"MBNHELPER_CHECKINTERFACE", L"", &RunOptions::modem},
    {L"MBNHELPER_GETSIMICCID", L"                                ", &RunOptions::modem},
    {L"MBNHELPER_CREATEPROFILE", L"Acceptance|internet.example|NONE|-|-|IPv4", &RunOptions::modem},
    {L"MBNHELPER_CONNECT", L"", &RunOptions::modem},
    {L"MBNHELPER_DISCONNECT", L"", &RunOptions::modem},
    {L"USBPATHCHANGER_CHANGEUSBPATHTOCP", L"", &RunOptions::usb},
    {L"USBPATHCHANGER_CHANGEUSBPATHTOAP", L"", &RunOptions::usb},
    {L"BLEHELPER_ISBLESUPPORT", L"", &RunOptions::device},
};
// They change no setting, and cost the service nothing that it keeps. A control device that refuses
// a command costs it a handle each time.
inline constexpr auto kHarmlessCommands = std::span(kSampleCommands).first<5>();

Exchange RequestOf(int place, const SampleCommand& command);

// The procedures by number.
enum ProcedureNumber : unsigned long { kOpen, kClose, kRequest };

// Stubs that offer only one transfer syntax.
extern const ClientStub kNdr20Stub;
extern const ClientStub kNdr64Stub;
// The descriptor of kNdr20Stub, for CallWith.
extern MIDL_STUB_DESC& g_ndr20Descriptor;

// A context handle as it is sent.
struct ContextBytes {
    ULONG attributes = 0;
    GUID id = {};
};

// A connection whose answers go to their exchanges.
class Session : public Connection {
 public:
    explicit Session(const ClientStub& stub = kShippedStub) : Connection(kStringBinding, stub) {}

    // Sends the request. Gives its status and stores it in the exchange.
    DWORD Send(Exchange& exchange) const;
    // The result of one echo.
    [[nodiscard]] DWORD Ask() const;

    [[nodiscard]] ContextBytes Bytes() const;
    // Calls a procedure by its number and sends `buffer` as it is: no stub checks it, and no
    // context must be known to this process. The service's reply overwrites the buffer, up to its
    // size.
    DWORD CallWith(unsigned long procedure, void* buffer, std::size_t size) const;
    // Closes any context, which may be another session's. The reply overwrites `bytes`.
    DWORD CloseBytes(ContextBytes& bytes) const { return CallWith(kClose, &bytes, sizeof(bytes)); }
};

// Counts the exchanges of all threads that ended well, and keeps the first that did not.
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

// Runs work(0) to work(count - 1), each on its own thread, and waits for all of them.
void InParallel(int count, const std::function<void(int)>& work);
