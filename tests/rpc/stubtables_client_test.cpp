// The client half: its tables, its calls on the wire, and the callback that it serves.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "rpc/clientstub.h"
#include "tests/rpc/stubtables.h"
#include "tests/rpc/stubtables_wire.h"

namespace {
std::vector<std::wstring> g_reported;
std::vector<std::uint8_t> g_request;
unsigned g_procedure;
}  // namespace

void ReportResult(const wchar_t* command, boolean flag, long number, const wchar_t* text) {
    g_reported = {command, std::to_wstring(flag), std::to_wstring(number), text};
}

namespace {

// The client's interface describes the callback as a server's does its procedures.
const RPC_SERVER_INTERFACE* CallbackInterface() {
    g_on_proxy_call = nullptr;
    RemoteOpen(nullptr, nullptr);
    return static_cast<const RPC_SERVER_INTERFACE*>(
        g_proxy_call.proxy->pStubDesc->RpcInterfaceInformation);
}

TEST(ClientStub, Tables) {
    const RPC_SERVER_INTERFACE* served = CallbackInterface();
    StubImage image = HalfImage(false, served, g_proxy_call.proxy);
    image.AddFunction("ReportResult", ReportResult);
    CheckImage(image);
    CheckMutations(image);
}

const std::string kContext = "00000000 | 04030201 0605 0807 090a0b0c0d0e0f10";

void __RPC_STUB Receive(RPC_MESSAGE* message) {
    g_request = RequestBytes(*message);
    g_procedure = message->ProcNum;
    const std::string replies[] = {kContext, "*20", ""};
    const std::vector<std::uint8_t> reply = Bytes(replies[message->ProcNum]);
    message->BufferLength = static_cast<unsigned int>(reply.size());
    EXPECT_EQ(I_RpcGetBuffer(message), RPC_S_OK);
    std::memcpy(message->Buffer, reply.data(), reply.size());
}

TEST(ClientStub, CallsGoOverTheWireAsWrittenDown) {
    const RPC_DISPATCH_FUNCTION functions[] = {Receive, Receive, Receive, nullptr};
    const RPC_DISPATCH_TABLE dispatch = {3, Writable(functions), 0};
    RPC_SERVER_INTERFACE served = *CallbackInterface();
    served.DispatchTable = Writable(&dispatch);
    WireServer server(&served);
    g_on_proxy_call = ForwardProxyCall;

    REQUEST_CONTEXT_HANDLE context = nullptr;
    RemoteOpen(server.binding, &context);
    EXPECT_EQ(g_procedure, 0u);
    EXPECT_EQ(g_request, Bytes(""));
    ASSERT_NE(context, nullptr);

    RemoteRequest(context, L"A\u20ac", 1, LONG_MIN, L"");
    EXPECT_EQ(g_procedure, 2u);
    EXPECT_EQ(g_request,
              Bytes(kContext + " | 03000000 00000000 03000000 4100 ac20 0000 | 01 *1 00000080"
                               " | 01000000 00000000 01000000 0000"));
    RemoteRequest(context, L"A", 255, LONG_MAX, L"xyz");
    EXPECT_EQ(g_request, Bytes(kContext + " | 02000000 00000000 02000000 4100 0000 | ff *3 ffffff7f"
                                          " | 04000000 00000000 04000000 7800 7900 7a00 0000"));

    RemoteClose(&context);
    EXPECT_EQ(g_procedure, 1u);
    EXPECT_EQ(g_request, Bytes(kContext));
    EXPECT_EQ(context, nullptr);
}

TEST(ClientStub, ServesTheCallback) {
    const RPC_SERVER_INTERFACE* served = CallbackInterface();
    WireServer server(served);
    const std::vector<std::uint8_t> request = Bytes(
        "03000000 00000000 03000000 4100 4200 0000 | 01 *1 feffffff"
        " | 02000000 00000000 02000000 ac20 0000");
    RPC_MESSAGE message = {};
    message.Handle = server.binding;
    message.BufferLength = static_cast<unsigned int>(request.size());
    message.TransferSyntax = Writable(&kNdr20Syntax);
    message.RpcInterfaceInformation = Writable(served);
    ASSERT_EQ(I_RpcGetBuffer(&message), RPC_S_OK);
    std::memcpy(message.Buffer, request.data(), request.size());
    ASSERT_EQ(I_RpcSendReceive(&message), RPC_S_OK);
    I_RpcFreeBuffer(&message);
    EXPECT_EQ(g_reported, (std::vector<std::wstring>{L"AB", L"1", L"-2", L"\u20ac"}));
}

}  // namespace
