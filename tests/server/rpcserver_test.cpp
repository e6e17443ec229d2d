#include "server/rpcserver.h"

#include <aclapi.h>
#include <gtest/gtest.h>
#include <sddl.h>
#include <securitybaseapi.h>

#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "interface/tesselservice.h"
#include "server/registerif3.h"
#include "tests/support/interposed.h"

namespace {

using Lines = std::vector<std::string>;

// The successful calls in order, with their arguments. An address is shown by a name, a security
// descriptor by its entries.
Lines g_calls;
DWORD g_capabilityCount = 1;
RPC_BINDING_VECTOR g_vector = {};
std::function<void()> g_duringListen = [] {};

std::string Narrow(std::wstring_view text) {
    return {text.begin(), text.end()};
}

std::string Entries(void* descriptor) {
    wchar_t* text = nullptr;
    ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1,
                                                         DACL_SECURITY_INFORMATION, &text, nullptr);
    return text != nullptr ? Narrow(text) : "no list";
}

template <typename T>
std::string Shown(T value) {
    if constexpr (std::is_integral_v<T>) {
        return std::to_string(value);
    } else if (value == nullptr) {
        return "null";
    } else if constexpr (std::is_same_v<T, RPC_WSTR>) {
        return Narrow(reinterpret_cast<const wchar_t*>(value));
    } else if constexpr (std::is_same_v<T, RPC_BINDING_VECTOR*>) {
        return value == &g_vector ? "bindings" : "other";
    } else if constexpr (std::is_same_v<T, void*>) {
        return value == ServiceRpcInterface_v1_0_s_ifspec ? "interface" : Entries(value);
    } else {
        return "other";
    }
}

template <typename... Arguments>
RPC_STATUS Note(std::string call, Arguments... arguments) {
    ((call += " " + Shown(arguments)), ...);
    g_calls.push_back(std::move(call));
    return RPC_S_OK;
}

// Returns one group SID and g_capabilityCount capability SIDs, which the caller must free. Only the
// first capability is that of the app.
BOOL Derive(LPCWSTR name, PSID** groups, DWORD* group_count, PSID** sids, DWORD* count) {
    g_calls.push_back(Narrow(name));
    static PSID group[1];
    static PSID capabilities[2];
    ConvertStringSidToSidW(L"S-1-15-3-1", &capabilities[0]);
    ConvertStringSidToSidW(L"S-1-5-32-1", &group[0]);
    capabilities[1] = group[0];
    *groups = group;
    *group_count = 1;
    *sids = capabilities;
    *count = g_capabilityCount;
    g_watch.held += 3 + static_cast<int>(g_capabilityCount);
    return TRUE;
}

RPC_STATUS InqBindings(RPC_BINDING_VECTOR** vector) {
    *vector = &g_vector;
    return Note("RpcServerInqBindings");
}

RPC_STATUS Listen(unsigned minimum_threads, unsigned calls, unsigned dont_wait) {
    Note("RpcServerListen", minimum_threads, calls, dont_wait);
    g_duringListen();
    return RPC_S_OK;
}

}  // namespace

INTERPOSE_BY(DeriveCapabilitySidsFromName, kNone, Derive(arguments...));
INTERPOSE(AllocateAndInitializeSid, kOpensHandle);
INTERPOSE(SetEntriesInAclW, kOpensOnZero);
INTERPOSE(InitializeSecurityDescriptor, kNone);
INTERPOSE(SetSecurityDescriptorDacl, kNone);
INTERPOSE_BY(RpcServerUseProtseqEpW, kNone, Note("RpcServerUseProtseqEpW", arguments...));
INTERPOSE_BY(RpcServerRegisterIf3, kNone, Note("RpcServerRegisterIf3", arguments...));
INTERPOSE_BY(RpcServerInqBindings, kNone, InqBindings(arguments...));
INTERPOSE_BY(RpcEpRegisterW, kNone, Note("RpcEpRegisterW", arguments...));
INTERPOSE_BY(RpcServerListen, kNone, Listen(arguments...));
INTERPOSE_BY(RpcServerUnregisterIf, kNone, Note("RpcServerUnregisterIf", arguments...));
INTERPOSE_BY(RpcEpUnregister, kNone, (Note("RpcEpUnregister", arguments...), 1726L));
INTERPOSE_BY(RpcBindingVectorFree, kNone, Note("RpcBindingVectorFree", *arguments...));
INTERPOSE_GIVES(LocalFree, kCloses, 0);
INTERPOSE_GIVES(FreeSid, kCloses, 0);

