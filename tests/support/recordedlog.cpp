#include "tests/support/recorders.h"

#include <mutex>
#include <utility>

#include "service/diagnosticlog.h"

namespace {
std::mutex g_mutex;
std::vector<std::string> g_lines;
}  // namespace

std::vector<std::string> LoggedLines() {
    std::lock_guard lock(g_mutex);
    return g_lines;
}

void ClearLoggedLines() {
    std::lock_guard lock(g_mutex);
    g_lines.clear();
}

void WriteLog(std::string message) {
    std::lock_guard lock(g_mutex);
    g_lines.push_back(std::move(message));
}
