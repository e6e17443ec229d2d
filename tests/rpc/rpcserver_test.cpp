#include "rpc/rpcserver.h"

#include <aclapi.h>
#include <gtest/gtest.h>
#include <sddl.h>
#include <securitybaseapi.h>

#include <map>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "rpc/stub/tesselservice.h"
#include "simulator/wine/capability.h"
#include "tests/support/interposed.h"
#include "tests/support/recordedlog.h"

// In the import library but not in every header set.
extern "C" RPC_STATUS RPC_ENTRY RpcServerRegisterIf3(RPC_IF_HANDLE,
                                                     UUID*,
                                                     RPC_MGR_EPV*,
                                                     unsigned,
                                                     unsigned,
                                                     unsigned,
                                                     RPC_IF_CALLBACK_FN*,
                                                     void*);

namespace {

using Lines = std::vector<std::string>;

constexpr wchar_t kPackage[] = L"BRAMBLEELECTRONICSCoLtd.TesselSettings_k2m8qz4tr7vnb";

// The calls of Windows that succeeded, in order, with their arguments.
Lines g_calls;
// What is shown instead of an address, and what is still to be freed.
std::map<const void*, std::string> g_names;
std::map<const void*, std::string> g_owned;
DWORD g_capabilityCount = 1;
RPC_BINDING_VECTOR g_vector = {};

std::string Narrow(std::wstring_view text) {
    return {text.begin(), text.end()};
}

template <typename T>
std::string Shown(T value) {
    if constexpr (std::is_same_v<T, LPCWSTR>) {
        return Narrow(value);
    } else if constexpr (std::is_same_v<T, RPC_WSTR>) {
        return value == nullptr ? "null" : Narrow(reinterpret_cast<const wchar_t*>(value));
    } else if constexpr (std::is_integral_v<T>) {
        return std::to_string(value);
    } else {
        const void* address = reinterpret_cast<const void*>(value);
        return address == nullptr ? "null" : g_names.contains(address) ? g_names[address] : "other";
    }
}

template <typename... Arguments>
void Note(std::string call, Arguments... arguments) {
    ((call += " " + Shown(arguments)), ...);
    g_calls.push_back(std::move(call));
}

BOOL Derive(LPCWSTR name, PSID** groups, DWORD* group_count, PSID** sids, DWORD* count) {
    Note("DeriveCapabilitySidsFromName", name);
    SimulatedDeriveCapabilitySidsFromName(name, groups, group_count, sids, count);
    // With room for a second one.
    static PSID capabilities[2];
    capabilities[0] = (*sids)[0];
    *sids = capabilities;
    g_owned = {{*groups, "groups"},
               {(*groups)[0], "group SID"},
               {*sids, "capabilities"},
               {(*sids)[0], "capability SID"}};
    *count = g_capabilityCount;
    return TRUE;
}

template <typename... Rest>
BOOL AllocateSid(SID_IDENTIFIER_AUTHORITY* authority, BYTE count, DWORD first, Rest... rest) {
    Note("AllocateAndInitializeSid", count, first);
    const auto real = reinterpret_cast<decltype(&AllocateAndInitializeSid)>(
        WindowsFunction("AllocateAndInitializeSid"));
    const BOOL result = real(authority, count, first, rest...);
    g_owned[*std::get<sizeof...(Rest) - 1>(std::tuple(rest...))] = "everyone";
    return result;
}

DWORD SetEntries(ULONG count, EXPLICIT_ACCESS_W* entries, PACL old, PACL* acl) {
    Note("SetEntriesInAclW", old);
    for (ULONG i = 0; i < count; ++i) {
        Note(" entry", entries[i].grfAccessPermissions, static_cast<int>(entries[i].grfAccessMode),
             entries[i].grfInheritance, static_cast<int>(entries[i].Trustee.TrusteeForm),
             static_cast<int>(entries[i].Trustee.TrusteeType));
    }
    const auto real =
        reinterpret_cast<decltype(&SetEntriesInAclW)>(WindowsFunction("SetEntriesInAclW"));
    const DWORD status = real(count, entries, old, acl);
    g_owned[*acl] = "list";
    return status;
}

BOOL InitializeDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision) {
    Note("InitializeSecurityDescriptor", revision);
    g_names[descriptor] = "descriptor";
    static_cast<SECURITY_DESCRIPTOR*>(descriptor)->Revision = SECURITY_DESCRIPTOR_REVISION;
    return TRUE;
}

