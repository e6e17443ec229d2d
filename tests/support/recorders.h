// Records what the product logs and prints. Switches the log on, and defines WriteLog and
// ConsolePrint: include it in one source of a test program.
#pragma once

#include <cstdarg>
#include <cwchar>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "diagnostics/console.h"
#include "diagnostics/diagnosticlog.h"

const bool g_logEnabled = true;

inline std::mutex g_logMutex;
inline std::vector<std::string> g_log;
inline std::wstring g_printed;

void WriteLog(std::string message) {
    const std::lock_guard lock(g_logMutex);
    g_log.push_back(std::move(message));
}

// Returns the lines of the log since the last call, in order, of all threads.
inline std::vector<std::string> TakeLog() {
    const std::lock_guard lock(g_logMutex);
    return std::exchange(g_log, {});
}

void ConsolePrint(const wchar_t* format, ...) {
    wchar_t text[2048] = {};
    va_list arguments;
    va_start(arguments, format);
    vswprintf(text, 2047, format, arguments);
    va_end(arguments);
    g_printed += text;
}

// Returns the text that was printed since the last call.
inline std::wstring TakePrinted() {
    return std::exchange(g_printed, {});
}
