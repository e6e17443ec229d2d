// The client half of ServiceRpcInterface: its procedures, and the callback that the program must
// supply. Each procedure raises the RPC runtime's structured exception when the service cannot be
// reached.
#pragma once

#include "rpc/stubs.h"

// Opens a context over `binding`, an ncalrpc binding to the service's endpoint.
void RemoteOpen(handle_t binding, REQUEST_CONTEXT_HANDLE* context);

// Closes `*context`, which must not be null, and sets it to null.
void RemoteClose(REQUEST_CONTEXT_HANDLE* context);

// Sends a request and returns after its last answer. The strings must not be null.
void RemoteRequest(REQUEST_CONTEXT_HANDLE context,
                   const wchar_t* requestString,
                   boolean data_bool,
                   long data_int,
                   const wchar_t* data_string);

// Supplied by the program: receives one answer, during RemoteRequest. The strings live until it
// returns.
void ReportResult(const wchar_t* command, boolean flag, long number, const wchar_t* text);
