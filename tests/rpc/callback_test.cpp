// The shipped ReportResult: what it hands to NdrClientCall3, and what Wine's NDR engine makes of
// its NDR 2.0 tables on the wire. Wine has no NDR64 to run the other tables with, and makes no
// callbacks, so the call goes over a binding of its own.
#include <gtest/gtest.h>

#include <climits>

#include "rpc/reportresult.h"
#include "rpc/serverstub.h"
#include "tests/rpc/stubtables.h"
#include "tests/rpc/stubtables_wire.h"

namespace {

struct Answer {
    std::wstring command;
    boolean flag;
    long number;
    std::wstring text;
    bool operator==(const Answer&) const = default;
};

const struct {
    Answer answer;
    const char* wire;
} kAnswers[] = {
    {{L"", 0, 0, L""},
     "01000000 00000000 01000000 0000 | 00 *1 00000000 | 01000000 00000000 01000000 0000"},
    {{L"A", 1, LONG_MIN, L"\u00e9\u20ac\U0001d11e"},
     "02000000 00000000 02000000 4100 0000 | 01 *3 00000080"
     " | 05000000 00000000 05000000 e900 ac20 34d8 1edd 0000"},
    {{L"AB", 1, LONG_MAX, L"\xffff"},
     "03000000 00000000 03000000 4100 4200 0000 | 01 *1 ffffff7f"
     " | 02000000 00000000 02000000 ffff 0000"},
    {{L"\r\n\t", 0, -2, L"0"},
     "04000000 00000000 04000000 0d00 0a00 0900 0000 | 00 *3 feffffff"
     " | 02000000 00000000 02000000 3000 0000"},
};

RPC_BINDING_HANDLE g_binding;
std::vector<std::uint8_t> g_wire;
Answer g_received;

// Makes the callback over `g_binding` instead: one byte of the tables, the kind of binding,
// differs.
void CallOverBinding(const ProxyCall& call) {
    const std::size_t rest = sizeof(ndr20::kProcFormat<kNdrTarget>.format.report_result);
    std::vector<unsigned char> format(call.format, call.format + rest);
    EXPECT_EQ(format[0], 0x34);
    format[0] = 0x32;
    MIDL_STUB_DESC stub = *call.proxy->pStubDesc;
    stub.IMPLICIT_HANDLE_INFO.pPrimitiveHandle = &g_binding;
    NdrClientCall2(&stub, format.data(), call.arguments[0], call.arguments[1], call.arguments[2],
                   call.arguments[3]);
}

void __RPC_STUB ReceiveReport(RPC_MESSAGE* message) {
    g_wire = RequestBytes(*message);
    NdrServerCall2(message);
}

void TakeReport(const wchar_t* command, boolean flag, long number, const wchar_t* text) {
    g_received = {command, flag, number, text};
}

TEST(Callback, GoesOverTheWireAsWrittenDown) {
    const RPC_DISPATCH_FUNCTION functions[] = {ReceiveReport, nullptr};
    const RPC_DISPATCH_TABLE dispatch = {1, Writable(functions), 0};
    const SERVER_ROUTINE routines[] = {
        reinterpret_cast<SERVER_ROUTINE>(reinterpret_cast<void (*)()>(TakeReport))};
    const MIDL_SERVER_INFO info = {&kServerStubDescriptor,
                                   routines,
                                   ProcString(),
                                   ndr20::kCallbackOffsets<kNdrTarget>,
                                   nullptr,
                                   nullptr,
                                   0,
                                   nullptr};
    RPC_SERVER_INTERFACE served = kServiceRpcServerInterface;
    served.DispatchTable = Writable(&dispatch);
    served.InterpreterInfo = &info;
    WireServer server(&served);
    g_binding = server.binding;
    g_on_proxy_call = CallOverBinding;

    for (const auto& [answer, wire] : kAnswers) {
        ReportResult(answer.command.c_str(), answer.flag != 0, answer.number, answer.text.c_str());
        EXPECT_EQ(g_proxy_call.number, 0u);
        EXPECT_EQ(g_proxy_call.result, nullptr);
        const std::vector<std::uint64_t>& arguments = g_proxy_call.arguments;
        ASSERT_EQ(arguments.size(), 4u);
        EXPECT_EQ(arguments[0], reinterpret_cast<std::uintptr_t>(answer.command.c_str()));
        EXPECT_EQ(static_cast<boolean>(arguments[1]), answer.flag);
        EXPECT_EQ(static_cast<long>(arguments[2]), answer.number);
        EXPECT_EQ(arguments[3], reinterpret_cast<std::uintptr_t>(answer.text.c_str()));

        EXPECT_EQ(g_wire, Bytes(wire));
        EXPECT_EQ(g_received, answer);
    }
}

}  // namespace
