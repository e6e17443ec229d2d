// Narrow text as this program makes it.
#pragma once

#include <string>
#include <string_view>

// Kept: each UTF-16 code unit of `text` reduced to its low eight bits, with no code page involved:
// characters above U+00FF come out as others. Throws std::bad_alloc.
inline std::string LowBytes(std::wstring_view text) {
    std::string narrow(text.size(), '\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        narrow[i] = static_cast<char>(text[i] & 0xFF);
    }
    return narrow;
}
