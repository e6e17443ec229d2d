// Starts, stops and crashes of the service, and the events that it traces.
#include <windows.h>

#include <algorithm>
#include <set>

#include "acceptance/items.h"
#include "client/trace.h"

namespace {

constexpr DWORD kStateMilliseconds = 60000;

Handle OpenServiceProcess() {
    return Handle(OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION,
                              FALSE, ServiceProcessId()));
}

// The state as the service manager numbers it.
DWORD State(SC_HANDLE service) {
    return ServiceStatus(service).dwCurrentState;
}

// Asks the service to stop. Gives the result of the call, its time and the state after it as text.
std::wstring AskToStop(SC_HANDLE service) {
    SERVICE_STATUS status = {};
    const ULONGLONG start = GetTickCount64();
    const DWORD error = ControlService(service, SERVICE_CONTROL_STOP, &status) ? 0 : GetLastError();
    return Format(L"the stop's call: %ls after %llu ms, then state %lu", Outcome(error),
                  GetTickCount64() - start, State(service));
}

// Waits for the end of a stopping service and of its process, and appends the result to `text`.
bool AwaitEnd(SC_HANDLE service, const Handle& process, std::wstring& text) {
    const ULONGLONG start = GetTickCount64();
    const bool stopped = AwaitState(service, SERVICE_STOPPED, kStateMilliseconds);
    text += Format(L"; state %lu after %llu ms", State(service), GetTickCount64() - start);
    DWORD code = ExitCode(process, kStateMilliseconds / 6);
    if (code == STILL_ACTIVE && IsWine()) {
        // Under Wine the end of a process sometimes hangs when its threads are in RPC calls.
        TerminateProcess(process.get(), 0);
        code = 0;
    }
    text += code == STILL_ACTIVE ? L", its process did not end"
                                 : Format(L", its process ended with %lu", code);
    return stopped && code == 0 && ServiceStatus(service).dwWin32ExitCode == NO_ERROR;
}

// Repeats each stop until the service accepts it, during the start or directly after it.
void CheckStartsStoppedAtOnce(Run& run, SC_HANDLE service) {
    const int rounds = run.Rounds(50, 3);
    int done = 0;
    std::wstring text;
    for (bool ok = true; ok && done < rounds; done += ok ? 1 : 0) {
        while (!StartServiceW(service, 0, nullptr)) {
            Sleep(10);
        }
        const Handle process = OpenServiceProcess();
        SERVICE_STATUS status = {};
        // The reply of a service that ends at once may be lost: the next attempt finds it stopped.
        while (!ControlService(service, SERVICE_CONTROL_STOP, &status) &&
               GetLastError() != ERROR_SERVICE_NOT_ACTIVE) {
        }
        text.clear();
        ok = AwaitEnd(service, process, text);
    }
    run.Add(done == rounds, L"stopping.at_once", L"%d of %d starts, each stopped at once%ls", done,
            rounds, text);
}

void CheckStopUnderLoad(Run& run, SC_HANDLE service) {
    const int clients = run.Rounds(64, 16);
    std::mutex lock;
    std::map<DWORD, int> ends;
    std::wstring text;
    bool stopped = false;
    StartAndAnswer(service);
    const Handle process = OpenServiceProcess();
    std::vector<Session> sessions(static_cast<std::size_t>(clients));
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
    run.Add(stopped, L"stopping.busy", L"%d clients at work; %ls; the clients were told%ls",
            clients, text, Counts(ends));
}

// A stop while a client is in its callback.
void CheckStopWithHeldAnswer(Run& run, SC_HANDLE service, bool goes_on) {
    StartAndAnswer(service);
    const Handle process = OpenServiceProcess();
    Child client(L"hold");
    client.ReadLine();
    std::wstring text = L"a client is in its callback; " + AskToStop(service);
    Sleep(static_cast<DWORD>(run.Rounds(3000, 300)));
    text += Format(L", later state %lu; the client ", State(service));
    if (goes_on) {
        client.GoOn();
        text += L"goes on: " + Outcome(client.Wait());
    } else {
        client.Kill();
        text += L"is ended";
    }
    const bool ended = AwaitEnd(service, process, text);
    run.Check(ended, Status::kFault, goes_on ? L"stopping.goes_on" : L"stopping.ended", text,
              L"INSTALL.md, If it does not stop");
}

