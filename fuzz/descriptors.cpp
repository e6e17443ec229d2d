// Reads USB descriptors as a host does, with every length checked. The product's own must be whole;
// damaged ones must not lead the reader astray, and whatever it takes must add up.
#include <algorithm>
#include <span>
#include <string_view>

#include "fuzz/input.h"
#include "usbpath/usbfnvalues.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

std::uint32_t Number(Bytes bytes, std::size_t at, std::size_t size) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < size; ++i) {
        number |= std::uint32_t{bytes[at + i]} << (8 * i);
    }
    return number;
}

// A header and as many device capabilities as it says.
bool ReadBos(Bytes bytes) {
    if (bytes.size() < 5 || bytes[0] != 5 || bytes[1] != 0x0F ||
        Number(bytes, 2, 2) != bytes.size()) {
        return false;
    }
    std::size_t at = 5;
    for (int left = bytes[4]; left > 0; --left) {
        if (bytes.size() - at < 3 || bytes[at] < 3 || bytes[at] > bytes.size() - at ||
            bytes[at + 1] != 0x10) {
            return false;
        }
        at += bytes[at];
    }
    return at == bytes.size();
}

// An interface and as many endpoints as it says, no address twice.
bool ReadInterface(Bytes bytes) {
    if (bytes.size() < 9 || bytes[0] != 9 || bytes[1] != 4 || bytes.size() != 9 + 7u * bytes[4]) {
        return false;
    }
    bool seen[256] = {};
    for (std::size_t at = 9; at < bytes.size(); at += 7) {
        if (bytes[at] != 7 || bytes[at + 1] != 5 || seen[bytes[at + 2]] ||
            Number(bytes, at + 4, 2) == 0) {
            return false;
        }
        seen[bytes[at + 2]] = true;
    }
    return true;
}

// A header and as many sections of 24 bytes as it says.
bool ReadCompatibleIds(Bytes bytes) {
    if (bytes.size() < 16 || Number(bytes, 0, 4) != bytes.size() || Number(bytes, 4, 2) != 0x0100 ||
        Number(bytes, 6, 2) != 4 || bytes.size() != 16 + 24u * bytes[8]) {
        return false;
    }
    for (std::size_t at = 16; at < bytes.size(); at += 24) {
        if (bytes[at + 1] != 1) {
            return false;
        }
    }
    return true;
}

// A UTF-16 text that ends with its only terminator.
bool IsText(Bytes bytes) {
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
        if (Number(bytes, at, 2) == 0) {
            return at + 2 == bytes.size();
        }
    }
    return false;
}

// A header and as many properties as it says, whose parts fill each of them.
bool ReadExtendedProperties(Bytes bytes) {
    if (bytes.size() < 10 || Number(bytes, 0, 4) != bytes.size() || Number(bytes, 4, 2) != 0x0100 ||
        Number(bytes, 6, 2) != 5) {
        return false;
    }
    Bytes rest = bytes.subspan(10);
    for (std::uint32_t left = Number(bytes, 8, 2); left > 0; --left) {
        if (rest.size() < 14 || Number(rest, 0, 4) < 14 || Number(rest, 0, 4) > rest.size()) {
            return false;
        }
        const Bytes section = rest.first(Number(rest, 0, 4));
        rest = rest.subspan(section.size());
        const std::uint32_t type = Number(section, 4, 4);
        const std::uint32_t name_size = Number(section, 8, 2);
        if (name_size > section.size() - 14 || !IsText(section.subspan(10, name_size))) {
            return false;
        }
        const Bytes data = section.subspan(14 + name_size);
        if (Number(section, 10 + name_size, 4) != data.size() ||
            !(type == 1 ? IsText(data) : type == 4 && data.size() == 4)) {
            return false;
        }
    }
    return rest.empty();
}

bool ReadAny(Bytes bytes) {
    return ReadBos(bytes) || ReadInterface(bytes) || ReadCompatibleIds(bytes) ||
           ReadExtendedProperties(bytes);
}

// The reader that a value's name calls for.
bool ReadNamed(std::wstring_view name, Bytes bytes) {
    return name == L"BOSDescriptor"            ? ReadBos(bytes)
           : name == L"InterfaceDescriptor"    ? ReadInterface(bytes)
           : name == L"MSOSCompatIdDescriptor" ? ReadCompatibleIds(bytes)
                                               : ReadExtendedProperties(bytes);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::size_t descriptors = 0;
    for (const UsbfnStep& step : kCpSequence) {
        if (step.action == UsbfnAction::kSetBinary) {
            Require(ReadNamed(step.value_name, step.bytes));
            ++descriptors;
        }
    }
    Require(descriptors == 7);
    return 0;
}

// The first byte picks one of the product's descriptors, which the rest, as pairs of place and
// value, damages; without one to pick, the rest is read as it is.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    std::vector<std::uint8_t> bytes(data + 1, data + size);
    if (data[0] < kCpSequence.size() && !kCpSequence[data[0]].bytes.empty()) {
        const UsbfnStep& step = kCpSequence[data[0]];
        bytes.assign(step.bytes.begin(), step.bytes.end());
        for (std::size_t i = 1; i + 2 < size; i += 3) {
            bytes[(data[i] | data[i + 1] << 8) % bytes.size()] = data[i + 2];
        }
        bytes.shrink_to_fit();
        ReadNamed(step.value_name, bytes);
    }
    if (ReadAny(bytes)) {
        // Its length is part of each: a longer or a shorter one is another descriptor.
        bytes.push_back(0);
        Require(!ReadAny(bytes));
        bytes.resize(bytes.size() - 2);
        Require(!ReadAny(bytes));
    }
    return 0;
}
