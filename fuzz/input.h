// Helpers of the fuzz targets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

// Ends the run if `holds` is false: libFuzzer reports the input.
inline void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// Reads UTF-16 code units, little-endian. An odd last byte is a unit too.
inline std::wstring Units(const std::uint8_t* data, std::size_t size) {
    std::wstring units;
    for (std::size_t i = 0; i < size; i += 2) {
        units += static_cast<wchar_t>(data[i] | (i + 1 < size ? data[i + 1] << 8 : 0));
    }
    return units;
}
