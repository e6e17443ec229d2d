#include "tests/support/recordedconsole.h"

#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <mutex>

#include "service/console.h"

namespace {
std::mutex g_mutex;
std::wstring g_text;
}  // namespace

std::wstring PrintedText() {
    std::lock_guard lock(g_mutex);
    return g_text;
}

void ClearPrintedText() {
    std::lock_guard lock(g_mutex);
    g_text.clear();
}

void ConsolePrint(const wchar_t* format, ...) {
    wchar_t buffer[2048] = {};
    va_list arguments;
    va_start(arguments, format);
    vswprintf(buffer, 2047, format, arguments);
    va_end(arguments);
    std::lock_guard lock(g_mutex);
    g_text += buffer;
}

void ConsolePrintNarrow(const char* format, ...) {
    char buffer[2048] = {};
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(buffer, sizeof(buffer), format, arguments);
    va_end(arguments);
    std::lock_guard lock(g_mutex);
    for (const char* c = buffer; *c != '\0'; ++c) {
        g_text += static_cast<wchar_t>(*c);
    }
}
