// The base of a Windows service: status reports, control routing and tracing events.
#pragma once

#include <windows.h>
#include <evntprov.h>

#include <atomic>
#include <optional>

#include "service/serviceidentity.h"

// Levels of tracing events.
inline constexpr BYTE kEventLevelFailure = 1;
inline constexpr BYTE kEventLevelInformation = 4;

// Kept: the C before the name, as before that of the derived class.
//
// Brackets a derived class's hooks with reports to the service control manager and turns what they
// throw (a Win32 code as a DWORD, or anything else) into tracing events. One instance per process
// runs as the service; it is reached through a static pointer. Nothing here is locked: what the
// threads must know of each other outlives the object, which is gone once it was reported stopped.
class CServiceBase {
 public:
    // Prepares the status (start pending, accepting stop and shutdown) and registers the tracing
    // provider with EventRegister. A failed registration is printed and drops all later events.
    CServiceBase();
    CServiceBase(const CServiceBase&) = delete;
    CServiceBase& operator=(const CServiceBase&) = delete;
    virtual ~CServiceBase() = default;

    // What the service does at each control; by default nothing. A DWORD thrown is a Win32 error
    // code.
    virtual void OnStart(DWORD argc, wchar_t** argv);
    virtual void OnStop();
    virtual void OnPause();
    virtual void OnContinue();
    virtual void OnShutdown();

    // Writes `message` as a tracing event with keyword 0 through EventWriteString, if the provider
    // is registered. Failures are ignored.
    virtual void WriteEventLogEntry(const wchar_t* message, BYTE level);

    // Writes "<function> failed w/err 0x<error>" as a failure event; cut to 259 characters.
    void WriteErrorLogEntry(const wchar_t* function, DWORD error);

    // Makes `service` the process's service and serves it through StartServiceCtrlDispatcherW until
    // it has stopped. False with GetLastError if the dispatcher refuses. `service` stays the
    // caller's.
    static BOOL Run(CServiceBase& service);

    // Entry point of the service control manager, on its own thread: registers the control handler
    // and starts the service. Throws the Win32 code as a DWORD if the handler cannot be registered.
    static void WINAPI ServiceMain(DWORD argc, wchar_t** argv);

    // Routes stop, pause, continue and shutdown; every other control does nothing.
    static void WINAPI ServiceCtrlHandler(DWORD control);

    // Each calls its hook between the reports that belong to it, and reports the state that is left
    // when the hook throws. Nothing is thrown on. Stop and Shutdown wait for a start in progress,
    // and do nothing when the service is ended already or is about to be.
    void Start(DWORD argc, wchar_t** argv);
    void Stop();
    void Pause();
    void Continue();
    void Shutdown();

    // Reports `state` with Windows' SetServiceStatus, whose result is ignored. Pending states carry
    // the next check-point of the process, running and stopped carry 0.
    void SetServiceStatus(DWORD state, DWORD exit_code = 0);

 protected:
    // Waits for a start in progress and claims the end of the service. False if another thread has:
    // then the object may be gone. To be called by whoever is not sure that it is still there.
    static bool BeginEnding();

    // Stop for whoever has claimed the end.
    void StopClaimed();

 private:
    static CServiceBase* s_service;
    static DWORD s_checkPoint;
    static std::atomic<bool> s_starting;
    static std::atomic<bool> s_ending;

    // Runs `hook` and traces what it throws: nothing when it returned, else the Win32 code that it
    // threw, or 0 for anything else.
    template <typename Hook>
    std::optional<DWORD> RunHook(const wchar_t* label, const wchar_t* failure, Hook hook);

    const wchar_t* m_name = kServiceName;
    SERVICE_STATUS m_status = {};
    SERVICE_STATUS_HANDLE m_statusHandle = nullptr;
    REGHANDLE m_regHandle = 0;
};
