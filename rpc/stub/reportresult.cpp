// The callback as the server makes it. A file of its own, so that a program can have another.
#include "rpc/stub/stubs.h"

namespace {

// The server calls this procedure and serves none of its kind: no dispatch tables.
constinit const MIDL_SYNTAX_INFO kCallbackSyntaxes[kSyntaxCount] = {
    Ndr20Info(nullptr, ndr20::kCallbackOffsets<kNdrTarget>),
    Ndr64Info(nullptr, ndr64::kCallbackTable<kNdrTarget>),
};

constinit const MIDL_STUBLESS_PROXY_INFO kCallbackProxy = {
    &kServerStubDescriptor,  kProcFormatString, ndr20::kCallbackOffsets<kNdrTarget>,
    Writable(&kNdr20Syntax), kSyntaxCount,      Writable(kCallbackSyntaxes),
};

constexpr unsigned long kReportResultNumber = 0;

}  // namespace

void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    NdrClientCall3(Writable(&kCallbackProxy), kReportResultNumber, nullptr, command, flag, number,
                   text);
}
