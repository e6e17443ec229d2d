// The service control manager and the event tracing as a test sees them: everything reported is
// kept.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

// A report to the service control manager.
struct StatusReport {
    DWORD state;
    DWORD exit_code;
    DWORD check_point;
    bool operator==(const StatusReport&) const = default;
};

struct TracingEvent {
    BYTE level;
    std::wstring message;
    bool operator==(const TracingEvent&) const = default;
};

// The reports and events since the last call, in order; forgets them.
std::vector<StatusReport> TakeReports();
std::vector<TracingEvent> TakeEvents();

// The check-point of the process's first pending report.
DWORD FirstCheckPoint();

// The whole status block last reported.
SERVICE_STATUS LastStatus();
