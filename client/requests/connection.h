// A connection to the service.
#pragma once

#include <windows.h>
#include <rpc.h>

#include <string>

#include "client/requests/requesttimes.h"
#include "rpc/stub/tesselservice.h"

// What a request carries.
struct RequestValues {
    std::wstring command;
    bool flag = false;
    long number = 0;
    std::wstring text = {};
};

// A context over a binding of its own. A call that fails raises a structured exception with the
// RPC or Win32 status, which runs no destructors: nothing is closed by itself.
struct Connection {
    RPC_BINDING_HANDLE binding = nullptr;
    REQUEST_CONTEXT_HANDLE context = nullptr;
    RequestTimes times;

    // Binds to the service's endpoint and opens the context.
    void Open();

    // Sends the request, returns after its last answer and adds the time it took.
    void Send(const RequestValues& request);

    // Closes the context and frees the binding.
    void Close();
};

// Whether a call to the service that failed raised this exception: the code is then the RPC or
// Win32 status.
bool IsRpcStatus(DWORD exception_code);

// What the status of a failed call means and what to do about it. WAIT_TIMEOUT stands for a call
// that did not return in time.
struct FailureWords {
    const wchar_t* meaning;
    const wchar_t* advice;
};
FailureWords DescribeFailure(DWORD status);

// What is done with an answer, on whichever thread it comes. The texts live until it returns.
using AnswerHandler = void (*)(const wchar_t* command, bool flag, long number, const wchar_t* text);

// Hands every answer to `handler` from now on; null, as at the start, only counts them.
void HandleAnswers(AnswerHandler handler);

// Answers received since the program started.
long AnswerCount();
