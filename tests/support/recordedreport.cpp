#include "tests/support/recorders.h"

#include <mutex>
#include <utility>

#include "rpc/stub/tesselservice.h"

namespace {
std::mutex g_mutex;
std::vector<Report> g_reports;
}  // namespace

std::vector<Report> TakeReports() {
    std::lock_guard lock(g_mutex);
    return std::exchange(g_reports, {});
}

void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    std::lock_guard lock(g_mutex);
    g_reports.push_back({command, flag != 0, number, text});
}
