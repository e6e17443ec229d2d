// The base of a Windows service: status reports, control routing and tracing events.
#pragma once

#include <windows.h>
#include <evntprov.h>

#include <atomic>
#include <optional>

#include "interface/serviceidentity.h"

// Levels of tracing events.
inline constexpr BYTE kEventLevelFailure = 1;
inline constexpr BYTE kEventLevelInformation = 4;

// Calls the hooks of a derived class, and reports the state before and after each hook to the
// service control manager. If a hook throws, writes a tracing event. One instance in a process runs
// as the service; a static pointer refers to it. The object is destroyed after it has reported
// stopped, so threads share only static atomic flags. Kept: the C in the name.
class CServiceBase {
 public:
    // Sets the status to start-pending, accepting stop and shutdown. Registers the tracing provider
    // with EventRegister. If that fails, prints a message and writes no events.
    CServiceBase();
    CServiceBase(const CServiceBase&) = delete;
    CServiceBase& operator=(const CServiceBase&) = delete;
    virtual ~CServiceBase() = default;

    // Do the work of the service for each control; by default nothing. A hook may throw a Win32
    // error code as a DWORD. OnStart must not call Stop or Shutdown, which wait for the start.
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

    // Makes `service` the service of the process, and calls StartServiceCtrlDispatcherW, which
    // returns when the service has stopped. Returns FALSE if the dispatcher cannot start, with the
    // error in GetLastError. The caller owns `service`.
    static BOOL Run(CServiceBase& service);

    // Registers the control handler and starts the service. Throws the Win32 code as a DWORD if the
    // registration fails. The service control manager calls it on its own thread.
    static void WINAPI ServiceMain(DWORD argc, wchar_t** argv);

    // Calls Stop, Pause, Continue or Shutdown; ignores every other control.
    static void WINAPI ServiceCtrlHandler(DWORD control);

    // Each function reports a pending state, calls its hook, and reports the next state, or after
    // an exception the previous state. Shutdown reports only stopped. The functions do not throw.
    // Stop and Shutdown wait for a start in progress. They do nothing if another thread is stopping
    // or has stopped the service. A stopped service can be started again.
    void Start(DWORD argc, wchar_t** argv);
    void Stop();
    void Pause();
    void Continue();
    void Shutdown();

    // Reports `state` with Windows' SetServiceStatus and ignores the result. The check-point is 0
    // for running and stopped; for all other states it is the next number of the process.
    void SetServiceStatus(DWORD state, DWORD exit_code = 0);

 protected:
    // Does what Stop does, for a thread that may outlive `service`: if another thread is stopping
    // or has stopped the service, the object may be destroyed and is not used.
    static void StopUnlessEnding(CServiceBase* service);

 private:
    static CServiceBase* s_service;
    static DWORD s_checkPoint;
    static std::atomic<bool> s_starting;
    static std::atomic<bool> s_ending;

    // Waits for a start in progress: if running were reported after stopped, the service would
    // appear to run. Returns true if the calling thread must stop the service, and false if another
    // thread is stopping or has stopped it.
    static bool BeginEnding();

    // Runs `hook` and writes an event if it throws. Returns nothing if it did not throw, the Win32
    // code that it threw, or 0 for any other exception.
    template <typename Hook>
    std::optional<DWORD> RunHook(const wchar_t* label, const wchar_t* failure, Hook hook);

    const wchar_t* m_name = kServiceName;
    SERVICE_STATUS m_status = {};
    SERVICE_STATUS_HANDLE m_statusHandle = nullptr;
    REGHANDLE m_regHandle = 0;
};
