#include "tests/support/recorders.h"

#include <mutex>
#include <utility>

#include "service/diagnosticlog.h"

namespace {
std::mutex g_mutex;
std::vector<std::string> g_lines;
}  // namespace

std::vector<std::string> TakeLog() {
    std::lock_guard lock(g_mutex);
    return std::exchange(g_lines, {});
}

void WriteLog(std::string message) {
    std::lock_guard lock(g_mutex);
    g_lines.push_back(std::move(message));
}
