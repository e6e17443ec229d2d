// The guarded call, and a connection over a stub of the test's own.
#include "connection/connection.h"

#include <gtest/gtest.h>

#include "connection/guardedcall.h"

namespace {

// The exception that each procedure raises; 0: none.
DWORD g_raisedByOpen = 0;
DWORD g_raisedByRequest = 0;
int g_contexts = 0;
RequestValues g_sent;

void Raise(DWORD code) {
    if (code != 0) {
        RaiseException(code, 0, 0, nullptr);
    }
}

constexpr ClientStub kStub = {[](handle_t binding, REQUEST_CONTEXT_HANDLE* context) {
                                  EXPECT_NE(binding, nullptr);
                                  Raise(g_raisedByOpen);
                                  *context = &g_contexts;
                                  ++g_contexts;
                              },
                              [](REQUEST_CONTEXT_HANDLE context,
                                 const wchar_t* command,
                                 boolean flag,
                                 long number,
                                 wchar_t* text) {
                                  EXPECT_EQ(context, &g_contexts);
                                  g_sent = {command, flag != 0, number, text};
                                  Raise(g_raisedByRequest);
                              },
                              [](REQUEST_CONTEXT_HANDLE* context) {
                                  *context = nullptr;
                                  --g_contexts;
                              }};

// Statuses of RPC and Windows, and the codes of C++ exceptions, which a client's callback may
// raise.
constexpr DWORD kCodes[] = {5, 1722, 0x20474343, 0x21474343, 0xE06D7363, 0xE1234567};

// Returns the code of the exception that leaves a guarded call.
DWORD LeavesGuardedCall(DWORD code) {
    DWORD left = 0;
    __try {
        StatusOf([&] { Raise(code); });
    } __except (left = GetExceptionCode(), EXCEPTION_EXECUTE_HANDLER) {
    }
    return left;
}

TEST(GuardedCallTest, ReturnsTheCodeOfAFailedCallAndLetsFaultsPass) {
    EXPECT_EQ(StatusOf([] {}), 0u);
    for (const DWORD code : kCodes) {
        EXPECT_EQ(StatusOf([&] { Raise(code); }), code);
    }
    EXPECT_EQ(LeavesGuardedCall(1722), 0u);
    EXPECT_EQ(LeavesGuardedCall(EXCEPTION_ACCESS_VIOLATION), EXCEPTION_ACCESS_VIOLATION);
}

TEST(ConnectionTest, EveryFunctionGivesTheStatusOfTheCallThatFailed) {
    const RequestValues request = {L"COMMAND", true, -7, L"text"};
    for (const DWORD code : kCodes) {
        g_raisedByOpen = code;
        g_sent = {};
        {
            const Connection refused(kStringBinding, kStub);
            EXPECT_EQ(refused.Status(), code);
            EXPECT_EQ(refused.Send(request), code);
        }
        EXPECT_EQ(g_sent, RequestValues()) << "nothing is sent without a context";
        EXPECT_EQ(g_contexts, 0);
        g_raisedByOpen = 0;
        {
            const Connection connection(kStringBinding, kStub);
            EXPECT_EQ(connection.Status(), 0u);
            g_raisedByRequest = code;
            EXPECT_EQ(connection.Send(request), code);
            g_raisedByRequest = 0;
            EXPECT_EQ(connection.Send(request), 0u);
            EXPECT_EQ(g_sent, request);
            EXPECT_EQ(g_contexts, 1);
        }
        EXPECT_EQ(g_contexts, 0);
    }
    EXPECT_EQ(Connection(L"ncalrpc:[").Status(), RPC_S_INVALID_STRING_BINDING);
}

}  // namespace

// The shipped stub needs it.
void ReportResult(wchar_t* /*command*/, boolean /*flag*/, long /*number*/, wchar_t* /*text*/) {}
