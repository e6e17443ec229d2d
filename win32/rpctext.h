// Converts texts for RPC functions.
#pragma once

#include <windows.h>
#include <rpc.h>

// Returns `text` in the type of the RPC functions, which only read it but lack const.
inline RPC_WSTR RpcText(const wchar_t* text) {
    return reinterpret_cast<RPC_WSTR>(const_cast<wchar_t*>(text));
}
