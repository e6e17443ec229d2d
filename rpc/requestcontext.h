// What stands behind a client's context handle.
#pragma once

// Kept: six slots with a block of one byte each, which nobody reads or writes. It only tells one
// client from another.
inline constexpr int kRequestContextSlots = 6;
struct RequestContext {
    void* slots[kRequestContextSlots];
};