constexpr wchar_t kTraceName[] = L"tessel-acceptance";

}  // namespace

void CheckStopping(Run& run) {
    CheckStopUnderLoad(run, run.service.get());
    CheckStopWithHeldAnswer(run, run.service.get(), true);
    CheckStopWithHeldAnswer(run, run.service.get(), false);
    CheckStartsStoppedAtOnce(run, run.service.get());
    const DWORD error = StartAndAnswer(run.service.get());
    run.Add(error == 0, L"stopping.next_start", L"%ls", Outcome(error));
}

DWORD HoldAnswer(ChildWords /*words*/) {
    const Session session;
    Exchange echo = Echo(0);
    echo.in_callback = [] {
        PrintLine(L"in");
        WaitForParent();
    };
    return session.Send(echo);
}

void CheckTracing(Run& run) {
    // Only the session's thread fills it.
    std::set<std::wstring> events;
    TraceSession session(kTraceName, [&](const ServiceEvent& event) {
        events.insert(Format(L"%ls (%d)", event.text, event.level));
    });
    const DWORD error = session.Error();
    const Handle process = OpenServiceProcess();
    std::wstring text = AskToStop(run.service.get());
    AwaitEnd(run.service.get(), process, text);
    StartAndAnswer(run.service.get());
    // Buffers are delivered every second.
    Sleep(static_cast<DWORD>(run.Rounds(3000, 0)));
    session.Stop();
    text = L"level in brackets:";
    for (const std::wstring& event : events) {
        text += L" " + event + L";";
    }
    const bool seen = events.contains(L"CppWindowsService in OnStop (4)") &&
                      events.contains(L"CppWindowsService in OnStart (4)");
    if (error == ERROR_ACCESS_DENIED) {
        run.AddNotHere(L"tracing", error);
    } else {
        run.Check(seen, Status::kFault, L"tracing", error == ERROR_SUCCESS ? text : Outcome(error));
    }
}

void StopTracing() {
    StopTracing(kTraceName);
}

void CheckRecovery(Run& run) {
    const std::vector<BYTE> config = QueryConfig(run.service.get(), SERVICE_CONFIG_FAILURE_ACTIONS);
    const auto* actions = reinterpret_cast<const SERVICE_FAILURE_ACTIONSW*>(config.data());
    if (config.empty() || actions->cActions == 0 ||
        actions->lpsaActions[0].Type != SC_ACTION_RESTART) {
        run.Add(Status::kNotHere, L"recovery", L"the service is not restarted after a crash",
                kGrantAdvice);
        return;
    }
    const DWORD before = ServiceProcessId();
    const Handle process = OpenServiceProcess();
    if (!process || !TerminateProcess(process.get(), 1)) {
        run.AddNotHere(L"recovery", GetLastError());
        return;
    }
    // The first two restarts come after five seconds, later ones after a minute.
    const auto limit =
        static_cast<ULONGLONG>(run.Rounds(2 * kStateMilliseconds, kStateMilliseconds / 4));
    const ULONGLONG start = GetTickCount64();
    SERVICE_STATUS_PROCESS status = {};
    bool runs = false;
    while (!runs && GetTickCount64() - start < limit) {
        Sleep(50);
        status = ServiceStatus(run.service.get());
        runs = status.dwCurrentState == SERVICE_RUNNING && status.dwProcessId != before;
    }
    run.Add(runs, L"recovery",
            L"state %lu %llu ms after its process was ended; process %lu, then %lu",
            status.dwCurrentState, GetTickCount64() - start, before, status.dwProcessId);
    StartAndAnswer(run.service.get());
}
