#include "tests/support/recordedreport.h"

#include <mutex>
#include <utility>

#include "rpc/reportresult.h"

namespace {
std::mutex g_mutex;
std::vector<Report> g_reports;
}  // namespace

std::vector<Report> TakeReports() {
    std::lock_guard lock(g_mutex);
    return std::exchange(g_reports, {});
}

void ReportResult(const wchar_t* command, bool flag, long number, const wchar_t* text) {
    std::lock_guard lock(g_mutex);
    g_reports.push_back({command, flag, number, text});
}
