#include "tools/stubdump/walk.h"

#include <map>
#include <set>

namespace {

// Attributes of a parameter.
const std::uint32_t kMustSize = 1, kMustFree = 2, kIn = 8, kOut = 0x10, kBase = 0x40,
                    kByValue = 0x80, kSimpleRef = 0x100;
// Flags of a context handle.
const std::uint32_t kViaPointer = 0x80, kFlagIn = 0x40, kFlagOut = 0x20, kNoSerialize = 4,
                    kNotNull = 1;

struct Type {
    std::string name;
    std::uint32_t context_flags = 0;
};

// As in NDR 2.0, whatever the syntax.
struct Parameter {
    std::uint32_t attributes;
    std::uint32_t stack_offset;
    Type type;
};

struct Procedure {
    std::string binding;
    std::uint32_t binding_flags = 0;
    std::uint32_t binding_offset = 0;
    std::uint32_t stack_size = 0;
    bool client_must_size = false;
    std::vector<std::uint32_t> registers;
    std::vector<Parameter> parameters;
    std::uint32_t client_buffer = 0;
    std::uint32_t server_buffer = 0;
};

std::string Describe(const Procedure& procedure) {
    std::string text = "by " + procedure.binding + ":";
    for (const auto& [attributes, stack_offset, type] : procedure.parameters) {
        text += attributes & kOut ? attributes & kIn ? " [in, out] " : " [out] " : " [in] ";
        text += type.name;
        text += type.context_flags & kViaPointer ? "*" : "";
        text += type.context_flags & kNotNull ? " not null" : "";
        text += "@" + std::to_string(stack_offset);
    }
    return text + "; stack " + std::to_string(procedure.stack_size);
}

class Walker {
 public:
    explicit Walker(const StubImage& image) : m_image(image) {}

    Walk Run() {
        // A read outside the tables ends the walk: the runtime would read foreign memory.
        try {
            m_at = m_image.Named("type_string").address;
            ReadTypeString();
            m_at = m_image.Named("proc_string").address;
            ReadNdr20("offsets", 3, "call ");
            ReadNdr20("callback_offsets", 1, "callback ");
            Require(Take(1) == 0, "procedure string ends in zero");
            RequireEnd("proc_string");
            Require(m_used_types.size() == m_types.size(), "every type is used");
            ReadNdr64("procedures", 3, "call ");
            ReadNdr64("callback_procedures", 1, "callback ");
            Require(m_walk.ndr20 == m_walk.ndr64, "the syntaxes describe the same");
        } catch (const std::out_of_range& broken) {
            m_walk.violations.push_back(broken.what());
        }
        return m_walk;
    }

 private:
    void Require(bool holds, const char* rule) {
        if (!holds) {
            m_walk.violations.push_back(rule);
        }
    }

    std::uint32_t Take(std::size_t size) {
        m_at += size;
        return static_cast<std::uint32_t>(m_image.Read(m_at - size, size));
    }

    void RequireEnd(const std::string& name) {
        const StubObject& object = m_image.Named(name);
        Require(m_at == object.address + object.bytes.size(), "no more bytes");
    }

    // The type string from its start; parameters may refer only to what begins a type here. A
    // pointer leads to what follows it.
    void ReadTypeString() {
        const std::uint64_t start = m_at;
        Require(Take(2) == 0, "type string starts with zero");
        while (const std::uint32_t code = Take(1)) {
            const auto offset = static_cast<std::uint32_t>(m_at - 1 - start);
            if (code == 0x11) {
                const bool to_string = Take(1) == 8;
                Require(to_string || (m_image.Read(m_at - 1, 1) == 4 && Take(2) == 2),
                        "pointer to what follows");
                Require(to_string ? m_image.Read(m_at, 1) == 0x25
                                  : m_image.Read(m_at, 1) == 0x30 &&
                                        (m_image.Read(m_at + 1, 1) & kViaPointer) != 0,
                        "pointer to a string or to a context");
            } else if (code == 0x25) {
                Require(Take(1) == 0x5c, "string is padded");
                m_types[offset] = {"string"};
            } else if (code == 0x30) {
                m_types[offset] = {"context", Take(1)};
                Require(Take(2) == 0, "the only rundown routine, the only context");
            } else {
                throw std::out_of_range("unknown type");
            }
        }
        RequireEnd("type_string");
    }

