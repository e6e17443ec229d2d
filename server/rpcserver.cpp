#include "server/rpcserver.h"

#include <aclapi.h>
#include <securitybaseapi.h>

#include <atomic>
#include <iterator>

#include "diagnostics/logline.h"
#include "interface/endpoint.h"
#include "interface/tesselservice.h"
#include "server/registerif3.h"
#include "win32/rpctext.h"
#include "win32/uniquehandle.h"

namespace {

constexpr unsigned kProtocolCalls = 10;
constexpr unsigned kMinimumCallThreads = 1;
// Kept: 0, without effect on local RPC.
constexpr unsigned kMaximumRequestSize = 0;

// The bindings of the registered endpoint, from RpcServerStart to RpcServerDisconnect. Atomic
// because a stop may come during the start.
std::atomic<RPC_BINDING_VECTOR*> g_bindings = nullptr;

EXPLICIT_ACCESS_W FullAccess(PSID sid, TRUSTEE_TYPE type) {
    EXPLICIT_ACCESS_W access = {};
    access.grfAccessPermissions = GENERIC_ALL;
    access.grfAccessMode = SET_ACCESS;
    access.grfInheritance = NO_INHERITANCE;
    access.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    access.Trustee.TrusteeType = type;
    access.Trustee.ptstrName = static_cast<wchar_t*>(sid);
    return access;
}

// Opens the endpoint and registers the interface, both with `descriptor`, and listens.
RPC_STATUS Serve(SECURITY_DESCRIPTOR* descriptor) {
    RPC_STATUS status = RpcServerUseProtseqEpW(RpcText(kProtocolSequence), kProtocolCalls,
                                               RpcText(kEndpoint), descriptor);
    if (status != RPC_S_OK) {
        return status;
    }
    status = RpcServerRegisterIf3(ServiceRpcInterface_v1_0_s_ifspec, nullptr, nullptr,
                                  RPC_IF_AUTOLISTEN | RPC_IF_ALLOW_LOCAL_ONLY, kConcurrentCalls,
                                  kMaximumRequestSize, nullptr, descriptor);
    if (status != RPC_S_OK) {
        return status;
    }
    RPC_BINDING_VECTOR* bindings = nullptr;
    status = RpcServerInqBindings(&bindings);
    if (status != RPC_S_OK) {
        return status;
    }
    // Kept: the endpoint has a fixed name, so clients do not need the endpoint mapper.
    status = RpcEpRegisterW(ServiceRpcInterface_v1_0_s_ifspec, bindings, nullptr, nullptr);
    if (status != RPC_S_OK) {
        RpcBindingVectorFree(&bindings);
        return status;
    }
    g_bindings = bindings;
    // Kept: an auto-listen interface does not need this call. It blocks.
    status = RpcServerListen(kMinimumCallThreads, kConcurrentCalls, FALSE);
    return status == RPC_S_ALREADY_LISTENING ? RPC_S_OK : status;
}

}  // namespace

RPC_STATUS RpcServerStart() {
    LogLine("RpcServerStart");

    // Released in reverse order: group SIDs, capability SIDs, SID of Everyone, access list.
    LocalAcl acl;
    AllocatedSid everyone;
    LocalSidArray capabilities;
    LocalSidArray groups;

    // Kept: the name of the capability is the name of the package.
    if (!DeriveCapabilitySidsFromName(kSettingsAppPackage, &groups.sids, &groups.count,
                                      &capabilities.sids, &capabilities.count)) {
        return static_cast<RPC_STATUS>(GetLastError());
    }
    if (capabilities.count != 1) {
        return ERROR_INVALID_PARAMETER;
    }

    SID_IDENTIFIER_AUTHORITY world = SECURITY_WORLD_SID_AUTHORITY;
    if (!AllocateAndInitializeSid(&world, 1, SECURITY_WORLD_RID, 0, 0, 0, 0, 0, 0, 0,
                                  everyone.put())) {
        return static_cast<RPC_STATUS>(GetLastError());
    }

    // Kept: full access for Everyone. Only the second entry admits a sandboxed app.
    EXPLICIT_ACCESS_W entries[] = {
        FullAccess(everyone.get(), TRUSTEE_IS_WELL_KNOWN_GROUP),
        FullAccess(capabilities.sids[0], TRUSTEE_IS_UNKNOWN),
    };
    const DWORD error = SetEntriesInAclW(std::size(entries), entries, nullptr, acl.put());
    if (error != ERROR_SUCCESS) {
        return static_cast<RPC_STATUS>(error);
    }

    SECURITY_DESCRIPTOR descriptor = {};
    if (!InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) ||
        !SetSecurityDescriptorDacl(&descriptor, TRUE, acl.get(), FALSE)) {
        return static_cast<RPC_STATUS>(GetLastError());
    }
    return Serve(&descriptor);
}

void RpcServerDisconnect() {
    LogLine("RpcServerDisconnect");
    // Kept: the server does not stop listening.
    if (RpcServerUnregisterIf(ServiceRpcInterface_v1_0_s_ifspec, nullptr, FALSE) == RPC_S_OK) {
        LogLine("Rpc Server Unregister Success");
    } else {
        LogLine("Rpc Server Unregister error");
    }
    // Without bindings the endpoint is not registered. Some runtimes do not accept null here.
    RPC_BINDING_VECTOR* bindings = g_bindings.exchange(nullptr);
    if (bindings != nullptr) {
        RpcEpUnregister(ServiceRpcInterface_v1_0_s_ifspec, bindings, nullptr);
    }
    // Kept: logged after a failure too, and if nothing was registered.
    LogLine("RpcEpUnregister");
    if (bindings != nullptr) {
        RpcBindingVectorFree(&bindings);
    }
    LogLine("RpcServerDisconnect end");
}
