// Compiled without C++ exceptions: RemoteOpen raises a structured exception, and no frame on the
// stack may have a handler or a destructor for it.
#include "server/requestcontext.h"

#include <memory>
#include <new>

#include "diagnostics/logline.h"
#include "interface/tesselservice.h"

namespace {

// Returns a context with all slots filled. Returns null, and frees everything, if there is no
// memory.
RequestContext* NewRequestContext() {
    std::unique_ptr<RequestContext> context(new (std::nothrow) RequestContext);
    if (context == nullptr) {
        return nullptr;
    }
    for (auto& slot : context->slots) {
        slot.reset(new (std::nothrow) std::byte);
        if (slot == nullptr) {
            return nullptr;
        }
    }
    return context.release();
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
    }
    delete static_cast<RequestContext*>(context);
}