BOOL SetDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL acl, BOOL defaulted) {
    auto* block = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
    block->Dacl = acl;
    block->Control = SE_DACL_PRESENT;
    wchar_t* text = nullptr;
    ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1,
                                                         DACL_SECURITY_INFORMATION, &text, nullptr);
    Note("SetSecurityDescriptorDacl", present, static_cast<LPCWSTR>(text), defaulted);
    return TRUE;
}

RPC_STATUS InqBindings(RPC_BINDING_VECTOR** vector) {
    Note("RpcServerInqBindings");
    *vector = &g_vector;
    return RPC_S_OK;
}

RPC_STATUS FreeVector(RPC_BINDING_VECTOR** vector) {
    Note("RpcBindingVectorFree", *vector);
    *vector = nullptr;
    return RPC_S_OK;
}

// Of the test program's own memory nothing is noted.
void Free(const char* function, const void* memory) {
    if (const auto owned = g_owned.extract(memory)) {
        Note(std::string(function) + " " + owned.mapped());
    }
}

}  // namespace

INTERPOSE_BY(DeriveCapabilitySidsFromName, kNone, Derive(arguments...));
INTERPOSE_BY(AllocateAndInitializeSid, kNone, AllocateSid(arguments...));
INTERPOSE_BY(SetEntriesInAclW, kNone, SetEntries(arguments...));
INTERPOSE_BY(InitializeSecurityDescriptor, kNone, InitializeDescriptor(arguments...));
INTERPOSE_BY(SetSecurityDescriptorDacl, kNone, SetDacl(arguments...));
INTERPOSE_BY(RpcServerUseProtseqEpW, kNone, (Note("RpcServerUseProtseqEpW", arguments...), 0L));
INTERPOSE_BY(RpcServerRegisterIf3, kNone, (Note("RpcServerRegisterIf3", arguments...), 0L));
INTERPOSE_BY(RpcServerInqBindings, kNone, InqBindings(arguments...));
INTERPOSE_BY(RpcEpRegisterW, kNone, (Note("RpcEpRegisterW", arguments...), 0L));
INTERPOSE_BY(RpcServerListen, kNone, (Note("RpcServerListen", arguments...), 0L));
INTERPOSE_BY(RpcServerUnregisterIf, kNone, (Note("RpcServerUnregisterIf", arguments...), 0L));
INTERPOSE_BY(RpcEpUnregister, kNone, (Note("RpcEpUnregister", arguments...), 1726L));
INTERPOSE_BY(RpcBindingVectorFree, kNone, FreeVector(arguments...));
INTERPOSE_BY(LocalFree, kNone, (Free("LocalFree", arguments...), HLOCAL{}));
INTERPOSE_BY(FreeSid, kNone, (Free("FreeSid", arguments...), PVOID{}));

namespace {

// A step of the start: its call, and how many releases more are due at the end once it is done.
struct Step {
    const char* function;
    Lines noted;
    int releases = 0;
    bool returns_status = true;
};

// Written down apart from the product, as is the package: what clients rely on.
std::vector<Step> Steps() {
    const std::string capability = Narrow(DeriveCapabilitySidNames(kPackage).capability);
    return {
        {"DeriveCapabilitySidsFromName",
         {"DeriveCapabilitySidsFromName " + Narrow(kPackage)},
         4,
         false},
        {"AllocateAndInitializeSid", {"AllocateAndInitializeSid 1 0"}, 1, false},
        {"SetEntriesInAclW",
         {"SetEntriesInAclW null", " entry 268435456 2 0 0 5", " entry 268435456 2 0 0 0"},
         1},
        {"InitializeSecurityDescriptor", {"InitializeSecurityDescriptor 1"}, 0, false},
        {"SetSecurityDescriptorDacl",
         {"SetSecurityDescriptorDacl 1 D:(A;;GA;;;WD)(A;;GA;;;" + capability + ") 0"},
         0,
         false},
        {"RpcServerUseProtseqEpW",
         {"RpcServerUseProtseqEpW ncalrpc 10 TesselRpcEndpoint descriptor"}},
        {"RpcServerRegisterIf3",
         {"RpcServerRegisterIf3 interface null null 33 1234 0 null descriptor"}},
        {"RpcServerInqBindings", {"RpcServerInqBindings"}},
        {"RpcEpRegisterW", {"RpcEpRegisterW interface bindings null null"}},
        {"RpcServerListen", {"RpcServerListen 1 1234 0"}},
    };
}

const Lines kReleases = {"LocalFree group SID",    "LocalFree groups", "LocalFree capability SID",
                         "LocalFree capabilities", "FreeSid everyone", "LocalFree list"};

// What is noted when only the first `count` steps succeed.
Lines NotedAfter(std::size_t count) {
    Lines noted;
    int releases = 0;
    const std::vector<Step> steps = Steps();
    for (std::size_t i = 0; i < count; ++i) {
        noted.insert(noted.end(), steps[i].noted.begin(), steps[i].noted.end());
        releases += steps[i].releases;
    }
    if (count < steps.size() && steps[count].function == std::string("RpcEpRegisterW")) {
        noted.emplace_back("RpcBindingVectorFree bindings");
    }
    noted.insert(noted.end(), kReleases.begin(), kReleases.begin() + releases);
    return noted;
}

class RpcServerTest : public testing::Test {
 protected:
    void SetUp() override {
        g_watch = {true, {}};
        g_capabilityCount = 1;
        RpcServerDisconnect();
        g_names = {{ServiceRpcInterface_v1_0_s_ifspec, "interface"}, {&g_vector, "bindings"}};
        Forget();
    }

