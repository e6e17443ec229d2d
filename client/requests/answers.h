// The answers of the service, and the reasons why there are none.
#pragma once

#include <windows.h>

#include <functional>

#include "connection/connection.h"

// Makes `handler` handle all later answers; call it before the first request. Any thread may call
// the handler. Without a handler, answers are only counted.
void HandleAnswers(std::function<void(const RequestValues& answer)> handler);

// Returns the number of answers since the program started.
long AnswerCount();

// Explains the status of a failed call. WAIT_TIMEOUT: the call did not return in time.
struct FailureWords {
    const wchar_t* meaning;
    const wchar_t* advice;
};
FailureWords DescribeFailure(DWORD status);