    void ReadNdr20(const char* offsets, unsigned count, const std::string& title) {
        const std::uint64_t start = m_image.Named("proc_string").address;
        for (unsigned i = 0; i < count; ++i) {
            Require(start + m_image.Read(m_image.Named(offsets).address + 2 * i, 2) == m_at,
                    "procedures follow each other");
            Procedure procedure;
            const std::uint32_t handle = Take(1);
            Require(Take(1) == 0x48 && Take(4) == 0, "new initialisation, no RPC flags");
            Require(Take(2) == i, "procedure number");
            procedure.stack_size = Take(2);
            const std::uint32_t code = handle == 0x34 ? 0 : Take(1);
            Require(handle == (code ? 0 : 0x34), "kind of handle");
            ReadBinding(code, 0x30, &procedure);
            procedure.client_buffer = Take(2);
            procedure.server_buffer = Take(2);
            const std::uint32_t flags = Take(1);
            Require((flags & ~2u) == 0x40, "interpreter flags");
            procedure.client_must_size = (flags & 2) != 0;
            const std::uint32_t parameters = Take(1);

            const std::uint64_t extension_end = m_at + Take(1);
            Require(Take(1) == 1, "checked correlation");
            Require(Take(4) == 0 && Take(2) == 0, "no hints, no notify");
            if (m_image.target == NdrTarget::kX64) {
                Require(Take(2) == 0, "no floating arguments");
            } else {
                ReadPlacement(&procedure);
                Require(procedure.registers.size() % 2 == 1 || Take(1) == 0, "placement is even");
            }
            Require(m_at == extension_end, "size of the extension");

            for (std::uint32_t j = 0; j < parameters; ++j) {
                const std::uint32_t attributes = Take(2);
                const std::uint32_t stack_offset = Take(2);
                const std::uint32_t type = Take(2);
                Type read;
                if (attributes & kBase) {
                    read.name = type == 3 ? "boolean" : type == 8 ? "long" : "";
                } else if (m_types.contains(type)) {
                    read = m_types[type];
                    m_used_types.insert(type);
                }
                procedure.parameters.push_back({attributes, stack_offset, read});
            }
            Check(procedure, 56);
            m_walk.ndr20.push_back(title + std::to_string(i) + " " + Describe(procedure));
        }
    }

    void ReadNdr64(const char* table, unsigned count, const std::string& title) {
        for (unsigned i = 0; i < count; ++i) {
            m_at = m_image.Read(m_image.Named(table).address + 8 * i, 8);
            const StubObject& object = m_image.At(m_at, 1);
            Procedure procedure;
            const std::uint32_t flags = Take(4);
            procedure.stack_size = Take(4);
            procedure.client_buffer = Take(4);
            procedure.server_buffer = Take(4);
            Require(Take(4) == 0, "no RPC flags, no floating arguments");
            const std::uint32_t parameters = Take(2);
            const std::uint32_t extension = Take(2);
            procedure.client_must_size = (flags & 0x40000) != 0;
            const bool callback = (flags & 7) == 4;
            Require((flags & ~0x40000u) == (0x40u | (callback ? 4 : 0x1000000) |
                                            (m_image.target == NdrTarget::kArm64 ? 0x4000000 : 0)),
                    "procedure flags");
            Require(extension == (callback ? 0 : 8), "size of the extension");
            ReadBinding(callback ? 0 : Take(1), 0x70, &procedure);
            for (std::uint32_t j = 0; j < parameters; ++j) {
                const Type type = ReadNdr64Type(m_image.Read(m_at, 8));
                m_at += 8;
                const std::uint32_t attributes = Take(2);
                Require(((attributes & kByValue) != 0) == ((attributes & kBase) != 0),
                        "base types and only they are by value");
                Require(Take(2) == 0, "reserved");
                procedure.parameters.push_back({attributes & ~kByValue, Take(4), type});
            }
            if (m_image.target == NdrTarget::kArm64) {
                ReadPlacement(&procedure);
            }
            while ((m_at - object.address) % 8 != 0) {
                Require(Take(1) == 0, "padding");
            }
            RequireEnd(object.name);
            Check(procedure, 60);
            m_walk.ndr64.push_back(title + std::to_string(i) + " " + Describe(procedure));
        }
    }

