// The tracing events of the service: as they come, or from a file.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <thread>

#include "client/options.h"

struct ServiceEvent {
    FILETIME time;
    DWORD process;
    // TRACE_LEVEL_CRITICAL to TRACE_LEVEL_VERBOSE.
    UCHAR level;
    std::wstring text;
};

using EventHandler = std::function<void(const ServiceEvent& event)>;

// A tracing session for the service's events, while the object exists. Only an administrator can
// start one. Calls StartTraceW, EnableTraceEx2 and ProcessTrace.
class TraceSession {
 public:
    // Starts the session, in place of one with the same name that an earlier program has left. A
    // thread passes the events to `handler`; Windows delivers them about once in a second.
    TraceSession(const wchar_t* name, EventHandler handler);
    TraceSession(const TraceSession&) = delete;
    ~TraceSession() { Stop(); }

    // Returns the Win32 error with which the start failed, or ERROR_SUCCESS.
    [[nodiscard]] DWORD Error() const { return m_error; }

    // Stops the session, after the handler has got all its events.
    void Stop();

 private:
    const wchar_t* m_name;
    EventHandler m_handler;
    DWORD m_error;
    std::thread m_reader;
};

// Stops a session. Returns a Win32 error. Calls ControlTraceW.
DWORD StopTracing(const wchar_t* name);

// Passes the service's events in an .etl file to `handler`, oldest first. Returns a Win32 error.
// Calls OpenTraceW and ProcessTrace.
DWORD ReadTraceFile(const std::wstring& path, EventHandler handler);

// tesselctl --trace: prints a line for each event in the file, or for each event that comes, until
// Ctrl-C or the end of the time. Returns a Win32 error, which it has printed.
DWORD ShowEvents(const Options& options);
