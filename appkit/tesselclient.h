// Copyright (c) 2026 Bramble Electronics. SPDX-License-Identifier: MIT
// A client of Tessel Service for apps, in C++17. Compile tesselclient.cpp together with the client
// stub that the interface compiler makes from tesselservice.idl, and link rpcrt4. tesselclient.cpp
// defines the functions that the stub needs: ReportResult, MIDL_user_allocate and MIDL_user_free.
#pragma once

#include <string>

namespace tessel {

enum class Outcome {
    kAnswered,  // the service has answered the request
    kNoAnswer,  // the service received the request, but the command is unknown or never answered
    kFailed,    // a Windows error; see Reply::error
};

// The result of one request.
struct Reply {
    Outcome outcome = Outcome::kFailed;
    long error = 0;     // the Windows error of kFailed, otherwise 0
    bool sent = false;  // with kFailed: the service may have carried the request out
    // The values of the answer; their meaning depends on the command. Valid only with kAnswered.
    bool flag = false;
    long number = 0;
    std::wstring text;

    explicit operator bool() const { return outcome == Outcome::kAnswered; }
};

// Returns what a Windows error means for a caller of this service, as a sentence without a full
// stop. For other errors returns the text of Windows.
std::wstring Meaning(long error);

// Sends requests. Every request opens and closes its own context, so a restart of the service or a
// suspension of the app makes nothing invalid. Any number of threads may send at the same time.
// Requests with the same command are sent one after the other, because only the command of an
// answer identifies its request.
//
// Every function blocks until the service is done. There is no time limit, because Windows has
// none: do not call the functions on the thread of the user interface. They return failures of the
// RPC runtime as errors. Only std::bad_alloc can leave a function, before anything is sent.
class Client {
 public:
    // Tests whether the service can be reached and admits this process: opens a context and closes
    // it. Returns 0 or the Windows error. Request does not need it.
    static long Connect();

    // Sends one request, never more than once. If the command or the text contains U+0000, sends
    // nothing and returns ERROR_INVALID_PARAMETER. If there is no memory for the answer, returns
    // RPC_S_OUT_OF_MEMORY.
    static Reply Request(const std::wstring& command,
                         bool flag = false,
                         long number = 0,
                         std::wstring text = {});

    // Sends one of the four commands that return an identity of the modem. The text of the reply is
    // the identity. It is empty if the service read none.
    static Reply Identity(const std::wstring& command);
};

}  // namespace tessel
