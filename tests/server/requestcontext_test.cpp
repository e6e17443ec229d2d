#include "server/requestcontext.h"

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

#include "interface/tesselservice.h"
#include "tests/support/recorders.h"
#include "tests/support/replacedimport.h"

namespace {

// The blocks of the last context, first its own and then its slots, and how often each was freed.
// They are only counted and stay allocated.
std::array<void*, 1 + kRequestContextSlots> g_blocks;
std::array<std::atomic<int>, 1 + kRequestContextSlots> g_frees;

// How many slots are filled, and how many can be filled before memory runs out.
int g_filled = 0;
int g_limit = kRequestContextSlots;

// Throws a C++ exception: a test cannot catch the exception of the RPC runtime.
[[noreturn]] void WINAPI Raise(RPC_STATUS status) {
    throw status;
}
REPLACE_IMPORT(RpcRaiseException, Raise);

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return g_filled < g_limit ? g_blocks[++g_filled] = std::malloc(size) : nullptr;
}

extern "C" void free(void* block) {
    const auto watched = std::ranges::find(g_blocks, block);
    if (block != nullptr && watched != g_blocks.end()) {
        ++g_frees[watched - g_blocks.begin()];
    } else if (block != nullptr && std::realloc(block, 0) != nullptr) {
        std::abort();
    }
}

namespace {

REQUEST_CONTEXT_HANDLE Open() {
    g_blocks = {};
    g_filled = 0;
    std::ranges::fill(g_frees, 0);
    REQUEST_CONTEXT_HANDLE context = nullptr;
    RemoteOpen(nullptr, &context);
    g_blocks[0] = context;
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

// Threads of a client may close one context: their calls get the address of the same slot.
TEST(ContextTest, ClosesAtTheSameTimeFreeEveryBlockOnce) {
    constexpr int kRounds = 20000;
    REQUEST_CONTEXT_HANDLE context = nullptr;
    std::atomic<int> opened = 0;
    std::atomic<int> closed = 0;
    const auto close_all = [&] {
        for (int round = 1; round <= kRounds; ++round) {
            WaitFor(opened, round);
            RemoteClose(&context);
            ++closed;
        }
    };
    std::thread others[] = {std::thread(close_all), std::thread(close_all)};
    int wrong_rounds = 0;
    for (int round = 1; round <= kRounds; ++round) {
        context = Open();
        opened = round;
        // This thread closes at another moment in each round.
        for (volatile int delay = round % 400; delay != 0;) {
            delay = delay - 1;
        }
        RemoteClose(&context);
        WaitFor(closed, 2 * round);
        wrong_rounds += context == nullptr && AreAllFreedOnce() ? 0 : 1;
    }
    others[0].join();
    others[1].join();
    EXPECT_EQ(wrong_rounds, 0);
    TakeLog();
}

TEST(ContextTest, WithoutMemoryOpenRaisesAndFreesWhatItHas) {
    for (g_limit = 0; g_limit < kRequestContextSlots; ++g_limit) {
        RPC_STATUS raised = RPC_S_OK;
        try {
            Open();
        } catch (const RPC_STATUS status) {
            raised = status;
        }
        EXPECT_EQ(raised, RPC_S_OUT_OF_MEMORY);
        EXPECT_EQ(g_filled, g_limit);
        EXPECT_EQ(std::accumulate(g_frees.begin(), g_frees.end(), 0), g_limit);
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
