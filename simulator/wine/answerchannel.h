// The way of an answer on the simulated notebook, whose RPC runtime has no callbacks: an ordinary
// call into the client's process, which serves an endpoint of its own.
#pragma once

#include <windows.h>

#include <string>

#include "rpc/stub/stubs.h"

// Where the process takes its answers, over ncalrpc. Named after the time of its creation too: Wine
// keeps the association with a killed process, which the next one with its id would not know.
inline std::wstring AnswerEndpoint(HANDLE process) {
    FILETIME created = {};
    FILETIME ignored = {};
    GetProcessTimes(process, &created, &ignored, &ignored, &ignored);
    return L"TesselAnswers-" + std::to_wstring(GetProcessId(process)) + L"-" +
           std::to_wstring(created.dwHighDateTime) + L"-" + std::to_wstring(created.dwLowDateTime);
}

inline constexpr RPC_SYNTAX_IDENTIFIER kAnswerChannelId = {
    {0xc2f1a0de, 0x5b1e, 0x4a55, {0x9b, 0x1c, 0x0f, 0x6e, 0x2b, 0x7d, 0x4a, 0x31}},
    {1, 0}};

#pragma pack(push, 1)
struct AnswerChannelFormat {
    std::int16_t pad;
    struct Format {
        ndr20::Procedure<kNdrTarget, ndr20::PrimitiveBinding, 5, 4> deliver_answer;
        std::uint8_t end;
    } format;
};
#pragma pack(pop)

// Its only procedure: binding, command, flag, number, text, as ReportResult has them. The types are
// those of the service's interface.
inline constexpr AnswerChannelFormat kAnswerChannelFormat = {
    0,
    {
        {
            {ndr20::kExplicitHandle, ndr20::kOiFlags, 0, 0, 40},
            {ndr20::kBindPrimitive, 0, 0},
            {5 + 8, 0, ndr20::kHasExtension | ndr20::kClientMustSize, 4},
            {},
            {
                {ndr20::kStringAttributes, 8, ndr20::kStringType},
                {ndr20::kBaseAttributes, 16, ndr20::kSmall},
                {ndr20::kBaseAttributes, 24, ndr20::kLong},
                {ndr20::kStringAttributes, 32, ndr20::kStringType},
            },
        },
        0,
    },
};

inline PFORMAT_STRING AnswerChannelProcString() {
    return reinterpret_cast<PFORMAT_STRING>(&kAnswerChannelFormat.format);
}

// The stub descriptor of either side of the channel.
inline MIDL_STUB_DESC AnswerChannelStub(const void* interface_information) {
    MIDL_STUB_DESC stub = {};
    stub.RpcInterfaceInformation = Writable(interface_information);
    stub.pfnAllocate = MIDL_user_allocate;
    stub.pfnFree = MIDL_user_free;
    stub.pFormatTypes = TypeString();
    stub.fCheckBounds = 1;
    stub.Version = 0x50002;
    stub.mFlags = 1;
    return stub;
}
