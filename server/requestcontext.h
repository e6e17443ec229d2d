// The block that a client's context handle points to.
#pragma once

#include <cstddef>
#include <memory>

// Kept: six slots, each with a block of one byte that nothing reads or writes.
inline constexpr int kRequestContextSlots = 6;
struct RequestContext {
    std::unique_ptr<std::byte> slots[kRequestContextSlots];
};
