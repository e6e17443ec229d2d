// The memory functions that the RPC runtime calls for the arguments of a call.
#include <windows.h>
#include <rpc.h>
#include <rpcndr.h>

#include <cstdlib>

void* __RPC_USER MIDL_user_allocate(std::size_t size) {
    return std::malloc(size);
}

void __RPC_USER MIDL_user_free(void* memory) {
    std::free(memory);
}
