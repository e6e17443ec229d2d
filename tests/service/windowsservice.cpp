#include "tests/service/windowsservice.h"

#include <evntprov.h>
#include <objbase.h>

#include <mutex>
#include <utility>

#include "tests/support/interposed.h"

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

ULONG WINAPI SimulatedEventRegister(LPCGUID provider,
                                    PENABLECALLBACK /*callback*/,
                                    PVOID /*context*/,
                                    PREGHANDLE handle) {
    wchar_t id[40] = {};
    StringFromGUID2(*provider, id, 40);
    *handle = id == std::wstring(L"{BE2E880E-F79F-4C30-9C95-09F003A0A7EA}") ? 77 : 78;
    return ERROR_SUCCESS;
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

}  // namespace

REPLACE_IMPORT(SetServiceStatus, RecordedSetServiceStatus);
INTERPOSE_GIVES(RegisterServiceCtrlHandlerW, kNone, 1);
REPLACE_IMPORT(EventRegister, SimulatedEventRegister);
REPLACE_IMPORT(EventWriteString, RecordedEventWriteString);

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
