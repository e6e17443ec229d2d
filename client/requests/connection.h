// A connection to the service.
#pragma once

#include <windows.h>
#include <rpc.h>

#include <string>

#include "client/requests/requesttimes.h"
#include "interface/tesselservice.h"

struct RequestValues {
    std::wstring command;
    bool flag = false;
    long number = 0;
    std::wstring text = {};
};

// A context with its own binding. A call that fails raises a structured exception with the RPC or
// Win32 status. The exception runs no destructors, so there is no destructor: call Close.
struct Connection {
    RPC_BINDING_HANDLE binding = nullptr;
    REQUEST_CONTEXT_HANDLE context = nullptr;
    RequestTimes times;

    void Open();

    // Sends the request, waits until the service is done with it, and adds its duration to `times`.
    void Send(const RequestValues& request);

    void Close();
};

// Returns whether this exception comes from a failed call to the service. Then the code is the RPC
// or Win32 status.
bool IsRpcStatus(DWORD exception_code);

// Explains the status of a failed call. WAIT_TIMEOUT: the call did not return in time.
struct FailureWords {
    const wchar_t* meaning;
    const wchar_t* advice;
};
FailureWords DescribeFailure(DWORD status);

// Handles one answer. Any thread may call it. The texts are freed when it returns.
using AnswerHandler = void (*)(const wchar_t* command, bool flag, long number, const wchar_t* text);

// Makes `handler` handle all later answers. Without a handler answers are only counted.
void HandleAnswers(AnswerHandler handler);

// Returns the number of answers since the program started.
long AnswerCount();
