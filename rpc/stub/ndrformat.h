// The vocabulary of the interpreted stubs: the bytes that the RPC runtime reads to marshal a call,
// as typed structures. Two transfer syntaxes, NDR 2.0 and NDR64, and two machines, which differ in
// the layout.
#pragma once

#include <cstddef>
#include <cstdint>

// The machine that the tables describe. ARM64 adds the placement of every argument in registers.
enum class NdrTarget { kX64, kArm64 };

#if defined(__aarch64__) || defined(_M_ARM64)
inline constexpr NdrTarget kNdrTarget = NdrTarget::kArm64;
#else
inline constexpr NdrTarget kNdrTarget = NdrTarget::kX64;
#endif

// The ARM64 placement octet of integer register x0; register xN is this plus N.
inline constexpr std::uint8_t kFirstIntegerRegister = 0x80;

namespace ndr20 {

inline constexpr std::uint8_t kExplicitHandle = 0x00;
inline constexpr std::uint8_t kCallbackHandle = 0x34;
inline constexpr std::uint8_t kBindPrimitive = 0x32;
inline constexpr std::uint8_t kBindContext = 0x30;
inline constexpr std::uint8_t kRefPointer = 0x11;
inline constexpr std::uint8_t kWideString = 0x25;
inline constexpr std::uint8_t kPad = 0x5c;
inline constexpr std::uint16_t kSmall = 0x03;
inline constexpr std::uint16_t kLong = 0x08;

// Flags of a reference pointer.
inline constexpr std::uint8_t kAllocedOnStack = 0x04;
inline constexpr std::uint8_t kSimplePointer = 0x08;

// Flags of a context handle, in both syntaxes.
inline constexpr std::uint8_t kContextViaPointer = 0x80;
inline constexpr std::uint8_t kContextIn = 0x40;
inline constexpr std::uint8_t kContextOut = 0x20;
inline constexpr std::uint8_t kContextNoSerialize = 0x04;
inline constexpr std::uint8_t kContextNotNull = 0x01;

// Attributes of a parameter, in both syntaxes.
inline constexpr std::uint16_t kMustSize = 0x0001;
inline constexpr std::uint16_t kMustFree = 0x0002;
inline constexpr std::uint16_t kIn = 0x0008;
inline constexpr std::uint16_t kOut = 0x0010;
inline constexpr std::uint16_t kBaseType = 0x0040;
inline constexpr std::uint16_t kByValue = 0x0080;
inline constexpr std::uint16_t kSimpleRef = 0x0100;

// Procedure header: remote-procedure flags present, new initialisation.
inline constexpr std::uint8_t kOiFlags = 0x48;
// Second header: extension present, client must size its buffer.
inline constexpr std::uint8_t kHasExtension = 0x40;
inline constexpr std::uint8_t kClientMustSize = 0x02;
// Extension: new correlation descriptors, as checked ("robust") stubs have them.
inline constexpr std::uint8_t kNewCorrelation = 0x01;

#pragma pack(push, 1)

struct Header {
    std::uint8_t handle_type;
    std::uint8_t flags;
    std::uint32_t rpc_flags;
    std::uint16_t procedure;
    std::uint16_t stack_size;
};

struct PrimitiveBinding {
    std::uint8_t code;
    std::uint8_t flags;
    std::uint16_t stack_offset;
};

struct ContextBinding {
    std::uint8_t code;
    std::uint8_t flags;
    std::uint16_t stack_offset;
    std::uint8_t rundown_index;
    std::uint8_t ordinal;
};

// Sizes are upper bounds in bytes of what has a fixed size on the wire.
struct Sizes {
    std::uint16_t client_buffer;
    std::uint16_t server_buffer;
    std::uint8_t flags;
    std::uint8_t parameter_count;
};

template <NdrTarget target, int arguments>
struct Extension;

template <int arguments>
struct Extension<NdrTarget::kX64, arguments> {
    std::uint8_t size = sizeof(Extension);
    std::uint8_t flags = kNewCorrelation;
    std::uint16_t client_hint = 0;
    std::uint16_t server_hint = 0;
    std::uint16_t notify_index = 0;
    std::uint16_t float_mask = 0;
};

// The placement has one octet per argument, the binding handle included, and is kept even.
template <int arguments>
struct Extension<NdrTarget::kArm64, arguments> {
    std::uint8_t size = sizeof(Extension);
    std::uint8_t flags = kNewCorrelation;
    std::uint16_t client_hint = 0;
    std::uint16_t server_hint = 0;
    std::uint16_t notify_index = 0;
    std::uint16_t entries = arguments;
    std::uint8_t slots = arguments;
    std::uint8_t octets[arguments | 1] = {};

