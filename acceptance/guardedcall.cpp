#include "acceptance/exchange.h"

#if defined(__aarch64__)

DWORD CallGuarded(void (*function)(void*), void* argument) {
    DWORD code = 0;
    __try {
        function(argument);
    } __except (code = GetExceptionCode(), EXCEPTION_EXECUTE_HANDLER) {
    }
    return code;
}

#else

// This compiler has no __try. The macros of its headers use the exception handler of Windows' own
// compilers; they need a function in the section .text.
#include <excpt.h>

static thread_local DWORD g_code;

extern "C" __attribute__((used)) int KeepCode(EXCEPTION_POINTERS* exception, void* /*frame*/) {
    g_code = exception->ExceptionRecord->ExceptionCode;
    return EXCEPTION_EXECUTE_HANDLER;
}

__attribute__((section(".text"))) DWORD CallGuarded(void (*function)(void*), void* argument) {
    g_code = 0;
    __try1(KeepCode);
    function(argument);
    __except1;
    return g_code;
}

#endif
