#include "tests/service/windowsservice.h"

#include <evntprov.h>

#include <mutex>
#include <utility>

#include "tests/support/replacedimport.h"

namespace {

std::mutex g_mutex;
std::vector<StatusReport> g_reports;
std::vector<TracingEvent> g_events;
DWORD g_firstCheckPoint = 0;
SERVICE_STATUS g_lastStatus = {};

BOOL WINAPI RecordedSetServiceStatus(SERVICE_STATUS_HANDLE /*handle*/, LPSERVICE_STATUS status) {
    const std::lock_guard lock(g_mutex);
    g_reports.push_back({status->dwCurrentState, status->dwWin32ExitCode, status->dwCheckPoint});
    g_lastStatus = *status;
    if (g_firstCheckPoint == 0) {
        g_firstCheckPoint = status->dwCheckPoint;
    }
    return FALSE;
}

SERVICE_STATUS_HANDLE WINAPI SimulatedRegisterHandler(LPCWSTR /*name*/,
                                                      LPHANDLER_FUNCTION /*handler*/) {
    SetLastError(ERROR_SERVICE_NOT_IN_EXE);
    return g_handlerRegistration;
}

ULONG WINAPI SimulatedEventRegister(LPCGUID /*provider*/,
                                    PENABLECALLBACK /*callback*/,
                                    PVOID /*context*/,
                                    PREGHANDLE handle) {
    *handle = 77;
    return g_eventRegisterResult;
}

ULONG WINAPI RecordedEventWriteString(REGHANDLE handle,
                                      UCHAR level,
                                      ULONGLONG keyword,
                                      PCWSTR message) {
    const std::lock_guard lock(g_mutex);
    if (handle == 77 && keyword == 0) {
        g_events.push_back({level, message});
    }
    return ERROR_SUCCESS;
}

HANDLE WINAPI SimulatedCreateEvent(LPSECURITY_ATTRIBUTES security,
                                   BOOL manual_reset,
                                   BOOL initial_state,
                                   LPCWSTR /*name*/) {
    if (g_createEventFails) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    return CreateEventExW(security, nullptr,
                          (manual_reset ? CREATE_EVENT_MANUAL_RESET : 0) |
                              (initial_state ? CREATE_EVENT_INITIAL_SET : 0),
                          EVENT_ALL_ACCESS);
}

}  // namespace

REPLACE_IMPORT(SetServiceStatus, RecordedSetServiceStatus);
REPLACE_IMPORT(RegisterServiceCtrlHandlerW, SimulatedRegisterHandler);
REPLACE_IMPORT(EventRegister, SimulatedEventRegister);
REPLACE_IMPORT(EventWriteString, RecordedEventWriteString);
REPLACE_IMPORT(CreateEventW, SimulatedCreateEvent);

ULONG g_eventRegisterResult = ERROR_SUCCESS;
SERVICE_STATUS_HANDLE g_handlerRegistration = reinterpret_cast<SERVICE_STATUS_HANDLE>(1);
bool g_createEventFails = false;

std::vector<StatusReport> TakeReports() {
    const std::lock_guard lock(g_mutex);
    return std::exchange(g_reports, {});
}

std::vector<TracingEvent> TakeEvents() {
    const std::lock_guard lock(g_mutex);
    return std::exchange(g_events, {});
}

DWORD FirstCheckPoint() {
    const std::lock_guard lock(g_mutex);
    return g_firstCheckPoint;
}

SERVICE_STATUS LastStatus() {
    const std::lock_guard lock(g_mutex);
    return g_lastStatus;
}
