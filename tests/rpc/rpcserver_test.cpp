#include "rpc/rpcserver.h"

#include <aclapi.h>
#include <gtest/gtest.h>
#include <sddl.h>
#include <securitybaseapi.h>

#include <string>
#include <vector>

#include "rpc/serverstub.h"
#include "simulator/wine/capability.h"
#include "tests/support/recordedlog.h"
#include "tests/support/replacedimport.h"

namespace {

constexpr wchar_t kPackage[] = L"BRAMBLEELECTRONICSCoLtd.TesselSettings_k2m8qz4tr7vnb";

// The Windows functions called, in order, and the one that is to fail with a status.
std::vector<std::string> g_calls;
std::string g_failing;
DWORD g_failure = 0;
DWORD g_capabilityCount = 1;
std::wstring g_dacl;

RPC_BINDING_VECTOR g_vector = {};
SECURITY_DESCRIPTOR* g_descriptor = nullptr;

bool Fails(const char* function) {
    g_calls.emplace_back(function);
    return g_failing == function;
}

// For functions that return a status, and for those that return a truth value and set the last
// error.
DWORD Status(const char* function) {
    return Fails(function) ? g_failure : 0;
}

BOOL Truth(const char* function) {
    if (Fails(function)) {
        SetLastError(g_failure);
        return FALSE;
    }
    return TRUE;
}

// What is freed, by name.
std::vector<std::pair<const void*, std::string>> g_owned;

void Own(const void* memory, std::string name) {
    g_owned.emplace_back(memory, std::move(name));
}

void Freed(const char* function, const void* memory) {
    for (auto& [owned, name] : g_owned) {
        if (owned == memory && !name.empty()) {
            g_calls.push_back(std::string(function) + " " + name);
            name.clear();
            return;
        }
    }
}

BOOL WINAPI FakeDerive(LPCWSTR name, PSID** groups, DWORD* group_count, PSID** sids, DWORD* count) {
    EXPECT_STREQ(name, kPackage);
    if (!Truth("DeriveCapabilitySidsFromName")) {
        return FALSE;
    }
    SimulatedDeriveCapabilitySidsFromName(name, groups, group_count, sids, count);
    Own(*groups, "groups");
    Own((*groups)[0], "group SID");
    Own(*sids, "capabilities");
    Own((*sids)[0], "capability SID");
    *count = g_capabilityCount;
    return TRUE;
}

BOOL WINAPI FakeAllocateSid(PSID_IDENTIFIER_AUTHORITY authority,
                            BYTE count,
                            DWORD first,
                            DWORD,
                            DWORD,
                            DWORD,
                            DWORD,
                            DWORD,
                            DWORD,
                            DWORD,
                            PSID* sid) {
    EXPECT_EQ(count, 1);
    EXPECT_EQ(first, 0U);
    EXPECT_EQ(authority->Value[5], 1);
    if (!Truth("AllocateAndInitializeSid")) {
        return FALSE;
    }
    ConvertStringSidToSidW(L"S-1-1-0", sid);
    Own(*sid, "everyone");
    return TRUE;
}

DWORD WINAPI FakeSetEntries(ULONG count, PEXPLICIT_ACCESS_W entries, PACL old, PACL* acl) {
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(old, nullptr);
    EXPECT_EQ(entries[0].Trustee.TrusteeType, TRUSTEE_IS_WELL_KNOWN_GROUP);
    EXPECT_EQ(entries[1].Trustee.TrusteeType, TRUSTEE_IS_UNKNOWN);
    for (ULONG i = 0; i < count; ++i) {
        EXPECT_EQ(entries[i].grfAccessPermissions, 0x10000000U);
        EXPECT_EQ(entries[i].grfAccessMode, SET_ACCESS);
        EXPECT_EQ(entries[i].grfInheritance, 0U);
        EXPECT_EQ(entries[i].Trustee.TrusteeForm, TRUSTEE_IS_SID);
    }
    if (const DWORD status = Status("SetEntriesInAclW")) {
        return status;
    }
    const auto real = reinterpret_cast<decltype(&FakeSetEntries)>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"advapi32"), "SetEntriesInAclW")));
    const DWORD status = real(count, entries, old, acl);
    Own(*acl, "list");
    return status;
}

BOOL WINAPI FakeInitializeDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision) {
    EXPECT_EQ(revision, 1U);
    static_cast<SECURITY_DESCRIPTOR*>(descriptor)->Revision = SECURITY_DESCRIPTOR_REVISION;
    return Truth("InitializeSecurityDescriptor");
}

BOOL WINAPI FakeSetDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL acl, BOOL defaulted) {
    EXPECT_TRUE(present);
    EXPECT_FALSE(defaulted);
    auto* block = static_cast<SECURITY_DESCRIPTOR*>(descriptor);
    block->Dacl = acl;
    block->Control = SE_DACL_PRESENT;
    wchar_t* text = nullptr;
    if (ConvertSecurityDescriptorToStringSecurityDescriptorW(
            descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr)) {
        g_dacl = text;
    }
    return Truth("SetSecurityDescriptorDacl");
}

