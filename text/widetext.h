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
    explicit WideText(std::size_t size) : capacity_(size + kEnd), text_(Allocate(capacity_)) {}

    // Appends the next bytes of the file, and allocates more memory if necessary. Returns false if
    // a Ctrl-Z has ended the text. Throws std::bad_alloc.
    bool Append(std::string_view bytes) {
        constexpr char kCtrlZ = 0x1A;
        if (capacity_ - length_ < bytes.size() + kEnd) {
            capacity_ = 2 * (length_ + bytes.size() + kEnd);
            auto larger = Allocate(capacity_);
            std::copy_n(text_.get(), length_, larger.get());
            text_ = std::move(larger);
        }
        bool ended = false;
        wchar_t* end = &text_[length_];
        for (const char byte : bytes) {
            if (byte == '\n') {
                if (end != text_.get() && end[-1] == L'\r') {
                    --end;
                }
            } else if (byte == kCtrlZ) {
                ended = true;
                break;
            }
            *end++ = static_cast<wchar_t>(static_cast<signed char>(byte));
        }
        length_ = end - text_.get();
        return !ended;
    }

    // Ends the last line, and gives the terminated text to the caller.
    std::unique_ptr<wchar_t[]> Finish() {
        if (length_ > 0 && text_[length_ - 1] != L'\n') {
            text_[length_++] = L'\n';
        }
        text_[length_] = L'\0';
        return std::move(text_);
    }

 private:
    // Units for the line break of the last line and the terminator.
    static constexpr std::size_t kEnd = 2;

    static std::unique_ptr<wchar_t[]> Allocate(std::size_t units) {
        return std::make_unique_for_overwrite<wchar_t[]>(units);
    }

    std::size_t capacity_;
    std::size_t length_ = 0;
    std::unique_ptr<wchar_t[]> text_;
};
