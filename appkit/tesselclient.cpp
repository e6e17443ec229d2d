// Copyright (c) 2026 Bramble Electronics. SPDX-License-Identifier: MIT
// The functions of tesselclient.dll. Compiled without C++ exceptions, so none leaves the DLL.
#include "appkit/tesselclient.h"

#include <windows.h>
#include <rpc.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>
#include <utility>

#include "appkit/profiletext.h"
#include "command/command.h"
#include "connection/connection.h"

// The linker's name for the start of the DLL.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace {

// The commands of the header must be those of the service.
#define TESSEL_ROW(NAME) CommandHelp{L"" #NAME, L""},
constexpr CommandHelp kKitCommands[] = {TESSEL_COMMANDS(TESSEL_ROW)};
#undef TESSEL_ROW
constexpr auto kServiceCommands = [] {
    std::array<CommandHelp, std::size(kKitCommands)> commands = {};
    std::size_t count = 0;
    for (const auto& family : kCommandHelp) {
        for (const CommandHelp& command : family) {
            commands[count++] = command;
        }
    }
    return commands;
}();
static_assert(NothingMissing<FirstWithout(kKitCommands, kServiceCommands),
                             FirstWithout(kServiceCommands, kKitCommands)>());

// What the structures had in the first version. Apps may have longer ones.
static_assert(sizeof(TesselReply) == 48 && sizeof(TesselProfile) == 48);

// A request in progress. A callback has no user pointer and no context. By Windows' documentation
// it runs on the thread that issued the call. The client does not rely on that: the command
// identifies the request in every thread.
struct Request {
    const wchar_t* command;
    bool flag;
    long number;
    const wchar_t* text;
    TesselReply reply = {};
    Request* next = nullptr;
    // For a request with a deadline, which another thread carries out.
    bool ended = false;
    bool abandoned = false;
};

// The requests in progress, each with another command. The condition changes whenever one ends.
SRWLOCK g_lock = SRWLOCK_INIT;
CONDITION_VARIABLE g_ended = CONDITION_VARIABLE_INIT;
Request* g_requests = nullptr;

class Lock {
 public:
    Lock() { AcquireSRWLockExclusive(&g_lock); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock() { ReleaseSRWLockExclusive(&g_lock); }
};

class Deadline {
 public:
    explicit Deadline(uint32_t milliseconds)
        : m_end(milliseconds == TESSEL_NO_DEADLINE ? kNever : GetTickCount64() + milliseconds) {}

    // With the lock held, waits until the condition is true. Returns false if the deadline passes.
    template <typename Condition>
    bool WaitUntil(Condition condition) const {
        while (!condition()) {
            const ULONGLONG now = GetTickCount64();
            if (now >= m_end) {
                return false;
            }
            const DWORD left = m_end == kNever ? INFINITE : static_cast<DWORD>(m_end - now);
            SleepConditionVariableSRW(&g_ended, &g_lock, left, 0);
        }
        return true;
    }

