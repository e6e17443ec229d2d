// Converts wide text to narrow text.
#pragma once

#include <string>
#include <string_view>

// Returns the low eight bits of each UTF-16 code unit of `text`. Throws std::bad_alloc. Kept: no
// code page; characters above U+00FF become other characters.
inline std::string LowBytes(std::wstring_view text) {
    std::string narrow(text.size(), '\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        narrow[i] = static_cast<char>(text[i] & 0xFF);
    }
    return narrow;
}
