// Starts, stops and crashes of the service, and what it traces over them.
#include <windows.h>
#include <evntrace.h>
#include <evntcons.h>

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "acceptance/child.h"
#include "acceptance/exchange.h"
#include "acceptance/installedservice.h"
#include "acceptance/items.h"
#include "client/output.h"
#include "service/serviceidentity.h"

namespace {

constexpr DWORD kStateMilliseconds = 60000;

// The service, to be started and stopped; null after a finding that says why not.
ServiceHandle OpenForRestarts(Run& run, const wchar_t* item) {
    ServiceHandle service = OpenInstalledService(SERVICE_START | SERVICE_STOP |
                                                 SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG);
    if (!service) {
        run.NotHere(item, Outcome(GetLastError()), kAdministratorAdvice);
    }
    return service;
}

Handle OpenServiceProcess(DWORD access) {
    return Handle(OpenProcess(access | SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE,
                              ServiceProcessId()));
}

// Asks for the stop and tells what the call gave, when, and which state is shown then.
std::wstring AskToStop(SC_HANDLE service) {
    SERVICE_STATUS status = {};
    const ULONGLONG start = GetTickCount64();
    const DWORD error = ControlService(service, SERVICE_CONTROL_STOP, &status) ? 0 : GetLastError();
    return Format(L"the stop's call: %ls after %llu ms, then %ls", Outcome(error).c_str(),
                  GetTickCount64() - start, StateText(service));
}

// Waits for the end of a stopping service and of its process, and tells how that went.
bool AwaitEnd(SC_HANDLE service, const Handle& process, std::wstring& text) {
    const ULONGLONG start = GetTickCount64();
    const bool stopped = AwaitState(service, SERVICE_STOPPED, kStateMilliseconds);
    text += Format(L"; %ls after %llu ms", StateText(service), GetTickCount64() - start);
    DWORD code = 0;
    if (WaitForSingleObject(process.get(), kStateMilliseconds / 6) == WAIT_OBJECT_0) {
        GetExitCodeProcess(process.get(), &code);
        text += Format(L", its process ended with %lu", code);
    } else if (IsWine()) {
        // Wine hangs now and then in the end of a process with threads amid RPC.
        TerminateProcess(process.get(), 0);
    } else {
        text += L", its process did not end";
        return false;
    }
    return stopped && code == 0 && ServiceStatus(service).dwWin32ExitCode == NO_ERROR;
}

// Each stop is asked for until it is taken, which is while the start is in progress or just done.
void CheckStartsStoppedAtOnce(Run& run, SC_HANDLE service) {
    const int rounds = run.Rounds(50, 3);
    int done = 0;
    std::wstring text;
    for (bool ok = true; ok && done < rounds; done += ok ? 1 : 0) {
        while (!StartServiceW(service, 0, nullptr)) {
            Sleep(10);
        }
        const Handle process = OpenServiceProcess(PROCESS_TERMINATE);
        SERVICE_STATUS status = {};
        // The reply of a service that ends at once may be lost: the next attempt finds it stopped.
        while (!ControlService(service, SERVICE_CONTROL_STOP, &status) &&
               GetLastError() != ERROR_SERVICE_NOT_ACTIVE) {
        }
        text.clear();
        ok = AwaitEnd(service, process, text);
    }
    run.Add(done == rounds, L"stopping.at_once",
            Format(L"%d of %d starts, each stopped at once%ls", done, rounds, text.c_str()));
}

void CheckStopUnderLoad(Run& run, SC_HANDLE service) {
    const int clients = run.Rounds(64, 16);
    std::mutex lock;
    std::map<DWORD, int> ends;
    std::wstring text;
    bool stopped = false;
    StartAndAnswer(service);
    const Handle process = OpenServiceProcess(PROCESS_TERMINATE);
    std::vector<Session> sessions(static_cast<std::size_t>(clients));
    OpenAll(sessions);
    InParallel(clients + 1, [&](int i) {
        if (i == clients) {
            Sleep(500);
            text = AskToStop(service);
            stopped = AwaitEnd(service, process, text);
            return;
        }
        Exchange echo = Echo(i);
        while (sessions[static_cast<std::size_t>(i)].Send(echo) == 0) {
        }
        const std::lock_guard guard(lock);
        ++ends[echo.status];
    });
    run.Add(stopped, L"stopping.busy",
            Format(L"%d clients at work; ", clients) + text + L"; the clients were told" +
                Counts(ends));
}

// A client stands in its callback. What the service manager shows meanwhile is Windows' own.
void CheckStopWithHeldAnswer(Run& run, SC_HANDLE service, bool goes_on) {
    StartAndAnswer(service);
    const Handle process = OpenServiceProcess(PROCESS_TERMINATE);
    Child client(L"hold");
    client.ReadLine();
    std::wstring text = L"a client stands in its callback; " + AskToStop(service);
    Sleep(static_cast<DWORD>(run.Rounds(3000, 300)));
    text += Format(L", later %ls; the client ", StateText(service));
    if (goes_on) {
        client.GoOn();
        text += L"goes on: " + Outcome(client.Wait(kChildMilliseconds));
    } else {
        client.Kill();
        text += L"is ended";
    }
    const bool ended = AwaitEnd(service, process, text);
    run.Add(ended, goes_on ? L"stopping.goes_on" : L"stopping.ended", text,
            L"INSTALL.md, If it does not stop");
}

constexpr wchar_t kTraceName[] = L"tessel-acceptance";

struct TraceProperties {
    EVENT_TRACE_PROPERTIES properties;
    wchar_t name[64];
};

TraceProperties NewTraceProperties() {
    TraceProperties trace = {};
    trace.properties.Wnode.BufferSize = sizeof(trace);
    trace.properties.Wnode.Flags = WNODE_FLAG_TRACED_GUID;
    trace.properties.Wnode.ClientContext = 1;
    trace.properties.LogFileMode = EVENT_TRACE_REAL_TIME_MODE;
    trace.properties.FlushTimer = 1;
    trace.properties.LoggerNameOffset = offsetof(TraceProperties, name);
    return trace;
}

// Texts with their levels.
struct Events {
    std::mutex lock;
    std::multiset<std::wstring> texts;
};

void WINAPI TakeEvent(EVENT_RECORD* record) {
    auto* events = static_cast<Events*>(record->UserContext);
    if ((record->EventHeader.Flags & EVENT_HEADER_FLAG_STRING_ONLY) != 0) {
        const std::lock_guard guard(events->lock);
        events->texts.insert(Format(L"%ls (%d)", static_cast<const wchar_t*>(record->UserData),
                                    record->EventHeader.EventDescriptor.Level));
    }
}

}  // namespace