 private:
    static constexpr ULONGLONG kNever = ~0ULL;
    ULONGLONG m_end;
};

Request* FindRequest(const wchar_t* command) {
    Request* request = g_requests;
    while (request != nullptr && std::wcscmp(request->command, command) != 0) {
        request = request->next;
    }
    return request;
}

// Waits until no request with the same command is in progress, and adds the request. Returns false
// if the deadline passes before.
bool Begin(Request& request, const Deadline& deadline) {
    const Lock lock;
    if (!deadline.WaitUntil([&] { return FindRequest(request.command) == nullptr; })) {
        return false;
    }
    request.next = g_requests;
    g_requests = &request;
    return true;
}

// Removes the request, with the lock held. After that, no callback uses it.
void Remove(Request& request) {
    Request** place = &g_requests;
    while (*place != &request) {
        place = &(*place)->next;
    }
    *place = request.next;
    // All: each waits for another command.
    WakeAllConditionVariable(&g_ended);
}

// Memory of malloc: operator new needs C++ exceptions.
struct DestroyConnection {
    void operator()(Connection* connection) const {
        connection->~Connection();
        std::free(connection);
    }
};
using OwnedConnection = std::unique_ptr<Connection, DestroyConnection>;

// Returns null if there is no memory.
OwnedConnection NewConnection() {
    void* memory = std::malloc(sizeof(Connection));
    return OwnedConnection(memory == nullptr ? nullptr : new (memory) Connection);
}

// A connection that is kept between requests. No request is sent over it: after a restart of the
// service nobody could tell whether its context is valid. But while there is one, the runtime need
// not connect to the service again for each request, which takes longer than the request.
Connection* g_kept = nullptr;

// Not after a request that outlived its deadline: the app may have unloaded the DLL.
void Keep(OwnedConnection connection, const Request& request) {
    const Lock lock;
    if (g_kept == nullptr && !request.abandoned) {
        g_kept = connection.release();
    }
}

// Opens a context. Returns 0 or the Windows error. Tries twice, which changes nothing in the
// service: at the first try the runtime may use a connection that a restart of the service has
// ended.
DWORD Open(OwnedConnection& connection) {
    connection = NewConnection();
    if (connection != nullptr && connection->Status() != ERROR_SUCCESS) {
        TesselDisconnect();
        connection = NewConnection();
    }
    if (connection == nullptr) {
        return RPC_S_OUT_OF_MEMORY;
    }
    // Without a context, the service had no memory for it.
    return connection->Status() == ERROR_SUCCESS && connection->Context() == nullptr
               ? static_cast<DWORD>(RPC_S_OUT_OF_MEMORY)
               : connection->Status();
}

// Sends the request unless nobody waits for it any more. Stores what came of it.
void CarryOut(Request& request) {
    OwnedConnection connection;
    DWORD status = Open(connection);
    if (status == ERROR_SUCCESS) {
        {
            const Lock lock;
            if (request.abandoned) {
                return;
            }
            request.reply.sent = 1;
        }
        status = connection->Send(request.command, request.flag, request.number, request.text);
    }
    if (status == ERROR_SUCCESS) {
        Keep(std::move(connection), request);
    }
    connection.reset();
    const Lock lock;
    // An answer is valid even if the service ended after it had sent the answer.
    if (request.reply.text == nullptr && request.reply.error == ERROR_SUCCESS) {
        request.reply.error = status;
        request.reply.outcome = status == ERROR_SUCCESS ? TESSEL_NO_ANSWER : TESSEL_FAILED;
    }
}

// A request with copies of its texts, or null.
Request* CopyRequest(const Request& request) {
    const std::size_t command_size = std::wcslen(request.command) + 1;
    const std::size_t text_size = std::wcslen(request.text) + 1;
    auto* copy = static_cast<Request*>(
        std::malloc(sizeof(Request) + (command_size + text_size) * sizeof(wchar_t)));
    if (copy != nullptr) {
        auto* command = reinterpret_cast<wchar_t*>(copy + 1);
        wchar_t* text = command + command_size;
        std::wmemcpy(command, request.command, command_size);
        std::wmemcpy(text, request.text, text_size);
        *copy = {command, request.flag, request.number, text};
    }
    return copy;
}

void FreeRequest(Request* request) {
    TesselFreeReply(&request->reply);
    std::free(request);
}

// Carries out a request of CopyRequest. If nobody waits any more, it frees the request.
void CALLBACK CarryOutCopy(PTP_CALLBACK_INSTANCE /*instance*/, void* context) {
    auto* request = static_cast<Request*>(context);
    CarryOut(*request);
    bool abandoned = false;
    {
        const Lock lock;
        Remove(*request);
        request->ended = true;
        abandoned = request->abandoned;
    }
    if (abandoned) {
        FreeRequest(request);
    }
}

// Carries out the request on a thread of the process' pool. The pool keeps the DLL until the
// request has ended.
DWORD Submit(Request* request) {
    TP_CALLBACK_ENVIRON environment;
    InitializeThreadpoolEnvironment(&environment);
    SetThreadpoolCallbackLibrary(&environment, &__ImageBase);
    SetThreadpoolCallbackRunsLong(&environment);
    return TrySubmitThreadpoolCallback(&CarryOutCopy, request, &environment) ? ERROR_SUCCESS
                                                                             : GetLastError();
}

TesselReply Failure(DWORD error) {
    TesselReply reply = {};
    reply.outcome = TESSEL_FAILED;
    reply.error = error;
    return reply;
}

TesselReply TimedOut(int32_t sent) {
    TesselReply reply = {};
    reply.outcome = TESSEL_TIMED_OUT;
    reply.sent = sent;
    return reply;
}

TesselReply SendNow(Request request) {
    Begin(request, Deadline(TESSEL_NO_DEADLINE));
    CarryOut(request);
    const Lock lock;
    Remove(request);
    return request.reply;
}

TesselReply SendUntil(const Deadline& deadline, const Request& request) {
    Request* copy = CopyRequest(request);
    if (copy == nullptr) {
        return Failure(RPC_S_OUT_OF_MEMORY);
    }
    if (!Begin(*copy, deadline)) {
        FreeRequest(copy);
        return TimedOut(0);
    }
    const DWORD error = Submit(copy);
    TesselReply reply = Failure(error);
    {
        const Lock lock;
        if (error != ERROR_SUCCESS) {
            Remove(*copy);
        } else if (deadline.WaitUntil([=] { return copy->ended; })) {
            reply = std::exchange(copy->reply, {});
        } else {
            copy->abandoned = true;
            return TimedOut(copy->reply.sent);
        }
    }
    FreeRequest(copy);
    return reply;
}

TesselReply Send(const wchar_t* command,
                 bool flag,
                 long number,
                 const wchar_t* text,
                 uint32_t deadline) {
    if (command == nullptr || text == nullptr) {
        return Failure(ERROR_INVALID_PARAMETER);
    }
    const Request request = {command, flag, number, text};
    return deadline == TESSEL_NO_DEADLINE ? SendNow(request)
                                          : SendUntil(Deadline(deadline), request);
}

// Gives the reply to the app: as much of it as the app's structure has.
int32_t Give(TesselReply from, TesselReply* to) {
    if (to == nullptr || to->size < sizeof(TesselReply)) {
        TesselFreeReply(&from);
        return TESSEL_FAILED;
    }
    from.size = to->size;
    *to = from;
    return to->outcome;
}

// Makes the text of a reply the bytes of a document: the low eight bits of each unit.
void MakeBytes(TesselReply& reply) {
    reply.bytes = reinterpret_cast<uint8_t*>(reply.text);
    reply.byte_count = reply.text_length;
    for (uint32_t i = 0; i <= reply.byte_count; ++i) {
        reply.bytes[i] = static_cast<uint8_t>(reply.text[i]);
    }
    reply.text = nullptr;
    reply.text_length = 0;
}

// Adds the text of the bytes, without a byte order mark. Returns 0 or the Windows error.
DWORD DecodeUtf8(TesselReply& reply) {
    const auto* bytes = reinterpret_cast<const char*>(reply.bytes);
    auto count = static_cast<int>(reply.byte_count);
    if (count >= 3 && std::memcmp(bytes, "\xEF\xBB\xBF", 3) == 0) {
        bytes += 3;
        count -= 3;
    }
    // A text has no more units than bytes.
    reply.text =
        static_cast<wchar_t*>(std::malloc((static_cast<std::size_t>(count) + 1) * sizeof(wchar_t)));
    if (reply.text == nullptr) {
        return RPC_S_OUT_OF_MEMORY;
    }
    const int length =
        MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, count, reply.text, count);
    if (length == 0 && count > 0) {
        std::free(std::exchange(reply.text, nullptr));
        return ERROR_NO_UNICODE_TRANSLATION;
    }
    reply.text[length] = L'\0';
    reply.text_length = static_cast<uint32_t>(length);
    return ERROR_SUCCESS;
}

