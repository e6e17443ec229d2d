// ServiceRpcInterface in C and C++: the declarations that an interface compiler makes of
// tesselservice.idl. A server defines the first three procedures and the rundown and calls
// ReportResult. A client calls the first three and defines ReportResult. Both define the memory
// functions (stubmemory.cpp).
#pragma once

#include <windows.h>
#include <rpc.h>
#include <rpcndr.h>

// The connection of an app: opaque in the app, a pointer to a RequestContext in the service.
typedef void* REQUEST_CONTEXT_HANDLE;

#ifdef __cplusplus
extern "C" {
#endif

// The interface handles of the server and of the client, for RpcServerRegisterIf3 and others.
extern RPC_IF_HANDLE ServiceRpcInterface_v1_0_s_ifspec;
extern RPC_IF_HANDLE ServiceRpcInterface_v1_0_c_ifspec;

// Opens a context over `binding`, an ncalrpc binding to the service's endpoint. In the client, this
// and the next two raise a structured exception with an RPC status when the call fails:
// RPC_S_OUT_OF_MEMORY here if the service has no memory for a context.
void RemoteOpen(handle_t binding, REQUEST_CONTEXT_HANDLE* context);

// Ends `*context` and sets it to null. The runtime refuses a null context of a client. In the
// server, calls on one context are not serialized: the context may have been closed meanwhile.
void RemoteClose(REQUEST_CONTEXT_HANDLE* context);

// Sends a request and returns after its last answer. Any non-zero `data_bool` is true. The strings
// must not be null and stay the caller's. The server may overwrite its copy of `data_string` in
// place, up to its length.
void RemoteRequest(REQUEST_CONTEXT_HANDLE context,
                   const wchar_t* requestString,
                   boolean data_bool,
                   long data_int,
                   wchar_t* data_string);

// Called by the server's RPC runtime when a client ends without closing its context.
void __RPC_USER REQUEST_CONTEXT_HANDLE_rundown(REQUEST_CONTEXT_HANDLE context);

// Sends one answer to the client whose request runs on the calling thread, and returns when the
// client's ReportResult has returned. `command` is the command string of the request as received.
// The strings must not be null and stay the caller's.
//
// Call it only inside RemoteRequest and on its thread. If the client cannot be reached or its
// ReportResult raises an exception, a structured exception with any code leaves this function. It
// runs no C++ destructors.
void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text);

#ifdef __cplusplus
}
#endif
