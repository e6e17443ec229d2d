// The stub descriptor for the callback. widl does not make one: it does not support callbacks.
#include "interface/stubs.h"

const MIDL_STUB_DESC kServerStubDescriptor = [] {
    MIDL_STUB_DESC descriptor = {};
    descriptor.RpcInterfaceInformation = ServiceRpcInterface_v1_0_s_ifspec;
    descriptor.pfnAllocate = MIDL_user_allocate;
    descriptor.pfnFree = MIDL_user_free;
    descriptor.pFormatTypes = kTypeFormatString;
    descriptor.fCheckBounds = 1;
    descriptor.Version = kStubVersion;
    descriptor.mFlags = kStubFlags;
    return descriptor;
}();
