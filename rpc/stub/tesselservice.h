// ServiceRpcInterface in C and C++: the declarations that an interface compiler makes of
// tesselservice.idl. A server supplies the first three procedures and the rundown, and calls
// ReportResult; a client supplies ReportResult and calls the first three. Both supply the memory
// (stubmemory.cpp).
#pragma once

#include <windows.h>
#include <rpc.h>
#include <rpcndr.h>

// An app's connection as both sides hold it: opaque in the app, a RequestContext in the service.
typedef void* REQUEST_CONTEXT_HANDLE;

#ifdef __cplusplus
extern "C" {
#endif

// What RpcServerRegisterIf3 and its counterparts take, of the server and of the client half.
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
// must not be null and stay the caller's; the server may write over `data_string` within its
// length.
void RemoteRequest(REQUEST_CONTEXT_HANDLE context,
                   const wchar_t* requestString,
                   boolean data_bool,
                   long data_int,
                   wchar_t* data_string);

// Called by the server's RPC runtime when a client ends without closing its context.
void __RPC_USER REQUEST_CONTEXT_HANDLE_rundown(REQUEST_CONTEXT_HANDLE context);

// Sends one answer to the client whose request the calling thread is executing, and returns when
// the client's own ReportResult has returned. `command` is the request's command string as
// received; neither string may be null, both stay the caller's.
//
// Legal only inside RemoteRequest and on its thread. A client that cannot be reached or whose
// routine raises gives a structured exception, of any code, that runs no C++ destructors on its
// way.
void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text);

#ifdef __cplusplus
}
#endif
