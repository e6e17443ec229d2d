// Wide text made of bytes, as this program makes it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>

// Appends one UTF-16 code unit for each of `bytes`, sign-extended with no code page involved: a
// byte below 0x80 stays what it is, others come out as U+FF80 to U+FFFF. Throws std::bad_alloc and
// std::length_error.
inline void AppendWidened(std::wstring& text, std::span<const signed char> bytes) {
    const std::size_t old_length = text.size();
    text.resize(old_length + bytes.size());
    std::ranges::transform(bytes, text.begin() + static_cast<std::ptrdiff_t>(old_length),
                           [](signed char byte) { return static_cast<wchar_t>(byte); });
}
