// The inputs of the targets, made of libFuzzer's bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

// Ends the run if `holds` is false: libFuzzer reports the input.
inline void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// UTF-16 code units, little-endian. An odd last byte is a unit too.
inline std::wstring Units(const std::uint8_t* data, std::size_t size) {
    std::wstring units;
    for (std::size_t i = 0; i < size; i += 2) {
        units += static_cast<wchar_t>(data[i] | (i + 1 < size ? data[i + 1] << 8 : 0));
    }
    return units;
}

// The same, split at zero units. At least one string.
inline std::vector<std::wstring> Strings(const std::uint8_t* data, std::size_t size) {
    std::vector<std::wstring> strings(1);
    for (const wchar_t unit : Units(data, size)) {
        if (unit == L'\0') {
            strings.emplace_back();
        } else {
            strings.back() += unit;
        }
    }
    return strings;
}
