// The format tables of ServiceRpcInterface in both transfer syntaxes, for both machines and both
// halves of the stub. They say what tesselservice.idl says, in the form that the RPC runtime reads.
#pragma once

#include <array>
#include <bit>

#include "rpc/stub/ndrformat.h"

// Stack offsets count 8 bytes per argument, a binding handle included.

namespace ndr20 {

#pragma pack(push, 1)
struct TypeFormat {
    std::int16_t start;
    RefPointer context_out_pointer;
    ContextType context_out;
    RefPointer context_in_out_pointer;
    ContextType context_in_out;
    ContextType context_in;
    std::uint8_t string_pointer[2];
    std::uint8_t wide_string[2];
    std::uint8_t end;
};

template <NdrTarget target>
struct ProcFormat {
    Procedure<target, PrimitiveBinding, 2, 1> remote_open;
    Procedure<target, ContextBinding, 1, 1> remote_close;
    Procedure<target, ContextBinding, 5, 5> remote_request;
    Callback<target, 4> report_result;
    std::uint8_t end;
};
#pragma pack(pop)

inline constexpr std::uint8_t kFlagsOut = kContextViaPointer | kContextOut | kContextNoSerialize;
inline constexpr std::uint8_t kFlagsInOut =
    kContextViaPointer | kContextIn | kContextOut | kContextNoSerialize;
inline constexpr std::uint8_t kFlagsIn = kContextIn | kContextNoSerialize;

inline constexpr std::uint16_t kStringAttributes = kMustSize | kMustFree | kIn | kSimpleRef;
inline constexpr std::uint16_t kBaseAttributes = kIn | kBaseType;

inline constexpr std::uint16_t kContextOutType = offsetof(TypeFormat, context_out);
inline constexpr std::uint16_t kContextInOutType = offsetof(TypeFormat, context_in_out);
inline constexpr std::uint16_t kContextInType = offsetof(TypeFormat, context_in);
inline constexpr std::uint16_t kStringType = offsetof(TypeFormat, wide_string);

inline constexpr TypeFormat kTypeFormat = {
    0,
    {kRefPointer, kAllocedOnStack, 2},
    {kBindContext, kFlagsOut, 0, 0},
    {kRefPointer, kAllocedOnStack, 2},
    {kBindContext, kFlagsInOut | kContextNotNull, 0, 0},
    {kBindContext, kFlagsIn | kContextNotNull, 0, 0},
    {kRefPointer, kSimplePointer},
    {kWideString, kPad},
    0,
};

// Buffer bounds: boolean 5, long 8, context by value 36, context through a pointer 56; strings are
// sized at run time.
template <NdrTarget target>
inline constexpr ProcFormat<target> kProcFormat = {
    {
        {kExplicitHandle, kOiFlags, 0, 0, 16},
        {kBindPrimitive, 0, 0},
        {0, 56, kHasExtension, 1},
        {},
        {{kOut | kSimpleRef, 8, kContextOutType}},
    },
    {
        {kExplicitHandle, kOiFlags, 0, 1, 8},
        {kBindContext, kFlagsInOut, 0, 0, 0},
        {56, 56, kHasExtension, 1},
        {},
        {{kIn | kOut | kSimpleRef, 0, kContextInOutType}},
    },
    {
        {kExplicitHandle, kOiFlags, 0, 2, 40},
        {kBindContext, kFlagsIn, 0, 0, 0},
        {36 + 5 + 8, 0, kHasExtension | kClientMustSize, 5},
        {},
        {
            {kIn, 0, kContextInType},
            {kStringAttributes, 8, kStringType},
            {kBaseAttributes, 16, kSmall},
            {kBaseAttributes, 24, kLong},
            {kStringAttributes, 32, kStringType},
        },
    },
    {
        {kCallbackHandle, kOiFlags, 0, 0, 32},
        {5 + 8, 0, kHasExtension | kClientMustSize, 4},
        {},
        {
            {kStringAttributes, 0, kStringType},
            {kBaseAttributes, 8, kSmall},
            {kBaseAttributes, 16, kLong},
            {kStringAttributes, 24, kStringType},
        },
    },
    0,
};

// Where each procedure begins in the format string, by procedure number; callbacks have numbers of
// their own.
template <NdrTarget target>
inline constexpr std::uint16_t kProcOffsets[] = {
    offsetof(ProcFormat<target>, remote_open),
    offsetof(ProcFormat<target>, remote_close),
    offsetof(ProcFormat<target>, remote_request),
};

template <NdrTarget target>
inline constexpr std::uint16_t kCallbackOffsets[] = {
    offsetof(ProcFormat<target>, report_result),
};

static_assert(sizeof(TypeFormat) == 27);
static_assert(kContextOutType == 6 && kContextInOutType == 14 && kContextInType == 18);
static_assert(kStringType == 24);
static_assert(sizeof(ProcFormat<NdrTarget::kX64>) == 187);
static_assert(sizeof(ProcFormat<NdrTarget::kArm64>) == 205);
static_assert(offsetof(ProcFormat<NdrTarget::kX64>, report_result) == 136);
static_assert(offsetof(ProcFormat<NdrTarget::kArm64>, report_result) == 148);

// A format string as the runtime takes it: bytes that begin at an even address, behind a pad.
template <std::size_t size>
struct FormatString {
    std::int16_t pad;
    std::uint8_t bytes[size];
};

template <typename Format>
constexpr FormatString<sizeof(Format)> FormatStringOf(const Format& format) {
    FormatString<sizeof(Format)> string = {};
    const auto bytes = std::bit_cast<std::array<std::uint8_t, sizeof(Format)>>(format);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        string.bytes[i] = bytes[i];
    }
    return string;
}