void CheckStopping(Run& run) {
    const ServiceHandle service = OpenForRestarts(run, L"stopping");
    if (!service) {
        return;
    }
    CheckStopUnderLoad(run, service.get());
    CheckStopWithHeldAnswer(run, service.get(), true);
    CheckStopWithHeldAnswer(run, service.get(), false);
    CheckStartsStoppedAtOnce(run, service.get());
    const DWORD error = StartAndAnswer(service.get());
    run.Add(error == 0, L"stopping.next_start", Outcome(error));
}

DWORD HoldAnswer(ChildWords /*words*/) {
    Session session;
    session.Open();
    Exchange echo = Echo(0);
    echo.in_callback = [] {
        PrintLine(L"in");
        WaitForParent();
    };
    return session.Send(echo);
}

void CheckTracing(Run& run) {
    const ServiceHandle service = OpenForRestarts(run, L"tracing");
    if (!service) {
        return;
    }
    TraceProperties trace = NewTraceProperties();
    TRACEHANDLE session = 0;
    DWORD error = StartTraceW(&session, kTraceName, &trace.properties);
    if (error == ERROR_SUCCESS) {
        error = EnableTraceEx2(session, &kTracingProvider, EVENT_CONTROL_CODE_ENABLE_PROVIDER,
                               TRACE_LEVEL_VERBOSE, 0, 0, 5000, nullptr);
    }
    Events events;
    EVENT_TRACE_LOGFILEW source = {};
    source.LoggerName = const_cast<wchar_t*>(kTraceName);
    source.ProcessTraceMode = PROCESS_TRACE_MODE_REAL_TIME | PROCESS_TRACE_MODE_EVENT_RECORD;
    source.EventRecordCallback = TakeEvent;
    source.Context = &events;
    TRACEHANDLE reading = OpenTraceW(&source);
    std::thread reader([&] { ProcessTrace(&reading, 1, nullptr, nullptr); });
    const Handle process = OpenServiceProcess(PROCESS_TERMINATE);
    std::wstring text = AskToStop(service.get());
    AwaitEnd(service.get(), process, text);
    StartAndAnswer(service.get());
    // Buffers come each second.
    Sleep(static_cast<DWORD>(run.Rounds(3000, 0)));
    StopTracing();
    CloseTrace(reading);
    reader.join();
    text = L"level in brackets:";
    for (const std::wstring& event : events.texts) {
        text += L" " + event + L";";
    }
    const bool seen = events.texts.contains(L"CppWindowsService in OnStop (4)") &&
                      events.texts.contains(L"CppWindowsService in OnStart (4)") &&
                      events.texts.contains(L"Starting Rpc Server.. (4)");
    if (error == ERROR_ACCESS_DENIED) {
        run.NotHere(L"tracing", Outcome(error), kAdministratorAdvice);
    } else if (events.texts.empty() && IsWine()) {
        run.NotHere(L"tracing", L"Wine takes events and keeps none");
    } else {
        run.Add(seen, L"tracing", error == ERROR_SUCCESS ? text : Outcome(error));
    }
}

void StopTracing() {
    TraceProperties trace = NewTraceProperties();
    ControlTraceW(0, kTraceName, &trace.properties, EVENT_TRACE_CONTROL_STOP);
}

void CheckRecovery(Run& run) {
    const ServiceHandle service = OpenForRestarts(run, L"recovery");
    BYTE buffer[8192] = {};
    DWORD needed = 0;
    if (!service) {
        return;
    }
    QueryServiceConfig2W(service.get(), SERVICE_CONFIG_FAILURE_ACTIONS, buffer, sizeof(buffer),
                         &needed);
    const auto* actions = reinterpret_cast<const SERVICE_FAILURE_ACTIONSW*>(buffer);
    if (actions->cActions == 0 || actions->lpsaActions[0].Type != SC_ACTION_RESTART) {
        run.NotHere(L"recovery", L"the service is not restarted after a crash", kGrantAdvice);
        return;
    }
    const DWORD before = ServiceProcessId();
    if (!TerminateProcess(OpenServiceProcess(PROCESS_TERMINATE).get(), 1)) {
        run.NotHere(L"recovery", Outcome(GetLastError()), kAdministratorAdvice);
        return;
    }
    const ULONGLONG start = GetTickCount64();
    AwaitState(service.get(), SERVICE_STOPPED, 5000);
    const bool runs = AwaitState(service.get(), SERVICE_RUNNING, 2 * kStateMilliseconds);
    const DWORD after = ServiceProcessId();
    run.Add(runs && after != before, L"recovery",
            Format(L"%ls %llu ms after its process was ended; process %lu, then %lu",
                   StateText(service.get()), GetTickCount64() - start, before, after));
    StartAndAnswer(service.get());
}
