#include "document/documenttext.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <utility>

#include "text/widebytes.h"
#include "win32/uniquehandle.h"

namespace {

constexpr std::size_t kChunk = 32768;

// Units behind the text: a CR and a line break that come with the file's end, the zero, and what is
// written of the last block.
constexpr std::size_t kBehind = 3 + kWidenBlock;

}  // namespace

OwnedText ReadDocumentText(const wchar_t* path) {
    const FileHandle file(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        // Kept: as an empty file.
        OwnedText none = NewText(1);
        none[0] = L'\0';
        return none;
    }
    // Memory for all of it at once, if it has a length (a pipe has none): growing holds the text
    // twice.
    LARGE_INTEGER size = {};
    GetFileSizeEx(file.get(), &size);
    std::size_t capacity = static_cast<std::size_t>(size.QuadPart) + kBehind;
    OwnedText text = NewText(capacity);
    wchar_t* end = text.get();

    // The first byte is the CR that was the last of the chunk before, if it was one.
    std::array<signed char, 1 + kChunk + kWidenBlock> bytes;
    bytes[0] = '\r';
    bool after_cr = false;
    DWORD count = 0;
    while (ReadFile(file.get(), &bytes[1], kChunk, &count, nullptr) && count > 0) {
        const std::size_t length = end - text.get();
        if (capacity - length < count + kBehind) {
            capacity = 2 * (length + kChunk);
            OwnedText larger = NewText(capacity);
            end = std::copy(text.get(), end, larger.get());
            text = std::move(larger);
        }
        const signed char* next = &bytes[after_cr ? 0 : 1];
        signed char* const bytes_end = &bytes[1 + count];
        end = WidenText(next, bytes_end, end);
        after_cr = next != bytes_end && *next == '\r';
        if (next != bytes_end && !after_cr) {
            break;  // At a Ctrl-Z.
        }
    }
    if (after_cr) {
        *end++ = L'\r';
    }
    // Kept: a last line without a break gets one.
    if (end != text.get() && end[-1] != L'\n') {
        *end++ = L'\n';
    }
    *end = L'\0';
    return text;
}
