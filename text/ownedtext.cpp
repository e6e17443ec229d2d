#include "text/ownedtext.h"

#include <atomic>
#include <cstdint>
#include <new>

namespace {

constexpr std::size_t kLargestSpare = (4U << 20) / sizeof(wchar_t);

// A text's memory begins with its capacity in units.
std::atomic<std::size_t*> g_spare;

}  // namespace

void TextDeleter::operator()(wchar_t* text) const noexcept {
    std::size_t* memory = reinterpret_cast<std::size_t*>(text) - 1;
    if (*memory <= kLargestSpare) {
        memory = g_spare.exchange(memory);
    }
    operator delete(memory);
}

OwnedText NewText(std::size_t capacity) {
    std::size_t* memory = g_spare.exchange(nullptr);
    if (memory == nullptr || *memory < capacity) {
        operator delete(memory);
        if (capacity > SIZE_MAX / (2 * sizeof(wchar_t))) {
            throw std::bad_alloc();
        }
        memory =
            static_cast<std::size_t*>(operator new(sizeof(*memory) + capacity * sizeof(wchar_t)));
        *memory = capacity;
    }
    return OwnedText(reinterpret_cast<wchar_t*>(memory + 1));
}