RPC_STATUS RPC_ENTRY FakeUseProtseq(RPC_WSTR protocol,
                                    unsigned calls,
                                    RPC_WSTR endpoint,
                                    void* sd) {
    EXPECT_STREQ(reinterpret_cast<wchar_t*>(protocol), L"ncalrpc");
    EXPECT_STREQ(reinterpret_cast<wchar_t*>(endpoint), L"TesselRpcEndpoint");
    EXPECT_EQ(calls, 10U);
    g_descriptor = static_cast<SECURITY_DESCRIPTOR*>(sd);
    return static_cast<RPC_STATUS>(Status("RpcServerUseProtseqEpW"));
}

RPC_STATUS RPC_ENTRY FakeRegisterIf3(RPC_IF_HANDLE handle,
                                     UUID* type,
                                     RPC_MGR_EPV* manager,
                                     unsigned flags,
                                     unsigned calls,
                                     unsigned size,
                                     RPC_IF_CALLBACK_FN* callback,
                                     void* sd) {
    EXPECT_EQ(handle, &kServiceRpcServerInterface);
    EXPECT_EQ(type, nullptr);
    EXPECT_EQ(manager, nullptr);
    EXPECT_EQ(flags, 0x21U);
    EXPECT_EQ(calls, 1234U);
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(callback, nullptr);
    EXPECT_EQ(sd, g_descriptor);
    return static_cast<RPC_STATUS>(Status("RpcServerRegisterIf3"));
}

RPC_STATUS RPC_ENTRY FakeInqBindings(RPC_BINDING_VECTOR** vector) {
    const DWORD status = Status("RpcServerInqBindings");
    *vector = status == 0 ? &g_vector : nullptr;
    return static_cast<RPC_STATUS>(status);
}

RPC_STATUS RPC_ENTRY FakeEpRegister(RPC_IF_HANDLE handle,
                                    RPC_BINDING_VECTOR* vector,
                                    UUID_VECTOR* objects,
                                    RPC_WSTR annotation) {
    EXPECT_EQ(handle, &kServiceRpcServerInterface);
    EXPECT_EQ(vector, &g_vector);
    EXPECT_EQ(objects, nullptr);
    EXPECT_EQ(annotation, nullptr);
    return static_cast<RPC_STATUS>(Status("RpcEpRegisterW"));
}

RPC_STATUS RPC_ENTRY FakeListen(unsigned threads, unsigned calls, unsigned dont_wait) {
    EXPECT_EQ(threads, 1U);
    EXPECT_EQ(calls, 1234U);
    EXPECT_EQ(dont_wait, 0U);
    return static_cast<RPC_STATUS>(Status("RpcServerListen"));
}

RPC_STATUS RPC_ENTRY FakeUnregisterIf(RPC_IF_HANDLE handle, UUID* type, unsigned wait) {
    EXPECT_EQ(handle, &kServiceRpcServerInterface);
    EXPECT_EQ(type, nullptr);
    EXPECT_EQ(wait, 0U);
    return static_cast<RPC_STATUS>(Status("RpcServerUnregisterIf"));
}

RPC_STATUS RPC_ENTRY FakeEpUnregister(RPC_IF_HANDLE, RPC_BINDING_VECTOR* vector, UUID_VECTOR*) {
    g_calls.emplace_back(vector == &g_vector ? "RpcEpUnregister held" : "RpcEpUnregister none");
    return RPC_S_CALL_FAILED;
}

RPC_STATUS RPC_ENTRY FakeVectorFree(RPC_BINDING_VECTOR** vector) {
    g_calls.emplace_back("RpcBindingVectorFree");
    *vector = nullptr;
    return RPC_S_OK;
}

HLOCAL WINAPI RecordedLocalFree(HLOCAL memory) {
    Freed("LocalFree", memory);
    return nullptr;
}

PVOID WINAPI RecordedFreeSid(PSID sid) {
    Freed("FreeSid", sid);
    return nullptr;
}

}  // namespace

REPLACE_IMPORT(DeriveCapabilitySidsFromName, FakeDerive);
REPLACE_IMPORT(AllocateAndInitializeSid, FakeAllocateSid);
REPLACE_IMPORT(SetEntriesInAclW, FakeSetEntries);
REPLACE_IMPORT(InitializeSecurityDescriptor, FakeInitializeDescriptor);
REPLACE_IMPORT(SetSecurityDescriptorDacl, FakeSetDacl);
REPLACE_IMPORT(RpcServerUseProtseqEpW, FakeUseProtseq);
REPLACE_IMPORT(RpcServerRegisterIf3, FakeRegisterIf3);
REPLACE_IMPORT(RpcServerInqBindings, FakeInqBindings);
REPLACE_IMPORT(RpcEpRegisterW, FakeEpRegister);
REPLACE_IMPORT(RpcServerListen, FakeListen);
REPLACE_IMPORT(RpcServerUnregisterIf, FakeUnregisterIf);
REPLACE_IMPORT(RpcEpUnregister, FakeEpUnregister);
REPLACE_IMPORT(RpcBindingVectorFree, FakeVectorFree);
REPLACE_IMPORT(LocalFree, RecordedLocalFree);
REPLACE_IMPORT(FreeSid, RecordedFreeSid);

