// The stub tables as bytes at the addresses where the RPC runtime finds them, and what they must
// satisfy. The walk reads the bytes alone, so that it works on a damaged copy too.
#pragma once

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "rpc/stubs.h"

struct StubObject {
    std::string name;
    std::uint64_t address;
    // Of a function, none.
    std::vector<std::uint8_t> bytes;
};

struct StubImage {
    std::string title;
    NdrTarget target = kNdrTarget;
    bool is_server = false;
    std::vector<StubObject> objects;
    // The first objects are the format tables, the rest descriptors.
    std::size_t format_tables = 0;

    template <typename T>
    void Add(const char* name, const T* object, std::size_t count = 1) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(object);
        objects.push_back(
            {name, reinterpret_cast<std::uintptr_t>(object), {bytes, bytes + count * sizeof(T)}});
    }
    template <typename R, typename... Arguments>
    void AddFunction(const char* name, R (*function)(Arguments...)) {
        objects.push_back({name, reinterpret_cast<std::uintptr_t>(function), {}});
    }

    // An object or function by name; throws std::out_of_range without one.
    const StubObject& Named(const std::string& name) const {
        for (const StubObject& object : objects) {
            if (object.name == name) {
                return object;
            }
        }
        throw std::out_of_range("nothing named " + name);
    }

    // The object that holds all of `size` bytes at `address`; throws std::out_of_range.
    const StubObject& At(std::uint64_t address, std::size_t size) const {
        for (const StubObject& object : objects) {
            const std::uint64_t offset = address - object.address;
            if (offset < object.bytes.size() && size <= object.bytes.size() - offset) {
                return object;
            }
        }
        throw std::out_of_range("reads outside every object");
    }

    // A little-endian number of `size` bytes, at most 8; throws std::out_of_range.
    std::uint64_t Read(std::uint64_t address, std::size_t size) const {
        const StubObject& object = At(address, size);
        std::uint64_t value = 0;
        std::memcpy(&value, object.bytes.data() + (address - object.address), size);
        return value;
    }
};

// The format tables of one machine.
template <NdrTarget target>
StubImage FormatImage(const char* title) {
    StubImage image = {title, target, false, {}};
    image.Add("type_string", &ndr20::kTypeFormat.format);
    image.Add("proc_string", &ndr20::kProcFormat<target>.format);
    image.Add("offsets", ndr20::kProcOffsets<target>, 3);
    image.Add("callback_offsets", ndr20::kCallbackOffsets<target>, 1);
    image.Add("procedures", ndr64::kProcTable<target>, 3);
    image.Add("callback_procedures", ndr64::kCallbackTable<target>, 1);
    image.Add("open", &ndr64::kRemoteOpen<target>);
    image.Add("close", &ndr64::kRemoteClose<target>);
    image.Add("request", &ndr64::kRemoteRequest<target>);
    image.Add("report", &ndr64::kReportResult<target>);
    image.Add("context_out", &ndr64::kContextOut);
    image.Add("context_in_out", &ndr64::kContextInOut);
    image.Add("context_in", &ndr64::kContextIn);
    image.Add("string", &ndr64::kString);
    image.Add("boolean", &ndr64::kBoolean);
    image.Add("number", &ndr64::kNumber);
    image.format_tables = image.objects.size();
    return image;
}

// The procedures that each syntax describes, the callback last, and every rule that the tables
// break.
struct Walk {
    std::vector<std::string> ndr20;
    std::vector<std::string> ndr64;
    std::vector<std::string> violations;
};

// Reads the format tables as the RPC runtime does and holds them against the rules of both syntaxes
// and against each other.
Walk WalkTables(const StubImage& image);
