#include "service/console.h"

#include <cstdarg>
#include <cstdio>
#include <cwchar>

namespace {

// False in a service, which has nowhere to print: its text need not be made.
bool HasOutput() {
    return _fileno(stdout) >= 0;
}

}  // namespace

// Flushed at once: in console mode the process is killed in the end, and what it printed must be
// seen.
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
