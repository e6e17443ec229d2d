// The callback that answers a request.
#pragma once

// Sends one answer to the client whose request the calling thread is executing, and returns when
// the client's own ReportResult has returned. `command` is the request's command string as
// received, neither string may be null, both stay the caller's. Stands on NdrClientCall3 over the
// call in progress: legal only inside RemoteRequest and on its thread. A client that cannot be
// reached gives a structured exception of the RPC runtime, which runs no C++ destructors on its
// way: own nothing across this call that the process cannot spare.
void ReportResult(const wchar_t* command, bool flag, long number, const wchar_t* text);