namespace {

// A start that gets through every step.
const std::vector<std::string> kSteps = {"DeriveCapabilitySidsFromName",
                                         "AllocateAndInitializeSid",
                                         "SetEntriesInAclW",
                                         "InitializeSecurityDescriptor",
                                         "SetSecurityDescriptorDacl",
                                         "RpcServerUseProtseqEpW",
                                         "RpcServerRegisterIf3",
                                         "RpcServerInqBindings",
                                         "RpcEpRegisterW",
                                         "RpcServerListen"};

// What is released, in order, when as many steps as given were taken before the end.
std::vector<std::string> CleanUpAfter(std::size_t steps) {
    std::vector<std::string> calls;
    if (steps > 0) {
        calls = {"LocalFree group SID", "LocalFree groups", "LocalFree capability SID",
                 "LocalFree capabilities"};
    }
    if (steps > 1) {
        calls.emplace_back("FreeSid everyone");
    }
    if (steps > 2) {
        calls.emplace_back("LocalFree list");
    }
    return calls;
}

class RpcServerTest : public testing::Test {
 protected:
    void SetUp() override {
        g_failing.clear();
        g_capabilityCount = 1;
        RpcServerDisconnect();
        g_owned.clear();
        g_calls.clear();
        ClearLoggedLines();
    }
};

TEST_F(RpcServerTest, StartTakesEveryStepInOrderUnderOneDescriptor) {
    EXPECT_EQ(RpcServerStart(), RPC_S_OK);
    std::vector<std::string> expected = kSteps;
    const auto clean_up = CleanUpAfter(kSteps.size());
    expected.insert(expected.end(), clean_up.begin(), clean_up.end());
    EXPECT_EQ(g_calls, expected);
    EXPECT_EQ(LoggedLines(), std::vector<std::string>{"RpcServerStart"});

    const std::wstring capability = DeriveCapabilitySidNames(kPackage).capability;
    EXPECT_EQ(g_dacl, L"D:(A;;GA;;;WD)(A;;GA;;;" + capability + L")");
}

TEST_F(RpcServerTest, FirstFailingStepIsTheResultAndWhatWasBuiltIsReleased) {
    for (std::size_t step = 0; step < kSteps.size(); ++step) {
        SCOPED_TRACE(kSteps[step]);
        SetUp();
        g_failing = kSteps[step];
        g_failure = 1000 + static_cast<DWORD>(step);
        EXPECT_EQ(RpcServerStart(), static_cast<RPC_STATUS>(g_failure));
        std::vector<std::string> expected(kSteps.begin(), kSteps.begin() + step + 1);
        const auto clean_up = CleanUpAfter(step);
        expected.insert(expected.end(), clean_up.begin(), clean_up.end());
        EXPECT_EQ(g_calls, expected);
    }
}

TEST_F(RpcServerTest, AnotherListenerOfTheProcessIsSuccess) {
    g_failing = "RpcServerListen";
    g_failure = RPC_S_ALREADY_LISTENING;
    EXPECT_EQ(RpcServerStart(), RPC_S_OK);
}

TEST_F(RpcServerTest, AnyCountOfCapabilitySidsButOneIsRefusedBeforeRpcIsTouched) {
    g_capabilityCount = 0;
    EXPECT_EQ(RpcServerStart(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(g_calls,
              (std::vector<std::string>{"DeriveCapabilitySidsFromName", "LocalFree group SID",
                                        "LocalFree groups", "LocalFree capabilities"}));
}

TEST_F(RpcServerTest, DisconnectLogsItsStepsAndFreesTheBindingsOnce) {
    RpcServerStart();
    g_calls.clear();
    ClearLoggedLines();
    RpcServerDisconnect();
    EXPECT_EQ(g_calls, (std::vector<std::string>{"RpcServerUnregisterIf", "RpcEpUnregister held",
                                                 "RpcBindingVectorFree"}));
    EXPECT_EQ(LoggedLines(),
              (std::vector<std::string>{"RpcServerDisconnect", "Rpc Server Unregister Success",
                                        "RpcEpUnregister", "RpcServerDisconnect end"}));

    g_calls.clear();
    ClearLoggedLines();
    g_failing = "RpcServerUnregisterIf";
    RpcServerDisconnect();
    EXPECT_EQ(g_calls, (std::vector<std::string>{"RpcServerUnregisterIf", "RpcEpUnregister none"}));
    EXPECT_EQ(LoggedLines(),
              (std::vector<std::string>{"RpcServerDisconnect", "Rpc Server Unregister error",
                                        "RpcEpUnregister", "RpcServerDisconnect end"}));
}

}  // namespace
