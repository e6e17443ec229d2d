// Wide text made of the bytes of a text file.
#pragma once

#include <memory>
#include <string>

// Reads `bytes` as the C runtime's text mode does: CR LF is LF, and Ctrl-Z ends the text. The
// result ends with a zero. Throws std::bad_alloc.
//
// Kept: a last line without a line break gets one.
// Kept: each byte is sign-extended to one UTF-16 code unit, with no code page: a byte from 0x80 on
// becomes U+FF80 to U+FFFF.
inline std::unique_ptr<wchar_t[]> WideText(const std::string& bytes) {
    constexpr char kCtrlZ = 0x1A;
    // One more for the last line's break, and one for the zero.
    auto text = std::make_unique_for_overwrite<wchar_t[]>(bytes.size() + 2);
    wchar_t* end = text.get();
    for (std::size_t i = 0; i < bytes.size() && bytes[i] != kCtrlZ; ++i) {
        // A string has a zero after its last byte.
        if (bytes[i] != '\r' || bytes[i + 1] != '\n') {
            *end++ = static_cast<wchar_t>(static_cast<signed char>(bytes[i]));
        }
    }
    if (end != text.get() && end[-1] != L'\n') {
        *end++ = L'\n';
    }
    *end = L'\0';
    return text;
}
