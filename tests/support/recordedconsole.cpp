#include "tests/support/recorders.h"

#include <cstdarg>
#include <cwchar>
#include <utility>

#include "service/console.h"

namespace {
std::wstring g_text;
}

std::wstring TakePrinted() {
    return std::exchange(g_text, {});
}

void ConsolePrint(const wchar_t* format, ...) {
    wchar_t buffer[2048] = {};
    va_list arguments;
    va_start(arguments, format);
    vswprintf(buffer, 2047, format, arguments);
    va_end(arguments);
    g_text += buffer;
}
