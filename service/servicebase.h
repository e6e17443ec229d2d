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

// Calls the hooks of a derived class, reports the states before and after them to the service
// control manager, and writes a tracing event if a hook throws a Win32 code as a DWORD or anything
// else. One instance per process runs as the service and is reached through a static pointer. There
// is no lock. The process destroys the object after it was reported stopped, so threads share only
// static atomic flags. Kept: the C of the name.
class CServiceBase {
 public:
    // Sets the status (start pending, accepting stop and shutdown) and registers the tracing
    // provider with EventRegister. A failed registration is printed, and no events are written.
    CServiceBase();
    CServiceBase(const CServiceBase&) = delete;
    CServiceBase& operator=(const CServiceBase&) = delete;
    virtual ~CServiceBase() = default;

    // The work of the service at each control; by default nothing. A hook may throw a Win32 error
    // code as a DWORD. OnStart must not call Stop or Shutdown, which wait for the start.
    virtual void OnStart(DWORD argc, wchar_t** argv);
    virtual void OnStop();
    virtual void OnPause();
    virtual void OnContinue();
    virtual void OnShutdown();

    // Writes `message` as a tracing event with keyword 0 if the provider is registered. Calls
    // EventWriteString and ignores its result.
    virtual void WriteEventLogEntry(const wchar_t* message, BYTE level);

    // Writes "<function> failed w/err 0x<error>", cut to 259 characters, as a failure event.
    void WriteErrorLogEntry(const wchar_t* function, DWORD error);

    // Makes `service` the service of the process and runs StartServiceCtrlDispatcherW until it has
    // stopped. FALSE with GetLastError if the dispatcher cannot start. The caller owns `service`.
    static BOOL Run(CServiceBase& service);

    // Called by the service control manager on a thread of its own. Registers the control handler
    // and starts the service. Throws the Win32 code as a DWORD if the registration fails.
    static void WINAPI ServiceMain(DWORD argc, wchar_t** argv);

    // Calls Stop, Pause, Continue or Shutdown; ignores every other control.
    static void WINAPI ServiceCtrlHandler(DWORD control);

    // Each reports a pending state, calls its hook and reports the state that follows; if the hook
    // throws, the state that is left. They do not throw. Stop and Shutdown wait for a start in
    // progress and do nothing if another thread is stopping or has stopped the service. A service
    // that has stopped can be started and stopped again.
    void Start(DWORD argc, wchar_t** argv);
    void Stop();
    void Pause();
    void Continue();
    void Shutdown();

    // Reports `state` with Windows' SetServiceStatus and ignores its result. Running and stopped
    // have the check-point 0, all other states the next one of the process.
    void SetServiceStatus(DWORD state, DWORD exit_code = 0);

 protected:
    // Waits for a start in progress and claims the end of the service. False if another thread has
    // claimed it: the object may be destroyed then. Static, so that it can be called in that case.
    static bool BeginEnding();

    // Stops the service after BeginEnding has returned true.
    void StopClaimed();

 private:
    static CServiceBase* s_service;
    static DWORD s_checkPoint;
    static std::atomic<bool> s_starting;
    static std::atomic<bool> s_ending;

    // Runs `hook` and writes an event if it throws. Returns nothing if it did not throw, else the
    // Win32 code that it threw, or 0 for any other exception.
    template <typename Hook>
    std::optional<DWORD> RunHook(const wchar_t* label, const wchar_t* failure, Hook hook);

    const wchar_t* m_name = kServiceName;
    SERVICE_STATUS m_status = {};
    SERVICE_STATUS_HANDLE m_statusHandle = nullptr;
    REGHANDLE m_regHandle = 0;
};
