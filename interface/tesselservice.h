// ServiceRpcInterface in C and C++: the declarations that an interface compiler gives for
// tesselservice.idl. A server defines the first three procedures and the rundown, and calls
// ReportResult. A client calls the first three procedures and defines ReportResult. Both define the
// memory functions (stubmemory.cpp).
#pragma once

#include <windows.h>
#include <rpc.h>
#include <rpcndr.h>

// The context of a connection: opaque in the app, a pointer to a RequestContext in the service.
typedef void* REQUEST_CONTEXT_HANDLE;

#ifdef __cplusplus
extern "C" {
#endif

// The interface handles of the server and of the client, for RpcServerRegisterIf3 and others.
extern RPC_IF_HANDLE ServiceRpcInterface_v1_0_s_ifspec;
extern RPC_IF_HANDLE ServiceRpcInterface_v1_0_c_ifspec;

// In the client, the three procedures raise a structured exception with an RPC status if the call
// fails.

// Opens a context over `binding`, an ncalrpc binding to the service's endpoint. Raises
// RPC_S_OUT_OF_MEMORY if the service has no memory for a context.
void RemoteOpen(handle_t binding, REQUEST_CONTEXT_HANDLE* context);

// Closes `*context` and sets it to null. The runtime refuses a null context from a client. In the
// server, another call may have closed the context already: calls on it are not serialized.
void RemoteClose(REQUEST_CONTEXT_HANDLE* context);

// Sends a request and returns after its answer. Any non-zero `data_bool` is true. The caller owns
// the strings, which must not be null. The server may overwrite its copy of `data_string` in place,
// up to its length.
void RemoteRequest(REQUEST_CONTEXT_HANDLE context,
                   const wchar_t* requestString,
                   boolean data_bool,
                   long data_int,
                   wchar_t* data_string);

// The server's RPC runtime calls it if a client ends without closing its context.
void __RPC_USER REQUEST_CONTEXT_HANDLE_rundown(REQUEST_CONTEXT_HANDLE context);

// Sends an answer to the client whose request runs on the calling thread, and returns when the
// client's ReportResult has returned. `command` is the command string as received. The caller owns
// the strings, which must not be null.
//
// Call it only inside RemoteRequest and on its thread. If the client cannot be reached, or if its
// ReportResult raises an exception, this function raises a structured exception with any code. That
// exception runs no C++ destructors.
void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text);

#ifdef __cplusplus
}
#endif
