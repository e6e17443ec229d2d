// Wide text made of the bytes of a text file, as this program makes it.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Text is widened in blocks of so many bytes, which compilers make vector code of at every level of
// optimisation: fewer bytes than a block are read and written past the end.
inline constexpr std::size_t kWidenBlock = 16;

inline constexpr signed char kCtrlZ = 0x1A;

// The first byte from `bytes` on that is a control character up to Ctrl-Z; there must be one. Looks
// at eight bytes at a time: in the difference, the first of those too small borrows, which shows in
// its highest bit.
inline const signed char* FindControl(const signed char* bytes) {
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    for (;; bytes += sizeof(std::uint64_t)) {
        std::uint64_t word;
        std::memcpy(&word, bytes, sizeof(word));
        const std::uint64_t found = (word - kOnes * (kCtrlZ + 1)) & ~word & (kOnes << 7);
        if (found != 0) {
            return bytes + (std::countr_zero(found) / 8);
        }
    }
}

// Writes one UTF-16 code unit for each of `count` bytes. Kept: sign-extended, with no code page
// involved: a byte below 0x80 stays what it is, others come out as U+FF80 to U+FFFF. Returns the
// end.
inline wchar_t* Widen(const signed char* __restrict bytes,
                      std::size_t count,
                      wchar_t* __restrict text) {
    for (std::size_t done = 0; done < count; done += kWidenBlock) {
        for (std::size_t i = 0; i < kWidenBlock; ++i) {
            text[done + i] = static_cast<wchar_t>(bytes[done + i]);
        }
    }
    return text + count;
}

// Widens the bytes from `next` to `end` as the C runtime's text mode reads them, CR LF as LF, and
// returns the end of what is written to `text`. Leaves `next` at `end`, at the Ctrl-Z that ends the
// text, or at a CR that is the last byte: what follows it decides. A block past `end` must belong
// to the bytes, whose first is written over, and one past as many units as bytes to the text.
inline wchar_t* WidenText(const signed char*& next, signed char* end, wchar_t* text) {
    *end = kCtrlZ;
    for (;;) {
        const signed char* const stop = FindControl(next);
        text = Widen(next, static_cast<std::size_t>(stop - next), text);
        next = stop;
        if (*next == kCtrlZ || (*next == '\r' && next + 1 == end)) {
            return text;
        }
        if (*next == '\r' && next[1] == '\n') {
            ++next;
        }
        *text++ = static_cast<wchar_t>(*next++);
    }
}