    constexpr Extension() {
        for (int i = 0; i < arguments; ++i) {
            octets[i] = static_cast<std::uint8_t>(kFirstIntegerRegister + i);
        }
    }
};

// `type` is an offset into the type format string, or the code of a base type.
struct Parameter {
    std::uint16_t attributes;
    std::uint16_t stack_offset;
    std::uint16_t type;
};

// A procedure called over an explicit binding, which `Binding` describes.
template <NdrTarget target, typename Binding, int arguments, int parameters>
struct Procedure {
    Header header;
    Binding binding;
    Sizes sizes;
    Extension<target, arguments> extension;
    Parameter parameter[parameters];
};

// A callback: bound to the call in progress, so nothing describes a binding.
template <NdrTarget target, int arguments>
struct Callback {
    Header header;
    Sizes sizes;
    Extension<target, arguments> extension;
    Parameter parameter[arguments];
};

// `offset` counts from its own place to the type pointed to.
struct RefPointer {
    std::uint8_t code;
    std::uint8_t flags;
    std::int16_t offset;
};

struct ContextType {
    std::uint8_t code;
    std::uint8_t flags;
    std::uint8_t rundown_index;
    std::uint8_t ordinal;
};

#pragma pack(pop)

}  // namespace ndr20

namespace ndr64 {

inline constexpr std::uint8_t kInt8 = 0x02;
inline constexpr std::uint8_t kInt32 = 0x05;
inline constexpr std::uint8_t kWideString = 0x64;
inline constexpr std::uint8_t kBindContext = 0x70;
inline constexpr std::uint8_t kBindPrimitive = 0x72;

// Procedure flags.
inline constexpr std::uint32_t kExplicitHandle = 0;
inline constexpr std::uint32_t kCallbackHandle = 4;
inline constexpr std::uint32_t kInterpreted = 0x40;
inline constexpr std::uint32_t kClientMustSize = 0x40000;
inline constexpr std::uint32_t kHasExtension = 0x1000000;
inline constexpr std::uint32_t kHasArmPlacement = 0x4000000;

template <NdrTarget target>
inline constexpr std::uint32_t kTargetFlags = target == NdrTarget::kArm64 ? kHasArmPlacement : 0;

struct ContextType {
    std::uint8_t code;
    std::uint8_t flags;
    std::uint8_t rundown_index;
    std::uint8_t ordinal;
};

struct StringType {
    std::uint8_t code;
    std::uint8_t flags;
    std::uint16_t element_size;
};

struct Header {
    std::uint32_t flags;
    std::uint32_t stack_size;
    std::uint32_t client_buffer;
    std::uint32_t server_buffer;
    std::uint16_t rpc_flags;
    std::uint16_t float_mask;
    std::uint16_t parameter_count;
    std::uint16_t extension_size;
};

// For a primitive binding the last two bytes before the notify index are reserved.
struct Binding {
    std::uint8_t code;
    std::uint8_t flags;
    std::uint16_t stack_offset;
    std::uint8_t rundown_index;
    std::uint8_t ordinal;
    std::uint16_t notify_index;
};

struct Parameter {
    const void* type;
    std::uint16_t attributes;
    std::uint16_t reserved;
    std::uint32_t stack_offset;
};

template <int arguments>
struct Placement {
    std::uint16_t entries = arguments;
    std::uint8_t slots = arguments;
    std::uint8_t octets[arguments] = {};

    constexpr Placement() {
        for (int i = 0; i < arguments; ++i) {
            octets[i] = static_cast<std::uint8_t>(kFirstIntegerRegister + i);
        }
    }
};

// A procedure called over an explicit binding.
template <NdrTarget target, int arguments, int parameters>
struct Procedure;

template <int arguments, int parameters>
struct Procedure<NdrTarget::kX64, arguments, parameters> {
    Header header;
    Binding binding;
    Parameter parameter[parameters];
};

template <int arguments, int parameters>
struct Procedure<NdrTarget::kArm64, arguments, parameters> {
    Header header;
    Binding binding;
    Parameter parameter[parameters];
    Placement<arguments> placement = {};
};

// A callback: no extension.
template <NdrTarget target, int arguments>
struct Callback;

template <int arguments>
struct Callback<NdrTarget::kX64, arguments> {
    Header header;
    Parameter parameter[arguments];
};

template <int arguments>
struct Callback<NdrTarget::kArm64, arguments> {
    Header header;
    Parameter parameter[arguments];
    Placement<arguments> placement = {};
};

}  // namespace ndr64
