// Compares our NDR 2.0 strings with those that widl makes of rpc/stub/tesselservice.idl. Only the
// differences listed here are allowed. widl does not support callbacks: it takes the callback for
// the fourth procedure, with an automatic binding. It makes neither NDR64 nor ARM64 tables.
#include <gtest/gtest.h>

#include <span>

#include "rpc/stub/stubs.h"
#include "tests/support/hexbytes.h"

// The functions that widl's server stub refers to.
void RemoteOpen(handle_t, REQUEST_CONTEXT_HANDLE*) {}
void RemoteClose(REQUEST_CONTEXT_HANDLE*) {}
void RemoteRequest(REQUEST_CONTEXT_HANDLE, const wchar_t*, boolean, long, wchar_t*) {}
void ReportResult(wchar_t*, boolean, long, wchar_t*) {}
void __RPC_USER REQUEST_CONTEXT_HANDLE_rundown(REQUEST_CONTEXT_HANDLE) {}

namespace {

// The lengths of widl's strings.
constexpr std::size_t kTypesSize = 39;
constexpr std::size_t kProceduresSize = 193;

// At `offset` of its string widl has the bytes `widl`. Our string has `ours` there.
struct Difference {
    std::size_t offset;
    const char* widl;
    const char* ours;
    const char* why;
};

const char kRobust[] = "checked correlation descriptors, which widl does not write";
const char kBounds[] = "widl counts a context as 24 or 20 bytes, we as 56 or 36, upper bounds both";
const char kUnserialized[] =
    "calls on the context are not serialized: the .acf, which widl cannot read";
const char kBoolean[] = "widl takes a boolean for a character, the same byte on the wire";
const char kOneString[] = "every string has an entry of its own in widl, all share one in ours";

const Difference kTypes[] = {
    {3, "00", "04", "the pointer itself lies on the stack"},
    {7, "a0", "a4", kUnserialized},
    {11, "00", "04", "the pointer itself lies on the stack"},
    {15, "e0", "e5", "not serialized; and a context to close cannot be null"},
    {19, "41", "45", kUnserialized},
    {26, "11 08 25 5c 11 08 25 5c 11 08 25 5c", "", kOneString},
};

const Difference kProcedures[] = {
    {16, "1800", "3800", kBounds},
    {19, "02", "01", "a handle_t is a parameter in widl, a binding alone in ours"},
    {21, "00", "01", kRobust},
    {30, "4800 0000 08 00", "", "the handle_t as widl's parameter"},
    {53, "e0", "e4", kUnserialized},
    {58, "1800 1800", "3800 3800", kBounds},
    {65, "00", "01", kRobust},
    {91, "41", "44", "not serialized; a binding's flags do not say that it cannot be null"},
    {96, "2500", "3100", kBounds},
    {103, "00", "01", kRobust},
    {128, "02", "03", kBoolean},
    {140, "1c00", "1800", kOneString},
    {142, "33", "34", "bound to the call in progress, not automatically"},
    {148, "0300", "0000", "callbacks have numbers of their own"},
    {159, "00", "01", kRobust},
    {172, "2000", "1800", kOneString},
    {178, "02", "03", kBoolean},
    {190, "2400", "1800", kOneString},
};

// Replaces the differences in widl's string by our bytes. Every difference must be there.
std::string Ours(const unsigned char* widl,
                 std::size_t size,
                 std::span<const Difference> differences) {
    const std::string given(reinterpret_cast<const char*>(widl), size);
    std::string ours;
    std::size_t at = 0;
    for (const Difference& difference : differences) {
        const std::string theirs = HexBytes(difference.widl);
        ours += given.substr(at, difference.offset - at);
        at = difference.offset + theirs.size();
        EXPECT_EQ(HexLines(given.substr(difference.offset, theirs.size())), HexLines(theirs))
            << difference.offset << ": " << difference.why;
        ours += HexBytes(difference.ours);
    }
    return HexLines(ours + given.substr(at));
}

template <typename T>
std::string BytesOf(const T& object) {
    return HexLines({reinterpret_cast<const char*>(&object), sizeof(object)});
}

TEST(WidlCompare, TablesDifferOnlyAsListed) {
    const auto& served =
        *static_cast<const RPC_SERVER_INTERFACE*>(ServiceRpcInterface_v1_0_s_ifspec);
    EXPECT_EQ(BytesOf(served.InterfaceId), BytesOf(kServiceRpcInterfaceId));
    EXPECT_EQ(BytesOf(served.TransferSyntax), BytesOf(kNdr20Syntax));

    const auto& info = *static_cast<const MIDL_SERVER_INFO*>(served.InterpreterInfo);
    EXPECT_EQ(Ours(info.pStubDesc->pFormatTypes, kTypesSize, kTypes), BytesOf(ndr20::kTypeFormat));
    EXPECT_EQ(Ours(info.ProcString, kProceduresSize, kProcedures), BytesOf(ndr20::kProcFormat));

    // widl's first procedure has one parameter more.
    const auto& calls = ndr20::kProcOffsets;
    EXPECT_EQ(info.FmtStringOffset[0], calls[0]);
    EXPECT_EQ(info.FmtStringOffset[1], calls[1] + 6);
    EXPECT_EQ(info.FmtStringOffset[2], calls[2] + 6);
    EXPECT_EQ(info.FmtStringOffset[3], ndr20::kCallbackOffsets[0] + 6);
}

}  // namespace
