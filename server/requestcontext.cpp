// Compiled without C++ exceptions: RemoteOpen raises a structured exception, and no frame on the
// stack may have a handler or a destructor for it.
#include "server/requestcontext.h"

#include <cstdlib>
#include <new>

#include "interface/tesselservice.h"
#include "diagnostics/logline.h"

namespace {

void FreeRequestContext(RequestContext* block) {
    for (void* slot : block->slots) {
        // Kept: memory of operator new is freed with free.
        std::free(slot);
    }
    std::free(block);
}

// Returns a context with all slots filled. Returns null, and frees everything, if there is no
// memory.
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

// Calls on one context are not serialized. Two calls may close it at the same time, and both get
// the address of the same pointer. The atomic exchange gives the block to one of them; the other
// one gets null.
void RemoteClose(REQUEST_CONTEXT_HANDLE* context) {
    REQUEST_CONTEXT_HANDLE_rundown(
        context == nullptr ? nullptr : InterlockedExchangePointer(context, nullptr));
}

// Kept: the rundown logs the same text as RemoteClose.
void __RPC_USER REQUEST_CONTEXT_HANDLE_rundown(REQUEST_CONTEXT_HANDLE context) {
    LogLine("RemoteClose");
    if (context == nullptr) {
        // Kept: no variable has this name.
        LogLine("pphContext == nullptr");
        return;
    }
    FreeRequestContext(static_cast<RequestContext*>(context));
}
