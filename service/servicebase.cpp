#include "service/servicebase.h"

// The assertion ships. Some compilers turn assertions off when they optimise.
#undef NDEBUG
#include <cassert>

#define STRSAFE_NO_DEPRECATE
#include <strsafe.h>

#include "diagnostics/console.h"

namespace {

constexpr std::size_t kErrorTextCapacity = 260;

// For the end of a start. Not std::atomic::wait: libc++ polls for it on Windows.
SRWLOCK g_startLock = SRWLOCK_INIT;
CONDITION_VARIABLE g_startEnded = CONDITION_VARIABLE_INIT;

}  // namespace

CServiceBase* CServiceBase::s_service = nullptr;
// Kept: never reset.
DWORD CServiceBase::s_checkPoint = 1;
// Whether a start is in progress, and whether a thread is stopping or has stopped the service.
// Static: other threads may read them after the object was destroyed.
std::atomic<bool> CServiceBase::s_starting = false;
std::atomic<bool> CServiceBase::s_ending = false;

CServiceBase::CServiceBase() {
    m_status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    m_status.dwCurrentState = SERVICE_START_PENDING;
    // Kept: pause and continue are routed but not accepted.
    m_status.dwControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN;

    // Kept: the provider is never unregistered.
    const ULONG error = EventRegister(&kTracingProvider, nullptr, nullptr, &m_regHandle);
    if (error != ERROR_SUCCESS) {
        m_regHandle = 0;
        ConsolePrint(L"Provider not registered. EventRegister failed with %d\n", error);
    }
}

void CServiceBase::OnStart(DWORD /*argc*/, wchar_t** /*argv*/) {}
void CServiceBase::OnStop() {}
void CServiceBase::OnPause() {}
void CServiceBase::OnContinue() {}
void CServiceBase::OnShutdown() {}

void CServiceBase::WriteEventLogEntry(const wchar_t* message, BYTE level) {
    if (m_regHandle != 0) {
        EventWriteString(m_regHandle, level, 0, message);
    }
}

void CServiceBase::WriteErrorLogEntry(const wchar_t* function, DWORD error) {
    wchar_t message[kErrorTextCapacity] = {};
    StringCchPrintfW(message, kErrorTextCapacity, L"%ls failed w/err 0x%08lx", function, error);
    WriteEventLogEntry(message, kEventLevelFailure);
}

BOOL CServiceBase::Run(CServiceBase& service) {
    s_service = &service;
    // The dispatcher only reads the name, though it is declared writable.
    const SERVICE_TABLE_ENTRYW table[] = {
        {const_cast<wchar_t*>(service.m_name), &CServiceBase::ServiceMain},
        {nullptr, nullptr},
    };
    return StartServiceCtrlDispatcherW(table);
}

bool CServiceBase::BeginEnding() {
    AcquireSRWLockExclusive(&g_startLock);
    while (s_starting) {
        SleepConditionVariableSRW(&g_startEnded, &g_startLock, INFINITE, 0);
    }
    const bool claimed = !s_ending.exchange(true);
    ReleaseSRWLockExclusive(&g_startLock);
    return claimed;
}

void WINAPI CServiceBase::ServiceMain(DWORD argc, wchar_t** argv) {
    // Kept: a failed assertion shows this expression, file and line.
    static_assert(__LINE__ == 84, "crash reports of the service name line 85: keep it there");
    assert(s_service != NULL);

    CServiceBase* service = s_service;
    // A control may come as soon as the handler is registered. Then it waits for the start.
    s_starting = true;
    service->m_statusHandle = RegisterServiceCtrlHandlerW(service->m_name, ServiceCtrlHandler);
    if (service->m_statusHandle == nullptr) {
        // Kept: not caught; the process ends.
        throw GetLastError();
    }
    service->Start(argc, argv);
}

void WINAPI CServiceBase::ServiceCtrlHandler(DWORD control) {
    switch (control) {
        case SERVICE_CONTROL_STOP:
            s_service->Stop();
            break;
        case SERVICE_CONTROL_PAUSE:
            s_service->Pause();
            break;
        case SERVICE_CONTROL_CONTINUE:
            s_service->Continue();
            break;
        case SERVICE_CONTROL_SHUTDOWN:
            s_service->Shutdown();
            break;
        default:
            break;
    }
}

template <typename Hook>
std::optional<DWORD> CServiceBase::RunHook(const wchar_t* label,
                                           const wchar_t* failure,
                                           Hook hook) {
    try {
        hook();
        return std::nullopt;
    } catch (DWORD error) {
        WriteErrorLogEntry(label, error);
        return error;
    } catch (...) {
        WriteEventLogEntry(failure, kEventLevelFailure);
        return ERROR_SUCCESS;
    }
}

void CServiceBase::Start(DWORD argc, wchar_t** argv) {
    s_starting = true;
    s_ending = false;
    SetServiceStatus(SERVICE_START_PENDING);
    const auto error =
        RunHook(L"Service Start", L"Service failed to start.", [&] { OnStart(argc, argv); });
    SetServiceStatus(error ? SERVICE_STOPPED : SERVICE_RUNNING, error.value_or(ERROR_SUCCESS));
    // From here on, another thread may stop the service and destroy the object.
    AcquireSRWLockExclusive(&g_startLock);
    s_starting = false;
    ReleaseSRWLockExclusive(&g_startLock);
    WakeAllConditionVariable(&g_startEnded);
}

void CServiceBase::Stop() {
    StopUnlessEnding(this);
}

void CServiceBase::StopUnlessEnding(CServiceBase* service) {
    if (!BeginEnding()) {
        return;
    }
    const DWORD prior_state = service->m_status.dwCurrentState;
    service->SetServiceStatus(SERVICE_STOP_PENDING);
    const auto error =
        service->RunHook(L"Service Stop", L"Service failed to stop.", [=] { service->OnStop(); });
    if (error) {
        service->SetServiceStatus(prior_state);
        s_ending = false;
    } else {
        service->SetServiceStatus(SERVICE_STOPPED);
    }
}

void CServiceBase::Pause() {
    SetServiceStatus(SERVICE_PAUSE_PENDING);
    const auto error = RunHook(L"Service Pause", L"Service failed to pause.", [&] { OnPause(); });
    SetServiceStatus(error ? SERVICE_RUNNING : SERVICE_PAUSED);
}

void CServiceBase::Continue() {
    SetServiceStatus(SERVICE_CONTINUE_PENDING);
    const auto error =
        RunHook(L"Service Continue", L"Service failed to resume.", [&] { OnContinue(); });
    SetServiceStatus(error ? SERVICE_PAUSED : SERVICE_RUNNING);
}

// Kept: does not call OnStop, and reports neither a pending state nor a failure. When the machine
// shuts down, there is no time to release the RPC server.
void CServiceBase::Shutdown() {
    if (!BeginEnding()) {
        return;
    }
    if (RunHook(L"Service Shutdown", L"Service failed to shut down.", [&] { OnShutdown(); })) {
        s_ending = false;
    } else {
        SetServiceStatus(SERVICE_STOPPED);
    }
}

void CServiceBase::SetServiceStatus(DWORD state, DWORD exit_code) {
    m_status.dwCurrentState = state;
    m_status.dwWin32ExitCode = exit_code;
    m_status.dwWaitHint = 0;
    const bool settled = state == SERVICE_RUNNING || state == SERVICE_STOPPED;
    m_status.dwCheckPoint = settled ? 0 : s_checkPoint++;
    ::SetServiceStatus(m_statusHandle, &m_status);
}
