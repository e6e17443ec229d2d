// A text that is made once, in memory that is not cleared for it, and handed on.
#pragma once

#include <cstddef>
#include <memory>

struct TextDeleter {
    void operator()(wchar_t* text) const noexcept;
};

// UTF-16 code units ended by a zero; never null. The memory of the last one, up to 4 MB, is kept
// for the next: its pages, if they were new, would cost more than reading and widening a document.
using OwnedText = std::unique_ptr<wchar_t[], TextDeleter>;

// Memory for `capacity` units, the zero among them, with nothing written. Throws std::bad_alloc.
OwnedText NewText(std::size_t capacity);