    Type ReadNdr64Type(std::uint64_t at) {
        switch (m_image.Read(at, 1)) {
            case 0x02:
                return {"boolean"};
            case 0x05:
                return {"long"};
            case 0x64:
                Require(m_image.Read(at, 4) == 0x20064, "string of wide characters");
                return {"string"};
            case 0x70:
                Require(m_image.Read(at + 2, 2) == 0, "the only rundown routine and context");
                return {"context", static_cast<std::uint32_t>(m_image.Read(at + 1, 1))};
            default:
                return {};
        }
    }

    // What follows the code, which is that of a primitive binding 2 behind that of a context;
    // without one the procedure is a callback.
    void ReadBinding(std::uint32_t code, std::uint32_t context, Procedure* procedure) {
        if (code == 0) {
            procedure->binding = "the call in progress";
            return;
        }
        Require(code == context || code == context + 2, "kind of binding");
        procedure->binding = code == context ? "context" : "handle_t";
        procedure->binding_flags = Take(1);
        procedure->binding_offset = Take(2);
        Require(code == 0x32 || Take(context == 0x30 ? 2 : 4) == 0,
                "the only rundown routine and context, no notify");
    }

    void ReadPlacement(Procedure* procedure) {
        const std::uint32_t entries = Take(2);
        Require(Take(1) == entries, "one slot per entry");
        for (std::uint32_t i = 0; i < entries; ++i) {
            procedure->registers.push_back(Take(1));
        }
    }

    // What holds for one procedure in either syntax. `context_bytes` bounds a context that is
    // passed through a pointer.
    void Check(const Procedure& procedure, std::uint32_t context_bytes) {
        const bool primitive = procedure.binding == "handle_t";
        bool bound = procedure.binding != "context";
        Require(!primitive || (procedure.binding_offset == 0 && procedure.binding_flags == 0),
                "primitive binding");
        std::uint32_t stack = primitive ? 8 : 0, in_bytes = 0, out_bytes = 0;
        bool in_sized = false;
        for (const auto& [attributes, stack_offset, type] : procedure.parameters) {
            Require(stack_offset == stack, "stack offset");
            stack += 8;
            const std::uint32_t flags = type.context_flags;
            std::uint32_t expected = kIn, bytes = 0;
            if (type.name == "string") {
                expected |= kMustSize | kMustFree | kSimpleRef;
            } else if (type.name == "context") {
                const bool pointer = (flags & kViaPointer) != 0;
                expected = (flags & kFlagIn ? kIn : 0) | (flags & kFlagOut ? kOut : 0) |
                           (pointer ? kSimpleRef : 0);
                bytes = pointer ? context_bytes : 36;
                Require((flags & ~(kViaPointer | kFlagIn | kFlagOut)) ==
                            (kNoSerialize | (expected & kIn ? kNotNull : 0)),
                        "not serialized, not null where it comes in");
                Require(pointer || !(expected & kOut), "an out context is a pointer");
                bound = bound || (stack_offset == procedure.binding_offset &&
                                  flags == (procedure.binding_flags ^ kNotNull));
            } else {
                expected |= kBase;
                bytes = type.name == "boolean" ? 5 : 8;
                Require(!type.name.empty(), "known type");
            }
            Require(attributes == expected, "attributes of a parameter");
            in_bytes += expected & kIn ? bytes : 0;
            out_bytes += expected & kOut ? bytes : 0;
            in_sized = in_sized || (expected & kMustSize) != 0;
        }
        Require(bound, "the binding is one of the parameters");
        Require(procedure.stack_size == stack, "stack size");
        Require(procedure.client_buffer == in_bytes, "client buffer");
        Require(procedure.server_buffer == out_bytes, "server buffer");
        Require(procedure.client_must_size == in_sized, "client must size");
        std::vector<std::uint32_t> registers;
        for (std::uint32_t i = 0; m_image.target == NdrTarget::kArm64 && i < stack / 8; ++i) {
            registers.push_back(0x80 + i);
        }
        Require(procedure.registers == registers, "one register per argument");
    }

    const StubImage& m_image;
    std::uint64_t m_at = 0;
    Walk m_walk;
    std::map<std::uint32_t, Type> m_types;
    std::set<std::uint32_t> m_used_types;
};

}  // namespace

Walk WalkTables(const StubImage& image) {
    return Walker(image).Run();
}
