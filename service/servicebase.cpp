#include "service/servicebase.h"

#include <cassert>

#define STRSAFE_NO_DEPRECATE
#include <strsafe.h>

#include "service/console.h"

namespace {

// {BE2E880E-F79F-4C30-9C95-09F003A0A7EA}
constexpr GUID kTracingProvider = {0xBE2E880E,
                                   0xF79F,
                                   0x4C30,
                                   {0x9C, 0x95, 0x09, 0xF0, 0x03, 0xA0, 0xA7, 0xEA}};

constexpr std::size_t kErrorTextCapacity = 260;

}  // namespace

CServiceBase* CServiceBase::s_service = nullptr;
DWORD CServiceBase::s_checkPoint = 1;

CServiceBase::CServiceBase() {
    m_status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    m_status.dwCurrentState = SERVICE_START_PENDING;
    m_status.dwControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN;

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

// The assertion's line is known to those who read crash reports of the service and must not move.
void WINAPI CServiceBase::ServiceMain(DWORD argc, wchar_t** argv) {
#line 85
    assert(s_service != NULL);

    CServiceBase* service = s_service;
    service->m_statusHandle = RegisterServiceCtrlHandlerW(service->m_name, ServiceCtrlHandler);
    if (service->m_statusHandle == nullptr) {
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

void CServiceBase::Start(DWORD argc, wchar_t** argv) {
    try {
        SetServiceStatus(SERVICE_START_PENDING);
        OnStart(argc, argv);
        SetServiceStatus(SERVICE_RUNNING);
    } catch (DWORD error) {
        WriteErrorLogEntry(L"Service Start", error);
        SetServiceStatus(SERVICE_STOPPED, error);
    } catch (...) {
        WriteEventLogEntry(L"Service failed to start.", kEventLevelFailure);
        SetServiceStatus(SERVICE_STOPPED);
    }
    m_startReported = true;
}

void CServiceBase::Stop() {
    const DWORD prior_state = m_status.dwCurrentState;
    try {
        SetServiceStatus(SERVICE_STOP_PENDING);
        OnStop();
        SetServiceStatus(SERVICE_STOPPED);
    } catch (DWORD error) {
        WriteErrorLogEntry(L"Service Stop", error);
        SetServiceStatus(prior_state);
    } catch (...) {
        WriteEventLogEntry(L"Service failed to stop.", kEventLevelFailure);
        SetServiceStatus(prior_state);
    }
}

void CServiceBase::Pause() {
    try {
        SetServiceStatus(SERVICE_PAUSE_PENDING);
        OnPause();
        SetServiceStatus(SERVICE_PAUSED);
    } catch (DWORD error) {
        WriteErrorLogEntry(L"Service Pause", error);
        SetServiceStatus(SERVICE_RUNNING);
    } catch (...) {
        WriteEventLogEntry(L"Service failed to pause.", kEventLevelFailure);
        SetServiceStatus(SERVICE_RUNNING);
    }
}

void CServiceBase::Continue() {
    try {
        SetServiceStatus(SERVICE_CONTINUE_PENDING);
        OnContinue();
        SetServiceStatus(SERVICE_RUNNING);
    } catch (DWORD error) {
        WriteErrorLogEntry(L"Service Continue", error);
        SetServiceStatus(SERVICE_PAUSED);
    } catch (...) {
        WriteEventLogEntry(L"Service failed to resume.", kEventLevelFailure);
        SetServiceStatus(SERVICE_PAUSED);
    }
}

// At system shutdown there is no time for a tear-down: OnStop does not run and no pending state is
// shown.
void CServiceBase::Shutdown() {
    try {
        OnShutdown();
        SetServiceStatus(SERVICE_STOPPED);
    } catch (DWORD error) {
        WriteErrorLogEntry(L"Service Shutdown", error);
    } catch (...) {
        WriteEventLogEntry(L"Service failed to shut down.", kEventLevelFailure);
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
