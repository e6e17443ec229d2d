#include "rpc/reportresult.h"

#include "rpc/serverstub.h"

namespace {

// The server calls this procedure and serves none of its kind: no dispatch tables.
const MIDL_SYNTAX_INFO kCallbackSyntaxes[kSyntaxCount] = {
    Ndr20Info(nullptr, ndr20::kCallbackOffsets<kNdrTarget>),
    Ndr64Info(nullptr, ndr64::kCallbackTable<kNdrTarget>),
};

const MIDL_STUBLESS_PROXY_INFO kCallbackProxy = {
    &kServerStubDescriptor,  ProcString(), ndr20::kCallbackOffsets<kNdrTarget>,
    Writable(&kNdr20Syntax), kSyntaxCount, Writable(kCallbackSyntaxes),
};

constexpr unsigned long kReportResultNumber = 0;

}  // namespace

void ReportResult(const wchar_t* command, bool flag, long number, const wchar_t* text) {
    NdrClientCall3(Writable(&kCallbackProxy), kReportResultNumber, nullptr, command,
                   static_cast<boolean>(flag), number, text);
}