    static void Forget() {
        g_calls.clear();
        ClearLoggedLines();
    }
};

TEST_F(RpcServerTest, StartTakesEveryStepInOrderUnderOneDescriptor) {
    EXPECT_EQ(RpcServerStart(), RPC_S_OK);
    EXPECT_EQ(g_calls, NotedAfter(Steps().size()));
    EXPECT_EQ(LoggedLines(), Lines{"RpcServerStart"});
}

TEST_F(RpcServerTest, FirstFailingStepIsTheResultAndWhatWasBuiltIsReleased) {
    const std::vector<Step> steps = Steps();
    for (std::size_t i = 0; i < steps.size(); ++i) {
        SCOPED_TRACE(steps[i].function);
        SetUp();
        const long failure = 1000 + static_cast<long>(i);
        g_watch.fault = {steps[i].function, 1, steps[i].returns_status ? failure : 0,
                         static_cast<DWORD>(failure)};
        EXPECT_EQ(RpcServerStart(), failure);
        EXPECT_EQ(g_calls, NotedAfter(i));
    }
}

TEST_F(RpcServerTest, AnotherListenerOfTheProcessIsSuccess) {
    g_watch.fault = {"RpcServerListen", 1, RPC_S_ALREADY_LISTENING};
    EXPECT_EQ(RpcServerStart(), RPC_S_OK);
}

TEST_F(RpcServerTest, AnyCountOfCapabilitySidsButOneIsRefusedBeforeRpcIsTouched) {
    g_capabilityCount = 2;
    EXPECT_EQ(RpcServerStart(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(g_calls, NotedAfter(1));

    Forget();
    g_capabilityCount = 0;
    EXPECT_EQ(RpcServerStart(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(g_calls,
              (Lines{"DeriveCapabilitySidsFromName " + Narrow(kPackage), "LocalFree group SID",
                     "LocalFree groups", "LocalFree capabilities"}));
}

TEST_F(RpcServerTest, DisconnectLogsItsStepsAndFreesTheBindingsOnce) {
    RpcServerStart();
    Forget();
    RpcServerDisconnect();
    EXPECT_EQ(g_calls,
              (Lines{"RpcServerUnregisterIf interface null 0",
                     "RpcEpUnregister interface bindings null", "RpcBindingVectorFree bindings"}));
    Lines logged = {"RpcServerDisconnect", "Rpc Server Unregister Success", "RpcEpUnregister",
                    "RpcServerDisconnect end"};
    EXPECT_EQ(LoggedLines(), logged);

    Forget();
    g_watch.fault = {"RpcServerUnregisterIf", 1, RPC_S_UNKNOWN_IF};
    RpcServerDisconnect();
    EXPECT_EQ(g_calls, Lines{}) << "nothing is registered that could be unregistered";
    logged[1] = "Rpc Server Unregister error";
    EXPECT_EQ(LoggedLines(), logged);
}

}  // namespace