// What a reply means for a caller of this service. Null: a Windows error with no special meaning.
const wchar_t* MeaningOf(int32_t outcome, uint32_t error) {
    switch (outcome) {
        case TESSEL_ANSWERED:
            return L"the service has answered";
        case TESSEL_NOT_DONE:
            return L"the service could not do it";
        case TESSEL_NO_ANSWER:
            return L"the service does not answer this command";
        case TESSEL_TIMED_OUT:
            return L"the deadline has passed; a request that was sent goes on";
        default:
            break;
    }
    switch (error) {
        case ERROR_ACCESS_DENIED:
            return L"access denied: this process does not hold the service's capability";
        case ERROR_INVALID_HANDLE:
            return L"the service was restarted during the request";
        case RPC_S_OUT_OF_MEMORY:
            return L"no memory, in this process or in the service";
        case ERROR_INVALID_PARAMETER:
            return L"a value that the service does not take; nothing was sent";
        case RPC_S_UNKNOWN_IF:
            return L"the service is just starting or stopping";
        case RPC_S_SERVER_UNAVAILABLE:
            return L"the service is not running";
        case RPC_S_CALL_FAILED:
            return L"the service ended during the request and may have carried it out";
        case RPC_S_CALL_FAILED_DNE:
            return L"the service did not receive the request";
        default:
            return nullptr;
    }
}

