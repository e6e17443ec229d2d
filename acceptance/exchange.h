// Requests to the service and their answers.
#pragma once

#include <windows.h>
#include <rpc.h>

#include <array>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "client/requests/connection.h"

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

    // Whether it was answered once and as it was sent.
    [[nodiscard]] bool IsEchoed() const;
    [[nodiscard]] std::wstring Text() const;
};

// A request with its place in its text, followed by `text`.
Exchange Marked(int place, const wchar_t* command, long number, std::wstring_view text = {});
// One that is answered as it was sent.
Exchange Echo(int place, long number = 7, std::wstring_view text = {});
// One with its place in its number, for commands whose text has a meaning.
Exchange Unmarked(int place, const wchar_t* command, std::wstring text);

// One command of every family, two of the family that makes texts; none changes anything.
inline constexpr const wchar_t* kHarmlessCommands[] = {
    L"REGISTRYHELPER_ISVZWQ",      L"MBNHELPER_GETNETWORKMODE",
    L"BLEHELPER_GETBLE",           L"USBPATHCHANGER_SMGETMUICSTATUS",
    L"COMMONHELPER_ISFILE_EXISTS", L"COMMONHELPER_READEULADOCUMENT"};

// The command with a text that it can work on.
Exchange RequestOf(int place, const wchar_t* command);

// The procedures of a client half.
struct ClientHalf {
    decltype(&RemoteOpen) open;
    decltype(&RemoteRequest) request;
    decltype(&RemoteClose) close;
};
inline constexpr ClientHalf kShippedHalf = {RemoteOpen, RemoteRequest, RemoteClose};

// A context as it goes over the wire.
using ContextBytes = std::array<BYTE, 20>;

// A binding to the service and a context. Calls give the code of their exception, 0 for none.
class Session {
 public:
    explicit Session(const ClientHalf& half = kShippedHalf) : m_half(&half) {}
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    DWORD Open();
    // Sends the request and stores how it ended, also with the exchange.
    DWORD Send(Exchange& exchange);
    DWORD Close();

    [[nodiscard]] ContextBytes Bytes() const;
    // Asks the service to close a context that need not be this session's, past what this process
    // knows of its contexts. `bytes` becomes what the service gives back.
    DWORD CloseBytes(ContextBytes& bytes);

 private:
    const ClientHalf* m_half;
    RPC_BINDING_HANDLE m_binding = nullptr;
    REQUEST_CONTEXT_HANDLE m_context = nullptr;
};

// Opens all, one after the other; gives the last status.
DWORD OpenAll(std::vector<Session>& sessions);

// Counts exchanges, of any thread, that came back as they should, and keeps the first that did not.
class Tally {
 public:
    void Add(const Exchange& exchange, bool right);
    void Add(const Exchange& exchange) { Add(exchange, exchange.IsEchoed()); }
    [[nodiscard]] int Right() const { return m_right; }
    [[nodiscard]] std::wstring Text(int of) const;

 private:
    std::mutex m_lock;
    int m_right = 0;
    std::wstring m_first;
};

// Takes all answers of the process from now on.
void TakeAnswers();

// One echo over a context of its own; its status.
DWORD AskOnce();

// Runs work(0) to work(count - 1), each on a thread of its own, and waits for all.
void InParallel(int count, const std::function<void(int)>& work);
