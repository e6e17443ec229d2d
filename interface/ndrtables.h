// The format tables of ServiceRpcInterface, for the procedures of tesselservice.idl in both
// transfer syntaxes.
#pragma once

#include <array>
#include <bit>

#include "interface/ndrformat.h"

// Stack offsets count 8 bytes for each argument, also for a binding handle.

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

struct ProcFormat {
    Procedure<PrimitiveBinding, 2, 1> remote_open;
    Procedure<ContextBinding, 1, 1> remote_close;
    Procedure<ContextBinding, 5, 5> remote_request;
    Callback<4> report_result;
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

// Sizes in buffers: boolean 5, long 8, context by value 36, context through a pointer 56. The
// runtime computes the sizes of strings.
inline constexpr ProcFormat kProcFormat = {
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

// The offsets of the procedures in the format string, by procedure number. Callbacks have their own
// numbers.
inline constexpr std::uint16_t kProcOffsets[] = {
    offsetof(ProcFormat, remote_open),
    offsetof(ProcFormat, remote_close),
    offsetof(ProcFormat, remote_request),
};

inline constexpr std::uint16_t kCallbackOffsets[] = {
    offsetof(ProcFormat, report_result),
};

static_assert(sizeof(TypeFormat) == 27 && kStringType == 24);
static_assert(sizeof(ProcFormat) == (kArm64 ? 205 : 187));

// A format string for the runtime: the bytes follow the padding, at an even address.
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

inline constexpr auto kProcString = FormatStringOf(kProcFormat);

}  // namespace ndr20

namespace ndr64 {

// The ordinal that interface compilers give a context handle in the client and in the server stub.
enum StubSide : std::uint8_t { kClientSide = 0, kServerSide = 1 };

template <StubSide side>
inline constexpr ContextType kContextOut = {kBindContext, ndr20::kFlagsOut, 0, side};
template <StubSide side>
inline constexpr ContextType kContextInOut = {kBindContext,
                                              ndr20::kFlagsInOut | ndr20::kContextNotNull, 0, side};
template <StubSide side>
inline constexpr ContextType kContextIn = {kBindContext, ndr20::kFlagsIn | ndr20::kContextNotNull,
                                           0, side};
inline constexpr StringType kString = {kWideString, 0, 2};
inline constexpr std::uint8_t kBoolean = kInt8;
inline constexpr std::uint8_t kNumber = kInt32;

inline constexpr std::uint16_t kBaseAttributes = ndr20::kBaseAttributes | ndr20::kByValue;

// Sizes in buffers are those of NDR 2.0, except 60 for a context through a pointer.
template <StubSide side>
inline constexpr Procedure<2, 1> kRemoteOpen = {
    {kExplicitHandle | kInterpreted | kHasExtension | kMachineFlags, 16, 0, 60, 0, 0, 1,
     sizeof(Binding)},
    {kBindPrimitive, 0, 0, 0, 0, 0},
    {{&kContextOut<side>, ndr20::kOut | ndr20::kSimpleRef, 0, 8}},
};

template <StubSide side>
inline constexpr Procedure<1, 1> kRemoteClose = {
    {kExplicitHandle | kInterpreted | kHasExtension | kMachineFlags, 8, 60, 60, 0, 0, 1,
     sizeof(Binding)},
    {kBindContext, ndr20::kFlagsInOut, 0, 0, 0, 0},
    {{&kContextInOut<side>, ndr20::kIn | ndr20::kOut | ndr20::kSimpleRef, 0, 0}},
};

template <StubSide side>
inline constexpr Procedure<5, 5> kRemoteRequest = {
    {kExplicitHandle | kInterpreted | kClientMustSize | kHasExtension | kMachineFlags, 40,
     36 + 5 + 8, 0, 0, 0, 5, sizeof(Binding)},
    {kBindContext, ndr20::kFlagsIn, 0, 0, 0, 0},
    {
        {&kContextIn<side>, ndr20::kIn, 0, 0},
        {&kString, ndr20::kStringAttributes, 0, 8},
        {&kBoolean, kBaseAttributes, 0, 16},
        {&kNumber, kBaseAttributes, 0, 24},
        {&kString, ndr20::kStringAttributes, 0, 32},
    },
};

inline constexpr Callback<4> kReportResult = {
    {kCallbackHandle | kInterpreted | kClientMustSize | kMachineFlags, 32, 5 + 8, 0, 0, 0, 4, 0},
    {
        {&kString, ndr20::kStringAttributes, 0, 0},
        {&kBoolean, kBaseAttributes, 0, 8},
        {&kNumber, kBaseAttributes, 0, 16},
        {&kString, ndr20::kStringAttributes, 0, 24},
    },
};

// Procedures by number. The runtime gets the address of the table as `offsets` and never reads that
// member.
template <std::size_t count>
union ProcTable {
    const void* procedures[count];
    unsigned short offsets;
};

template <StubSide side>
inline constexpr ProcTable<3> kProcTable = {
    {&kRemoteOpen<side>, &kRemoteClose<side>, &kRemoteRequest<side>}};

inline constexpr ProcTable<1> kCallbackTable = {{&kReportResult}};

static_assert(sizeof(Header) == 24 && sizeof(Binding) == 8 && sizeof(Parameter) == 16);
static_assert(sizeof(Procedure<2, 1>) == (kArm64 ? 56 : 48));
static_assert(sizeof(Procedure<5, 5>) == (kArm64 ? 120 : 112));
static_assert(sizeof(Callback<4>) == (kArm64 ? 96 : 88));

}  // namespace ndr64
