#include "service/servicebase.h"

// The assertion is part of what ships; some compilers switch assertions off when they optimise.
#undef NDEBUG
#include <cassert>

#define STRSAFE_NO_DEPRECATE
#include <strsafe.h>

#include "service/console.h"

namespace {

constexpr std::size_t kErrorTextCapacity = 260;
constexpr DWORD kStartPollMilliseconds = 1;

}  // namespace

CServiceBase* CServiceBase::s_service = nullptr;
// Kept: counts on through the life of the process.
DWORD CServiceBase::s_checkPoint = 1;
// A start is in progress; the end has been claimed. Static, for threads that must know it when the
// object may be gone.
std::atomic<bool> CServiceBase::s_starting = false;
std::atomic<bool> CServiceBase::s_ending = false;

CServiceBase::CServiceBase() {
    s_ending = false;
    m_status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    m_status.dwCurrentState = SERVICE_START_PENDING;
    // Kept: pause and continue are not accepted, though they are routed.
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
    // The table's name is declared writable but is only read.
    const SERVICE_TABLE_ENTRYW table[] = {
        {const_cast<wchar_t*>(service.m_name), &CServiceBase::ServiceMain},
        {nullptr, nullptr},
    };
    return StartServiceCtrlDispatcherW(table);
}

// The wait is short: a start only submits work.
bool CServiceBase::BeginEnding() {
    while (s_starting) {
        Sleep(kStartPollMilliseconds);
    }
    return !s_ending.exchange(true);
}

void WINAPI CServiceBase::ServiceMain(DWORD argc, wchar_t** argv) {
    // Kept: the failed assertion names the variable, the file and line 85.
    static_assert(__LINE__ == 84, "crash reports of the service name line 85: keep it there");
    assert(s_service != NULL);

    CServiceBase* service = s_service;
    // From here on a control may come: it waits for the start.
    s_starting = true;
    service->m_statusHandle = RegisterServiceCtrlHandlerW(service->m_name, ServiceCtrlHandler);
    if (service->m_statusHandle == nullptr) {
        // Kept: nobody catches it, and the process ends.
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
    SetServiceStatus(SERVICE_START_PENDING);
    const auto error =
        RunHook(L"Service Start", L"Service failed to start.", [&] { OnStart(argc, argv); });
    SetServiceStatus(error ? SERVICE_STOPPED : SERVICE_RUNNING, error.value_or(ERROR_SUCCESS));
    // The object may be gone as soon as this is seen.
    s_starting = false;
}

void CServiceBase::Stop() {
    if (BeginEnding()) {
        StopClaimed();
    }
}

void CServiceBase::StopClaimed() {
    const DWORD prior_state = m_status.dwCurrentState;
    SetServiceStatus(SERVICE_STOP_PENDING);
    if (RunHook(L"Service Stop", L"Service failed to stop.", [&] { OnStop(); })) {
        SetServiceStatus(prior_state);
        s_ending = false;
    } else {
        SetServiceStatus(SERVICE_STOPPED);
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

// Kept: OnStop does not run and no pending state is shown; a failure is not reported. At system
// shutdown there is no time for a tear-down.
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
