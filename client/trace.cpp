#include "client/trace.h"

#include <evntrace.h>
#include <evntcons.h>

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <utility>

#include "client/finding.h"
#include "client/output.h"
#include "client/requests/answerformat.h"
#include "interface/serviceidentity.h"
#include "win32/uniquehandle.h"

namespace {

// The properties of a session, and space for its name after them.
struct TraceProperties {
    EVENT_TRACE_PROPERTIES properties = {};
    wchar_t name[64] = {};

    TraceProperties() {
        properties.Wnode.BufferSize = sizeof(*this);
        properties.Wnode.Flags = WNODE_FLAG_TRACED_GUID;
        // Time stamps of the system's clock with the resolution of the performance counter.
        properties.Wnode.ClientContext = 1;
        properties.LogFileMode = EVENT_TRACE_REAL_TIME_MODE;
        // In seconds.
        properties.FlushTimer = 1;
        properties.LoggerNameOffset = sizeof(properties);
    }
};

DWORD StartTracing(const wchar_t* name) {
    TraceProperties trace;
    TRACEHANDLE session = 0;
    DWORD error = StartTraceW(&session, name, &trace.properties);
    if (error == ERROR_SUCCESS) {
        error = EnableTraceEx2(session, &kTracingProvider, EVENT_CONTROL_CODE_ENABLE_PROVIDER,
                               TRACE_LEVEL_VERBOSE, 0, 0, 5000, nullptr);
        if (error != ERROR_SUCCESS) {
            StopTracing(name);
        }
    }
    return error;
}

// A file may have events of other providers, and a session has an event of its own.
void WINAPI TakeEvent(EVENT_RECORD* record) {
    const EVENT_HEADER& header = record->EventHeader;
    if (header.ProviderId != kTracingProvider ||
        (header.Flags & EVENT_HEADER_FLAG_STRING_ONLY) == 0) {
        return;
    }
    const auto* text = static_cast<const wchar_t*>(record->UserData);
    const auto* end = text + record->UserDataLength / sizeof(wchar_t);
    const FILETIME time = {header.TimeStamp.LowPart, static_cast<DWORD>(header.TimeStamp.HighPart)};
    (*static_cast<EventHandler*>(record->UserContext))(
        {time, header.ProcessId, header.EventDescriptor.Level,
         std::wstring(text, std::find(text, end, L'\0'))});
}

// Opens a source of events: a file or a session. Returns INVALID_PROCESSTRACE_HANDLE on failure,
// with the error in GetLastError. `handler` must exist until the handle is closed.
TRACEHANDLE OpenSource(const wchar_t* file, const wchar_t* session, EventHandler& handler) {
    EVENT_TRACE_LOGFILEW source = {};
    source.LogFileName = const_cast<wchar_t*>(file);
    source.LoggerName = const_cast<wchar_t*>(session);
    source.ProcessTraceMode =
        PROCESS_TRACE_MODE_EVENT_RECORD | (session != nullptr ? PROCESS_TRACE_MODE_REAL_TIME : 0);
    source.EventRecordCallback = TakeEvent;
    source.Context = &handler;
    return OpenTraceW(&source);
}

constexpr wchar_t kSessionName[] = L"tesselctl";

// By level.
constexpr const wchar_t* kLevels[] = {L"always",  L"critical",    L"error",
                                      L"warning", L"information", L"verbose"};

void PrintEvent(const ServiceEvent& event, bool json) {
    const std::wstring time = TimeText(event.time);
    const std::wstring process = std::to_wstring(event.process);
    if (json) {
        PrintLine(L"{\"time\":" + JsonText(time) + L",\"process\":" + process + L",\"level\":" +
                  std::to_wstring(event.level) + L",\"text\":" + JsonText(event.text) + L"}");
        return;
    }
    std::wstring level = event.level < std::size(kLevels)
                             ? kLevels[event.level]
                             : L"level " + std::to_wstring(event.level);
    level.resize(11, L' ');
    PrintLine(time + L"  " + level + L"  process " + process + L"  " + event.text);
}

// Set by Ctrl-C. Never closed: the handler may run until the program ends.
HANDLE g_interrupted = nullptr;

BOOL WINAPI Interrupt(DWORD /*event*/) {
    SetEvent(g_interrupted);
    return TRUE;
}

DWORD ShowSession(int seconds, EventHandler handler) {
    g_interrupted = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    SetConsoleCtrlHandler(Interrupt, TRUE);
    const TraceSession session(kSessionName, std::move(handler));
    if (session.Error() == ERROR_SUCCESS) {
        PrintErrorLine(seconds == 0 ? L"tesselctl: shows events until Ctrl-C"
                                    : L"tesselctl: shows events for " + std::to_wstring(seconds) +
                                          L" s, or until Ctrl-C");
        WaitForSingleObject(g_interrupted,
                            seconds == 0 ? INFINITE : static_cast<DWORD>(seconds) * 1000);
    }
    return session.Error();
}

}  // namespace

TraceSession::TraceSession(const wchar_t* name, EventHandler handler)
    : m_name(name), m_handler(std::move(handler)), m_error(StartTracing(name)) {
    if (m_error == ERROR_ALREADY_EXISTS) {
        StopTracing(name);
        m_error = StartTracing(name);
    }
    if (m_error != ERROR_SUCCESS) {
        return;
    }
    const TRACEHANDLE source = OpenSource(nullptr, name, m_handler);
    if (source == INVALID_PROCESSTRACE_HANDLE) {
        m_error = GetLastError();
        StopTracing(name);
        return;
    }
    m_reader = std::thread([source] {
        TRACEHANDLE reading = source;
        ProcessTrace(&reading, 1, nullptr, nullptr);
        CloseTrace(reading);
    });
}

void TraceSession::Stop() {
    if (m_reader.joinable()) {
        // ProcessTrace returns when it has passed on the last events of the stopped session.
        StopTracing(m_name);
        m_reader.join();
    }
}

DWORD StopTracing(const wchar_t* name) {
    TraceProperties trace;
    return ControlTraceW(0, name, &trace.properties, EVENT_TRACE_CONTROL_STOP);
}

DWORD ReadTraceFile(const std::wstring& path, EventHandler handler) {
    TRACEHANDLE source = OpenSource(path.c_str(), nullptr, handler);
    if (source == INVALID_PROCESSTRACE_HANDLE) {
        return GetLastError();
    }
    const DWORD error = ProcessTrace(&source, 1, nullptr, nullptr);
    CloseTrace(source);
    return error;
}

DWORD ShowEvents(const Options& options) {
    const auto print = [&](const ServiceEvent& event) { PrintEvent(event, options.json); };
    const bool live = options.trace_file.empty();
    const DWORD error =
        live ? ShowSession(options.trace_seconds, print) : ReadTraceFile(options.trace_file, print);
    if (error != ERROR_SUCCESS) {
        PrintErrorLine(L"tesselctl: " + (live ? L"the events" : options.trace_file) +
                       L" cannot be read: " + ErrorText(error) +
                       (error == ERROR_ACCESS_DENIED ? L"\n" + DeniedAdvice(error) : L""));
    }
    return error;
}
