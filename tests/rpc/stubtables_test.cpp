// The format tables of both machines and the server half's descriptors.
#include <gtest/gtest.h>

#include "rpc/reportresult.h"
#include "rpc/request.h"
#include "rpc/serverstub.h"
#include "tests/rpc/stubtables.h"
#include "tests/rpc/stubtables_wire.h"

namespace {

TEST(StubTables, FormatTablesOfBothMachines) {
    for (const StubImage& image :
         {FormatImage<NdrTarget::kX64>("x64"), FormatImage<NdrTarget::kArm64>("ARM64")}) {
        CheckImage(image);
        CheckMutations(image);
    }
}

TEST(StubTables, ServerHalf) {
    ReportResult(L"", false, 0, L"");
    StubImage image = HalfImage(true, &kServiceRpcServerInterface, g_proxy_call.proxy);
    image.AddFunction("RemoteOpen", RemoteOpen);
    image.AddFunction("RemoteClose", RemoteClose);
    image.AddFunction("RemoteRequest", RemoteRequest);
    image.AddFunction("RequestContextRundown", RequestContextRundown);
    CheckImage(image);
    CheckMutations(image);
}

}  // namespace
