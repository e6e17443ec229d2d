// Calls that may raise a structured exception, as every call to the service does when it fails.
#pragma once

#include <windows.h>

extern "C" {
// Calls function(argument). Gives 0, or the code of the structured exception that it raised: an RPC
// or Win32 status, or what a crash gives. The frames down to here are unwound; destructors of C++
// do not run.
DWORD CallGuarded(void (*function)(void*), void* argument);
}

// The same for a function object without arguments.
template <typename Function>
DWORD StatusOf(Function function) {
    return CallGuarded([](void* object) { (*static_cast<Function*>(object))(); }, &function);
}
