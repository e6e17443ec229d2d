// Texts as the RPC functions take them.
#pragma once

#include <windows.h>
#include <rpc.h>

// `text` in the type of the RPC functions, which declare what they only read writable.
inline RPC_WSTR RpcText(const wchar_t* text) {
    return reinterpret_cast<RPC_WSTR>(const_cast<wchar_t*>(text));
}
