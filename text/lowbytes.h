// Narrow text, as this program makes it.
#pragma once

#include <string>
#include <string_view>

// Kept: the low eight bits of each UTF-16 code unit of `text`, without a code page. Characters
// above U+00FF become other characters. Throws std::bad_alloc.
inline std::string LowBytes(std::wstring_view text) {
    std::string narrow(text.size(), '\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        narrow[i] = static_cast<char>(text[i] & 0xFF);
    }
    return narrow;
}
