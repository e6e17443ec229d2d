// The procedures that the service serves.
#pragma once

#include "rpc/stubs.h"

// What stands behind a client's context handle: it only tells one client from another. Allocated
// with malloc, and so is freed with free; each slot holds a block of one byte.
inline constexpr int kRequestContextSlots = 6;
struct RequestContext {
    void* slots[kRequestContextSlots];
};

// Gives the client a new context. Null when there is no memory for one.
void RemoteOpen(handle_t binding, REQUEST_CONTEXT_HANDLE* context);

// Frees the context and sets the client's handle to null.
void RemoteClose(REQUEST_CONTEXT_HANDLE* context);

// Logs the request and hands it to the family whose command list holds `requestString`, on this
// thread. Any non-zero `data_bool` is true. An unknown command does nothing. The strings stay the
// runtime's; `data_string` may be overwritten within its length. Throws no C++ exception; a
// callback that fails leaves as the RPC runtime's structured exception.
void RemoteRequest(REQUEST_CONTEXT_HANDLE context,
                   const wchar_t* requestString,
                   boolean data_bool,
                   long data_int,
                   wchar_t* data_string);

// Called by the RPC runtime for the context of a client that vanished: frees it.
void __RPC_USER RequestContextRundown(void* context);
