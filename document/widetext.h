// Converts the bytes of a text file to wide text.
#pragma once

#include <algorithm>
#include <memory>
#include <string_view>

// Converts bytes as the C runtime's text mode does: CR LF becomes LF, and Ctrl-Z ends the text.
//
// Kept: a last line without a line break gets one.
// Kept: each byte is sign-extended to one UTF-16 code unit, with no code page: a byte from 0x80 on
// becomes U+FF80 to U+FFFF.
class WideText {
 public:
    // Allocates memory for `size` bytes. Throws std::bad_alloc.
    explicit WideText(std::size_t size) : m_capacity(size + kEnd), m_text(Allocate(m_capacity)) {}

    // Appends the next bytes of the file, and allocates more memory if necessary. Returns false if
    // a Ctrl-Z has ended the text. Throws std::bad_alloc.
    bool Append(std::string_view bytes) {
        constexpr char kCtrlZ = 0x1A;
        if (m_capacity - m_length < bytes.size() + kEnd) {
            m_capacity = 2 * (m_length + bytes.size() + kEnd);
            auto larger = Allocate(m_capacity);
            std::copy_n(m_text.get(), m_length, larger.get());
            m_text = std::move(larger);
        }
        bool ended = false;
        wchar_t* end = &m_text[m_length];
        for (const char byte : bytes) {
            if (byte == kCtrlZ) {
                ended = true;
                break;
            }
            if (byte == '\n' && end != m_text.get() && end[-1] == L'\r') {
                --end;
            }
            *end++ = static_cast<wchar_t>(static_cast<signed char>(byte));
        }
        m_length = end - m_text.get();
        return !ended;
    }

    // Ends the last line, and gives the terminated text to the caller.
    std::unique_ptr<wchar_t[]> Finish() {
        if (m_length > 0 && m_text[m_length - 1] != L'\n') {
            m_text[m_length++] = L'\n';
        }
        m_text[m_length] = L'\0';
        return std::move(m_text);
    }

 private:
    // Units for the line break of the last line and the terminator.
    static constexpr std::size_t kEnd = 2;

    static std::unique_ptr<wchar_t[]> Allocate(std::size_t units) {
        return std::make_unique_for_overwrite<wchar_t[]>(units);
    }

    std::size_t m_capacity;
    std::size_t m_length = 0;
    std::unique_ptr<wchar_t[]> m_text;
};
