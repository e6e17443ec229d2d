#include "diagnostics/console.h"

#include <cstdarg>
#include <cstdio>
#include <cwchar>

namespace {

// Returns false in a service, which has no standard output. Then texts are not formatted.
bool HasOutput() {
    return _fileno(stdout) >= 0;
}

}  // namespace

// Flushes each text: a console server is ended by force, and its output must not be lost.
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
