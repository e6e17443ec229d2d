#include "service/console.h"

#include <cstdarg>
#include <cstdio>
#include <cwchar>

namespace {

// False in a service: it has no standard output, so texts need not be formatted.
bool HasOutput() {
    return _fileno(stdout) >= 0;
}

}  // namespace

// Flushes at once: a console server is ended by force, and its output must not be lost.
void ConsolePrint(const wchar_t* format, ...) {
    if (!HasOutput()) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    vwprintf(format, arguments);
    va_end(arguments);
    fflush(stdout);
}

void ConsolePrintNarrow(const char* format, ...) {
    if (!HasOutput()) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    vprintf(format, arguments);
    va_end(arguments);
    fflush(stdout);
}
