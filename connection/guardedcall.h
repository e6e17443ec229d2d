// Calls to the service that fail with a status instead of an exception.
#pragma once

#include <windows.h>

#include <type_traits>

// Calls function(argument). Returns 0, or the code of the structured exception that ended the call:
// the status of RPC or Windows for a call that failed, or any code that the other side has raised.
// RpcExceptionFilter decides: faults, such as an access violation, are not caught. The exception
// runs no destructors, so nothing that the function calls may rely on them.
DWORD CallGuarded(void (*function)(void*), void* argument);

// The same for a function object without arguments.
template <typename Function>
DWORD StatusOf(Function function) {
    static_assert(std::is_trivially_destructible_v<Function>);
    return CallGuarded([](void* object) { (*static_cast<Function*>(object))(); }, &function);
}
