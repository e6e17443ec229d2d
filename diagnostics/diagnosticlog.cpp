#include "diagnostics/diagnosticlog.h"

#include <share.h>

#include <cstdio>
#include <ctime>
#include <mutex>

#include "win32/lowbytes.h"

namespace {

const char* LogFileName() {
    static const std::string name = g_logEnabled ? "C:\\TesselServicelog.txt" : "";
    return name.c_str();
}

// Kept: each start of the program, in any mode, empties the log. Other programs may open the file.
std::FILE* OpenLog() {
    return g_logEnabled ? _fsopen(LogFileName(), "w", _SH_DENYNO) : nullptr;
}

// Opened before main and never closed: threads may still write while the process ends.
std::FILE* const g_logStream = OpenLog();

std::mutex g_logMutex;

}  // namespace

std::string LogTimestamp() {
    const std::time_t now = std::time(nullptr);
    const std::tm* local = std::localtime(&now);
    char text[256] = {};
    if (local == nullptr || std::strftime(text, sizeof(text), "%Y%m%d_%H%M%S : ", local) == 0) {
        return {};
    }
    return text;
}

void WriteLog(std::string message) {
    if (!g_logEnabled || g_logStream == nullptr) {
        return;
    }
    message.insert(0, LogTimestamp());
    message += '\n';
    const std::lock_guard lock(g_logMutex);
    std::fwrite(message.data(), 1, message.size(), g_logStream);
    std::fflush(g_logStream);
}

// Kept: the service never calls it, and the text is passed by value.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void WriteLog(std::wstring message) {
    if (g_logEnabled) {
        WriteLog(LowBytes(message));
    }
}
