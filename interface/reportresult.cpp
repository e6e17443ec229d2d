// The server's side of the callback. In its own file, so that a test can replace it.
#include "interface/stubs.h"

namespace {

// No dispatch tables: the server only calls this procedure.
constinit const MIDL_SYNTAX_INFO kCallbackSyntaxes[kSyntaxCount] = {
    Ndr20Info(nullptr, ndr20::kCallbackOffsets),
    Ndr64Info(nullptr, ndr64::kCallbackTable),
};

constinit const MIDL_STUBLESS_PROXY_INFO kCallbackProxy = {
    &kServerStubDescriptor,  kProcFormatString, ndr20::kCallbackOffsets,
    Writable(&kNdr20Syntax), kSyntaxCount,      Writable(kCallbackSyntaxes),
};

constexpr unsigned long kReportResultNumber = 0;

}  // namespace

void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    NdrClientCall3(Writable(&kCallbackProxy), kReportResultNumber, nullptr, command, flag, number,
                   text);
}
