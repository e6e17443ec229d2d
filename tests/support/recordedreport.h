// ReportResult that keeps the answers instead of sending them. Calling TakeReports links it.
#pragma once

#include <string>
#include <vector>

struct Report {
    std::wstring command;
    bool flag;
    long number;
    std::wstring text;
    bool operator==(const Report&) const = default;
};

// The answers given since the last call, in order; forgets them.
std::vector<Report> TakeReports();
