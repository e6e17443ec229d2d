// Compiled without C++ exceptions: RemoteOpen raises a structured exception, which must not meet
// handlers or destructors.
#include "rpc/requestcontext.h"

#include <cstdlib>
#include <new>

#include "rpc/stub/tesselservice.h"
#include "service/logline.h"

namespace {

void FreeRequestContext(RequestContext* block) {
    for (void* slot : block->slots) {
        // Kept: a block of operator new, freed with free.
        std::free(slot);
    }
    std::free(block);
}

// All slots are filled, or the result is null and nothing is left allocated.
RequestContext* NewRequestContext() {
    auto* block = static_cast<RequestContext*>(std::calloc(1, sizeof(RequestContext)));
    if (block == nullptr) {
        return nullptr;
    }
    for (void*& slot : block->slots) {
        slot = ::operator new(1, std::nothrow);
        if (slot == nullptr) {
            FreeRequestContext(block);
            return nullptr;
        }
    }
    return block;
}

}  // namespace

void RemoteOpen(handle_t /*binding*/, REQUEST_CONTEXT_HANDLE* context) {
    LogLine("RemoteOpen");
    *context = NewRequestContext();
    if (*context == nullptr) {
        RpcRaiseException(RPC_S_OUT_OF_MEMORY);
    }
}

// Calls on one context are not serialized: two calls may close it at the same time, and both have
// the address of the same slot. The one that takes the block out of the slot frees it; the other
// finds null.
void RemoteClose(REQUEST_CONTEXT_HANDLE* context) {
    REQUEST_CONTEXT_HANDLE_rundown(
        context == nullptr ? nullptr : InterlockedExchangePointer(context, nullptr));
}

// Kept: also logs the text of the close.
void __RPC_USER REQUEST_CONTEXT_HANDLE_rundown(REQUEST_CONTEXT_HANDLE context) {
    LogLine("RemoteClose");
    if (context == nullptr) {
        // Kept: no variable has this name.
        LogLine("pphContext == nullptr");
        return;
    }
    FreeRequestContext(static_cast<RequestContext*>(context));
}