inline constexpr auto kTypeString = FormatStringOf(kTypeFormat);

template <NdrTarget target>
inline constexpr auto kProcString = FormatStringOf(kProcFormat<target>);

}  // namespace ndr20

namespace ndr64 {

// The ordinal of a context handle, in both halves of a stub. Compilers number on from the client's
// to the server's.
enum StubHalf : std::uint8_t { kClientHalf = 0, kServerHalf = 1 };

template <StubHalf half>
inline constexpr ContextType kContextOut = {kBindContext, ndr20::kFlagsOut, 0, half};
template <StubHalf half>
inline constexpr ContextType kContextInOut = {kBindContext,
                                              ndr20::kFlagsInOut | ndr20::kContextNotNull, 0, half};
template <StubHalf half>
inline constexpr ContextType kContextIn = {kBindContext, ndr20::kFlagsIn | ndr20::kContextNotNull,
                                           0, half};
inline constexpr StringType kString = {kWideString, 0, 2};
inline constexpr std::uint8_t kBoolean = kInt8;
inline constexpr std::uint8_t kNumber = kInt32;

inline constexpr std::uint16_t kBaseAttributes = ndr20::kBaseAttributes | ndr20::kByValue;

// Buffer bounds as in NDR 2.0, but a context through a pointer counts 60.
template <NdrTarget target, StubHalf half>
inline constexpr Procedure<target, 2, 1> kRemoteOpen = {
    {kExplicitHandle | kInterpreted | kHasExtension | kTargetFlags<target>, 16, 0, 60, 0, 0, 1,
     sizeof(Binding)},
    {kBindPrimitive, 0, 0, 0, 0, 0},
    {{&kContextOut<half>, ndr20::kOut | ndr20::kSimpleRef, 0, 8}},
};

template <NdrTarget target, StubHalf half>
inline constexpr Procedure<target, 1, 1> kRemoteClose = {
    {kExplicitHandle | kInterpreted | kHasExtension | kTargetFlags<target>, 8, 60, 60, 0, 0, 1,
     sizeof(Binding)},
    {kBindContext, ndr20::kFlagsInOut, 0, 0, 0, 0},
    {{&kContextInOut<half>, ndr20::kIn | ndr20::kOut | ndr20::kSimpleRef, 0, 0}},
};

template <NdrTarget target, StubHalf half>
inline constexpr Procedure<target, 5, 5> kRemoteRequest = {
    {kExplicitHandle | kInterpreted | kClientMustSize | kHasExtension | kTargetFlags<target>, 40,
     36 + 5 + 8, 0, 0, 0, 5, sizeof(Binding)},
    {kBindContext, ndr20::kFlagsIn, 0, 0, 0, 0},
    {
        {&kContextIn<half>, ndr20::kIn, 0, 0},
        {&kString, ndr20::kStringAttributes, 0, 8},
        {&kBoolean, kBaseAttributes, 0, 16},
        {&kNumber, kBaseAttributes, 0, 24},
        {&kString, ndr20::kStringAttributes, 0, 32},
    },
};

template <NdrTarget target>
inline constexpr Callback<target, 4> kReportResult = {
    {kCallbackHandle | kInterpreted | kClientMustSize | kTargetFlags<target>, 32, 5 + 8, 0, 0, 0, 4,
     0},
    {
        {&kString, ndr20::kStringAttributes, 0, 0},
        {&kBoolean, kBaseAttributes, 0, 8},
        {&kNumber, kBaseAttributes, 0, 16},
        {&kString, ndr20::kStringAttributes, 0, 24},
    },
};

// Procedures by number. The runtime takes the table through a pointer of another type, whose object
// is never read.
template <std::size_t count>
union ProcTable {
    const void* procedures[count];
    unsigned short offsets;
};

template <NdrTarget target, StubHalf half>
inline constexpr ProcTable<3> kProcTable = {
    {&kRemoteOpen<target, half>, &kRemoteClose<target, half>, &kRemoteRequest<target, half>}};

template <NdrTarget target>
inline constexpr ProcTable<1> kCallbackTable = {{&kReportResult<target>}};

static_assert(sizeof(Header) == 24 && sizeof(Binding) == 8 && sizeof(Parameter) == 16);
static_assert(sizeof(Procedure<NdrTarget::kX64, 2, 1>) == 48);
static_assert(sizeof(Procedure<NdrTarget::kX64, 5, 5>) == 112);
static_assert(sizeof(Callback<NdrTarget::kX64, 4>) == 88);
static_assert(sizeof(Procedure<NdrTarget::kArm64, 2, 1>) == 56);
static_assert(sizeof(Procedure<NdrTarget::kArm64, 1, 1>) == 56);
static_assert(sizeof(Procedure<NdrTarget::kArm64, 5, 5>) == 120);
static_assert(sizeof(Callback<NdrTarget::kArm64, 4>) == 96);
using RemoteOpenOnArm64 = Procedure<NdrTarget::kArm64, 2, 1>;
using RemoteRequestOnArm64 = Procedure<NdrTarget::kArm64, 5, 5>;
using ReportResultOnArm64 = Callback<NdrTarget::kArm64, 4>;
static_assert(offsetof(RemoteOpenOnArm64, placement) == 48);
static_assert(offsetof(RemoteRequestOnArm64, placement) == 112);
static_assert(offsetof(ReportResultOnArm64, placement) == 88);

}  // namespace ndr64