namespace {

// A step of the start: its function, and its text in g_calls.
struct Step {
    const char* function;
    std::string noted;
    bool returns_status = true;
};

constexpr char kPackage[] = "BRAMBLEELECTRONICSCoLtd.TesselSettings_k2m8qz4tr7vnb";
#define ENTRIES " D:(A;;GA;;;WD)(A;;GA;;;S-1-15-3-1)"

// Clients rely on these values, so they are not taken from the product.
const Step kSteps[] = {
    {"DeriveCapabilitySidsFromName", kPackage, false},
    {"AllocateAndInitializeSid", "", false},
    {"SetEntriesInAclW", ""},
    {"InitializeSecurityDescriptor", "", false},
    {"SetSecurityDescriptorDacl", "", false},
    {"RpcServerUseProtseqEpW", "RpcServerUseProtseqEpW ncalrpc 10 TesselRpcEndpoint" ENTRIES},
    {"RpcServerRegisterIf3", "RpcServerRegisterIf3 interface null null 33 1234 0 null" ENTRIES},
    {"RpcServerInqBindings", "RpcServerInqBindings"},
    {"RpcEpRegisterW", "RpcEpRegisterW interface bindings null null"},
    {"RpcServerListen", "RpcServerListen 1 1234 0"},
};

// Starts the server again and expects that it frees what it was given.
RPC_STATUS Start(const Fault& fault, DWORD capability_count = 1) {
    RpcServerDisconnect();
    g_calls.clear();
    g_capabilityCount = capability_count;
    g_watch = {true, fault};
    const RPC_STATUS status = RpcServerStart();
    EXPECT_EQ(g_watch.held, 0) << "not freed";
    return status;
}

TEST(RpcServerTest, StartTakesEveryStepInOrderUntilOneFails) {
    Lines noted;
    RPC_STATUS failure = 1000;
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.function);
        ++failure;
        const Fault fault = {step.function, 1, step.returns_status ? failure : 0,
                             static_cast<DWORD>(failure)};
        EXPECT_EQ(Start(fault), failure);
        Lines due = noted;
        if (step.function == std::string("RpcEpRegisterW")) {
            due.emplace_back("RpcBindingVectorFree bindings");
        }
        EXPECT_EQ(g_calls, due);
        if (!step.noted.empty()) {
            noted.push_back(step.noted);
        }
    }
    EXPECT_EQ(Start({}), RPC_S_OK);
    EXPECT_EQ(g_calls, noted);
    EXPECT_EQ(Start({"RpcServerListen", 1, RPC_S_ALREADY_LISTENING}), RPC_S_OK);

    for (const DWORD count : {0, 2}) {
        EXPECT_EQ(Start({}, count), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(g_calls, Lines{kPackage});
    }
}

// The lines of the log are compared in the end-to-end test.
TEST(RpcServerTest, DisconnectFreesTheBindingsOnce) {
    // A stop comes while the thread of the start listens.
    g_duringListen = [] {
        g_calls.clear();
        RpcServerDisconnect();
    };
    Start({});
    g_duringListen = [] {};
    EXPECT_EQ(g_calls,
              (Lines{"RpcServerUnregisterIf interface null 0",
                     "RpcEpUnregister interface bindings null", "RpcBindingVectorFree bindings"}));
    g_calls.clear();
    RpcServerDisconnect();
    EXPECT_EQ(g_calls, Lines{"RpcServerUnregisterIf interface null 0"}) << "nothing is registered";
}

}  // namespace
