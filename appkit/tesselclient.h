// A client of Tessel Service for apps. Compile tesselclient.cpp together with the client stub that
// the interface compiler makes of tesselservice.idl, and link rpcrt4. It defines what that stub
// wants from an app: ReportResult, MIDL_user_allocate and MIDL_user_free. C++17.
#pragma once

#include <string>

namespace tessel {

enum class Outcome {
    kAnswered,  // the service carried the request out and answered it
    kNoAnswer,  // the service took the request, and this command is never answered or is unknown
    kFailed,    // a Windows error; see Reply::error
};

// What came of one request.
struct Reply {
    Outcome outcome = Outcome::kFailed;
    long error = 0;     // the Windows error of kFailed, otherwise 0
    bool sent = false;  // with kFailed: the service may have carried the request out
    // The answer's values; their meaning is the command's. Unset without an answer.
    bool flag = false;
    long number = 0;
    std::wstring text;

    explicit operator bool() const { return outcome == Outcome::kAnswered; }
};

// Says in one sentence without its full stop what a Windows error means for the caller of this
// service, or Windows' own text for an error that has no special meaning here.
std::wstring Meaning(long error);

// Sends requests. Keeps nothing between them: every request opens a context of its own and closes
// it, so neither a restart of the service between two requests nor a suspension of the app makes
// anything invalid. Any number of threads may send at the same time; requests with the same command
// wait for each other, because an answer carries nothing but its command that tells which request
// it belongs to.
//
// Every function blocks until the service is done, for which Windows offers no time limit: do not
// call them on the thread of the user interface. Failures of the RPC runtime come back as errors;
// the only exception that leaves a function is std::bad_alloc, before anything is sent.
class Client {
 public:
    // Tells whether the service can be reached and admits this process: opens a context and closes
    // it. 0, or the Windows error. Request does not need it.
    static long Connect();

    // Sends one request, never more than once. A command or text that contains U+0000 is not sent
    // and gives ERROR_INVALID_PARAMETER; an answer that finds no memory, RPC_S_OUT_OF_MEMORY.
    static Reply Request(const std::wstring& command,
                         bool flag = false,
                         long number = 0,
                         std::wstring text = {});

    // Sends one of the four commands that return an identity of the modem. The text of the reply
    // is the identity; it is empty when the service read none.
    static Reply Identity(const std::wstring& command);
};

}  // namespace tessel
