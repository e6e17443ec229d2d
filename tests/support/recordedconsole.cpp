#include "tests/support/recorders.h"

#include <cstdarg>
#include <cstdio>
#include <cwchar>

#include "service/console.h"

namespace {

std::wstring g_text;

void Record(const wchar_t* format, va_list arguments) {
    wchar_t buffer[2048] = {};
    vswprintf(buffer, 2047, format, arguments);
    g_text += buffer;
}

}  // namespace

std::wstring PrintedText() {
    return g_text;
}

void ClearPrintedText() {
    g_text.clear();
}

void ConsolePrint(const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Record(format, arguments);
    va_end(arguments);
}

void ConsolePrintNarrow(const char* format, ...) {
    const std::string narrow = format;
    va_list arguments;
    va_start(arguments, format);
    Record(std::wstring(narrow.begin(), narrow.end()).c_str(), arguments);
    va_end(arguments);
}
