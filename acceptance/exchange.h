// Requests and their answers.
#pragma once

#include <windows.h>
#include <rpc.h>

#include <array>
#include <functional>
#include <string>
#include <string_view>

#include "client/requests/connection.h"

// One request and what came of it.
struct Exchange {
    RequestValues sent;
    // Runs in the callback, after the answer is stored. It may raise, or not return.
    std::function<void()> in_callback = {};
    // How the call ended: 0, or the code of the exception that it raised.
    DWORD status = 0;
    int answers = 0;
    // The answer.
    RequestValues answer = {};

    // Whether it was answered once and with what was sent.
    [[nodiscard]] bool IsEchoed() const;

    // How the call ended and the answer, in one line.
    [[nodiscard]] std::wstring Text() const;
};

// Exchanges with this many numbers may be in progress at the same time.
inline constexpr int kExchangeNumbers = 1400;

// A request that is answered as it was sent. The callback finds it by `number`, which is in its
// text: one exchange in progress per number, at any time.
Exchange Echo(int number, long data = 7, std::wstring_view text = {});

// The procedures of a client half.
struct ClientHalf {
    decltype(&RemoteOpen) open;
    decltype(&RemoteRequest) request;
    decltype(&RemoteClose) close;
};
inline constexpr ClientHalf kShippedHalf = {RemoteOpen, RemoteRequest, RemoteClose};

// A context as it goes over the wire.
using ContextBytes = std::array<BYTE, 20>;

// A binding to the service and a context. Calls that fail give the code of their exception, 0 for
// none.
class Session {
 public:
    explicit Session(const ClientHalf& half = kShippedHalf) : m_half(&half) {}
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    DWORD Open();
    // Sends the request and returns after its answer. One that is no Echo must be the only such
    // request of the process.
    void Send(Exchange& exchange);
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

// Where answers to requests that are no exchanges go: those that other code sends.
using OtherAnswers = std::function<void(const RequestValues&)>;
void HandleOtherAnswers(OtherAnswers handler);

// Takes all answers of the process from now on.
void TakeAnswers();

// One echo over a context of its own; its status.
DWORD AskOnce();

// Runs work(0) to work(count - 1) at the same time, each on a thread of its own.
class Crew {
 public:
    Crew(int count, std::function<void(int)> work);
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;
    ~Crew() { Wait(INFINITE); }

    // Whether all threads ended in time.
    bool Wait(DWORD milliseconds);
    [[nodiscard]] int Count() const { return static_cast<int>(m_threads.size()); }

 private:
    struct Member {
        std::function<void(int)>* work;
        int index;
    };
    static DWORD WINAPI Run(void* member);

    std::function<void(int)> m_work;
    std::vector<Member> m_members;
    std::vector<HANDLE> m_threads;
};
