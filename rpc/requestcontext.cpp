#include "rpc/requestcontext.h"

#include <cstdlib>
#include <new>

#include "rpc/requestlog.h"
#include "rpc/stub/tesselservice.h"

namespace {

void FreeRequestContext(void* context) {
    auto* block = static_cast<RequestContext*>(context);
    for (void* slot : block->slots) {
        // Kept: a block of operator new, freed with free.
        std::free(slot);
    }
    std::free(block);
}

// All slots or nothing: gives null when memory runs out half-way.
void* NewRequestContext() {
    auto* block = static_cast<RequestContext*>(std::calloc(1, sizeof(RequestContext)));
    if (block == nullptr) {
        return nullptr;
    }
    try {
        for (void*& slot : block->slots) {
            slot = ::operator new(1);
        }
    } catch (const std::bad_alloc&) {
        FreeRequestContext(block);
        return nullptr;
    }
    return block;
}

}  // namespace

void RemoteOpen(handle_t /*binding*/, REQUEST_CONTEXT_HANDLE* context) {
    LogLine("RemoteOpen");
    *context = NewRequestContext();
}

void RemoteClose(REQUEST_CONTEXT_HANDLE* context) {
    REQUEST_CONTEXT_HANDLE_rundown(*context);
    *context = nullptr;
}

// Kept: logs the text of the close too. To whoever reads the log, both end a client's context.
void __RPC_USER REQUEST_CONTEXT_HANDLE_rundown(REQUEST_CONTEXT_HANDLE context) {
    LogLine("RemoteClose");
    if (context == nullptr) {
        // Kept: no variable has this name.
        LogLine("pphContext == nullptr");
        return;
    }
    FreeRequestContext(context);
}
