// A connection to the service.
#pragma once

#include <windows.h>
#include <rpc.h>

#include <string>

#include "interface/endpoint.h"
#include "interface/tesselservice.h"

// The values of a request. An answer has the same.
struct RequestValues {
    std::wstring command;
    bool flag = false;
    long number = 0;
    std::wstring text = {};

    bool operator==(const RequestValues&) const = default;
};

// The procedures of a client stub.
struct ClientStub {
    decltype(&RemoteOpen) open;
    decltype(&RemoteRequest) request;
    decltype(&RemoteClose) close;
};
inline constexpr ClientStub kShippedStub = {RemoteOpen, RemoteRequest, RemoteClose};

// A context with its own binding. The constructor opens both, the destructor closes them. Any
// number of threads may send at the same time. The functions return 0, or the status of the call
// that failed: of RPC or Windows, or any code that the service or ReportResult has raised.
// ReportResult, which the program defines, receives the answers.
class Connection {
 public:
    // `address` is in the form for RpcBindingFromStringBindingW. Opens the context with RemoteOpen.
    explicit Connection(const wchar_t* address = kStringBinding,
                        const ClientStub& stub = kShippedStub);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    // The status of the opening.
    [[nodiscard]] DWORD Status() const { return m_status; }

    // Sends the request with RemoteRequest and waits until the service is done with it. Windows has
    // no time limit for this. Returns the status of the opening if that failed.
    DWORD Send(const wchar_t* command, bool flag, long number, const wchar_t* text) const;
    DWORD Send(const RequestValues& request) const;

    // Closes the context with RemoteClose. If the service is gone, frees what this process keeps of
    // the context.
    DWORD Close();

    [[nodiscard]] RPC_BINDING_HANDLE Binding() const { return m_binding; }
    [[nodiscard]] REQUEST_CONTEXT_HANDLE Context() const { return m_context; }

 private:
    const ClientStub& m_stub;
    RPC_BINDING_HANDLE m_binding = nullptr;
    REQUEST_CONTEXT_HANDLE m_context = nullptr;
    DWORD m_status;
};
