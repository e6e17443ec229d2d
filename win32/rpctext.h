// Texts for the RPC functions.
#pragma once

#include <windows.h>
#include <rpc.h>

// `text` in the type of the RPC functions. They only read it, but their declarations lack const.
inline RPC_WSTR RpcText(const wchar_t* text) {
    return reinterpret_cast<RPC_WSTR>(const_cast<wchar_t*>(text));
}
