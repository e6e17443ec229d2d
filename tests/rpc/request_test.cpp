#include "rpc/requestcontext.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <new>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "rpc/stub/tesselservice.h"
#include "tests/support/recorders.h"
#include "tests/support/replacedimport.h"

namespace {

// The blocks of a context and how often each was freed. They are only counted and stay allocated.
constexpr int kBlocks = 1 + kRequestContextSlots;
std::array<void*, kBlocks> g_watched;
std::array<std::atomic<int>, kBlocks> g_frees;

// How many slots can be filled before memory runs out, and how many were filled.
std::size_t g_slotsLeft = SIZE_MAX;
std::size_t g_slotsGiven = 0;

// Throws a C++ exception: a test cannot catch the exception of the RPC runtime.
[[noreturn]] void WINAPI Raise(RPC_STATUS status) {
    throw status;
}
REPLACE_IMPORT(RpcRaiseException, Raise);

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (g_slotsGiven == g_slotsLeft) {
        return nullptr;
    }
    void* block = std::malloc(size);
    if (g_slotsLeft < kRequestContextSlots) {
        g_watched[g_slotsGiven++] = block;
    }
    return block;
}

extern "C" void free(void* block) {
    const auto watched = std::ranges::find(g_watched, block);
    if (block != nullptr && watched != g_watched.end()) {
        ++g_frees[watched - g_watched.begin()];
    } else if (block != nullptr && std::realloc(block, 0) != nullptr) {
        std::abort();
    }
}

namespace {

// Opens a context whose blocks are watched.
REQUEST_CONTEXT_HANDLE Open() {
    REQUEST_CONTEXT_HANDLE context = nullptr;
    RemoteOpen(nullptr, &context);
    g_watched = {context};
    std::ranges::copy(static_cast<RequestContext*>(context)->slots, g_watched.begin() + 1);
    std::ranges::fill(g_frees, 0);
    return context;
}

bool AreAllFreedOnce() {
    return std::ranges::all_of(g_frees, [](int frees) { return frees == 1; });
}

void WaitFor(const std::atomic<int>& counter, int value) {
    for (int i = 0; counter != value; ++i) {
        if (i > 1000) {
            std::this_thread::yield();
        }
    }
}

// Two threads of a client may close one context: both calls get the address of the same slot.
TEST(ContextTest, TwoClosesAtTheSameTimeFreeEveryBlockOnce) {
    constexpr int kRounds = 20000;
    REQUEST_CONTEXT_HANDLE context = nullptr;
    std::atomic<int> opened = 0;
    std::atomic<int> closed = 0;
    std::thread other([&] {
        for (int round = 1; round <= kRounds; ++round) {
            WaitFor(opened, round);
            RemoteClose(&context);
            closed = round;
        }
    });
    int wrong_rounds = 0;
    for (int round = 1; round <= kRounds; ++round) {
        context = Open();
        opened = round;
        // The threads meet at another moment in each round.
        for (volatile int delay = round % 400; delay != 0;) {
            delay = delay - 1;
        }
        RemoteClose(&context);
        WaitFor(closed, round);
        wrong_rounds += context == nullptr && AreAllFreedOnce() ? 0 : 1;
    }
    other.join();
    EXPECT_EQ(wrong_rounds, 0);
    TakeLog();
}

TEST(ContextTest, WithoutMemoryOpenRaisesAndFreesWhatItHas) {
    for (std::size_t slots = 0; slots < kRequestContextSlots; ++slots) {
        g_watched = {};
        std::ranges::fill(g_frees, 0);
        g_slotsGiven = 0;
        g_slotsLeft = slots;
        REQUEST_CONTEXT_HANDLE context = nullptr;
        RPC_STATUS raised = RPC_S_OK;
        try {
            RemoteOpen(nullptr, &context);
        } catch (const RPC_STATUS status) {
            raised = status;
        }
        g_slotsLeft = SIZE_MAX;
        EXPECT_EQ(raised, RPC_S_OUT_OF_MEMORY);
        EXPECT_EQ(context, nullptr);
        EXPECT_EQ(g_slotsGiven, slots);
        EXPECT_EQ(std::accumulate(g_frees.begin(), g_frees.end(), 0), static_cast<int>(slots));
    }
    TakeLog();
}

TEST(ContextTest, ACloseAndARundownFreeOnceAndLogWhenThereIsNothingToFree) {
    REQUEST_CONTEXT_HANDLE context = Open();
    RemoteClose(&context);
    RemoteClose(&context);
    RemoteClose(nullptr);
    REQUEST_CONTEXT_HANDLE_rundown(context);
    EXPECT_TRUE(AreAllFreedOnce());
    const std::string none = "pphContext == nullptr";
    EXPECT_EQ(TakeLog(), (std::vector<std::string>{"RemoteOpen", "RemoteClose", "RemoteClose", none,
                                                   "RemoteClose", none, "RemoteClose", none}));
    REQUEST_CONTEXT_HANDLE_rundown(Open());
    EXPECT_TRUE(AreAllFreedOnce());
}

}  // namespace