// Writes Windows' own text for an error.
void WriteErrorText(uint32_t error, wchar_t* text, uint32_t capacity) {
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                  nullptr, error, 0, text, capacity, nullptr);
    while (length > 0 && std::wcschr(L".\r\n ", text[length - 1]) != nullptr) {
        --length;
    }
    text[length] = L'\0';
}

}  // namespace

// Receives an answer, which the service sends during RemoteRequest. The runtime owns the strings.
void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    const Lock lock;
    Request* request = FindRequest(command);
    if (request == nullptr || request->reply.text != nullptr) {
        return;
    }
    TesselReply& reply = request->reply;
    const std::size_t length = std::wcslen(text);
    reply.text = static_cast<wchar_t*>(std::malloc((length + 1) * sizeof(wchar_t)));
    if (reply.text == nullptr) {
        reply.error = RPC_S_OUT_OF_MEMORY;
        reply.outcome = TESSEL_FAILED;
        return;
    }
    std::wmemcpy(reply.text, text, length + 1);
    reply.text_length = static_cast<uint32_t>(length);
    reply.flag = flag != 0 ? 1 : 0;
    reply.number = number;
    reply.outcome = TESSEL_ANSWERED;
}

uint32_t TesselVersion() {
    return TESSEL_VERSION;
}

uint32_t TesselConnect() {
    OwnedConnection connection;
    return Open(connection);
}

void TesselDisconnect() {
    OwnedConnection kept;
    {
        const Lock lock;
        kept.reset(std::exchange(g_kept, nullptr));
    }
}

int32_t TesselRequest(const wchar_t* command,
                      int32_t flag,
                      int32_t number,
                      const wchar_t* text,
                      uint32_t deadline,
                      TesselReply* reply) {
    return Give(Send(command, flag != 0, number, text, deadline), reply);
}

int32_t TesselIdentity(const wchar_t* command, uint32_t deadline, TesselReply* reply) {
    // The service overwrites the text within its length. The padding is longer than any identity.
    std::array<wchar_t, 65> padding = {};
    std::fill_n(padding.begin(), 64, L' ');
    TesselReply answer = Send(command, false, 0, padding.data(), deadline);
    if (answer.outcome == TESSEL_ANSWERED && std::wcscmp(answer.text, padding.data()) == 0) {
        TesselFreeReply(&answer);
        answer.outcome = TESSEL_NOT_DONE;
    }
    return Give(answer, reply);
}

int32_t TesselReadDocument(const wchar_t* path,
                           int32_t utf8,
                           uint32_t deadline,
                           TesselReply* reply) {
    TesselReply answer = Send(TESSEL_COMMONHELPER_READEULADOCUMENT, false, 0, path, deadline);
    if (answer.outcome == TESSEL_ANSWERED) {
        MakeBytes(answer);
        const DWORD error = utf8 != 0 ? DecodeUtf8(answer) : ERROR_SUCCESS;
        if (error == RPC_S_OUT_OF_MEMORY) {
            answer.outcome = TESSEL_FAILED;
            answer.error = error;
        } else if (error != ERROR_SUCCESS || answer.byte_count == 0) {
            answer.outcome = TESSEL_NOT_DONE;
        }
    }
    return Give(answer, reply);
}

int32_t TesselCreateProfile(const TesselProfile* profile, uint32_t deadline, TesselReply* reply) {
    wchar_t text[kProfileTextSize];
    if (profile == nullptr || profile->size < sizeof(TesselProfile)) {
        return Give(Failure(ERROR_INVALID_PARAMETER), reply);
    }
    TesselReply answer = Failure(ERROR_INVALID_PARAMETER);
    answer.number = WriteProfileText(*profile, text);
    if (answer.number == 0) {
        answer = Send(TESSEL_MBNHELPER_CREATEPROFILE, false, 0, text, deadline);
    }
    return Give(answer, reply);
}

void TesselFreeReply(TesselReply* reply) {
    std::free(reply->text);
    std::free(reply->bytes);
    reply->text = nullptr;
    reply->text_length = 0;
    reply->bytes = nullptr;
    reply->byte_count = 0;
}

void TesselMeaning(int32_t outcome, uint32_t error, wchar_t* text, uint32_t capacity) {
    if (capacity == 0) {
        return;
    }
    const wchar_t* meaning = MeaningOf(outcome, error);
    if (meaning == nullptr) {
        WriteErrorText(error, text, capacity);
    } else {
        std::wcsncpy(text, meaning, capacity - 1);
        text[capacity - 1] = L'\0';
    }
}
