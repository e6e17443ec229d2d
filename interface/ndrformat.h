// The structures of the tables by which the RPC runtime marshals a call, in the transfer syntaxes
// NDR 2.0 and NDR64.
#pragma once

#include <cstddef>
#include <cstdint>

// ARM64 tables also have the register of every argument.
#if defined(__aarch64__) || defined(_M_ARM64)
#define ARGUMENTS_IN_REGISTERS 1
#else
#define ARGUMENTS_IN_REGISTERS 0
#endif
inline constexpr bool kArm64 = ARGUMENTS_IN_REGISTERS != 0;

// The registers of an ARM64 call: one octet for each argument, the binding handle included.
template <int arguments, int size>
struct RegisterOctets {
    std::uint8_t octets[size] = {};

    constexpr RegisterOctets() {
        constexpr int kFirstIntegerRegister = 0x80;
        for (int i = 0; i < arguments; ++i) {
            octets[i] = static_cast<std::uint8_t>(kFirstIntegerRegister + i);
        }
    }
};

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

// Procedure header: RPC flags present, new initialisation.
inline constexpr std::uint8_t kOiFlags = 0x48;
// Second header: extension present, client must size its buffer.
inline constexpr std::uint8_t kHasExtension = 0x40;
inline constexpr std::uint8_t kClientMustSize = 0x02;
// Extension: new correlation descriptors, as in "robust" stubs.
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

// The highest sizes, in bytes, of the parameters with a fixed size in a packet.
struct Sizes {
    std::uint16_t client_buffer;
    std::uint16_t server_buffer;
    std::uint8_t flags;
    std::uint8_t parameter_count;
};

template <int arguments>
struct Extension {
    std::uint8_t size = sizeof(Extension);
    std::uint8_t flags = kNewCorrelation;
    std::uint16_t client_hint = 0;
    std::uint16_t server_hint = 0;
    std::uint16_t notify_index = 0;
#if ARGUMENTS_IN_REGISTERS
    std::uint16_t entries = arguments;
    std::uint8_t slots = arguments;
    // One byte of padding if the size of the extension would be odd.
    RegisterOctets<arguments, arguments | 1> registers;
#else
    std::uint16_t float_mask = 0;
#endif
};

// `type` is an offset into the type format string, or the code of a base type.
struct Parameter {
    std::uint16_t attributes;
    std::uint16_t stack_offset;
    std::uint16_t type;
};

// A procedure with an explicit binding, which `Binding` describes.
template <typename Binding, int arguments, int parameters>
struct Procedure {
    Header header;
    Binding binding;
    Sizes sizes;
    Extension<arguments> extension;
    Parameter parameter[parameters];
};

// A callback. It uses the binding of the call in progress.
template <int arguments>
struct Callback {
    Header header;
    Sizes sizes;
    Extension<arguments> extension;
    Parameter parameter[arguments];
};

// `offset` is the distance from this field to the type of the target.
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

inline constexpr std::uint32_t kMachineFlags = kArm64 ? kHasArmPlacement : 0;

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

// For a primitive binding `rundown_index` and `ordinal` are reserved.
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
    RegisterOctets<arguments, arguments> registers;
};

// A procedure with an explicit binding.
template <int arguments, int parameters>
struct Procedure {
    Header header;
    Binding binding;
    Parameter parameter[parameters];
#if ARGUMENTS_IN_REGISTERS
    Placement<arguments> placement = {};
#endif
};

// A callback, without a binding.
template <int arguments>
struct Callback {
    Header header;
    Parameter parameter[arguments];
#if ARGUMENTS_IN_REGISTERS
    Placement<arguments> placement = {};
#endif
};

}  // namespace ndr64

#undef ARGUMENTS_IN_REGISTERS
