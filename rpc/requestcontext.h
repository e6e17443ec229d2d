// What stands behind a client's context handle.
#pragma once

// It only tells one client from another. Allocated with malloc, and so is freed with free; each
// slot holds a block of one byte.
inline constexpr int kRequestContextSlots = 6;
struct RequestContext {
    void* slots[kRequestContextSlots];
};
