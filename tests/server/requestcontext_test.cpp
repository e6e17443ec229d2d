#include "server/requestcontext.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "interface/tesselservice.h"
#include "tests/support/recorders.h"
#include "tests/support/replacedimport.h"

namespace {

constexpr int kBlocks = 1 + kRequestContextSlots;

// The memory of one context. Freed blocks are only counted: a block that is freed twice does no
// harm.
struct alignas(std::max_align_t) Block {
    std::byte bytes[sizeof(RequestContext)];
};
Block g_blocks[kBlocks];
// How many of them are not allocated, and how many were freed.
int g_left = 0;
std::atomic<int> g_freed = 0;

// Throws a C++ exception: a test cannot catch the exception of the RPC runtime.
[[noreturn]] void WINAPI Raise(RPC_STATUS status) {
    throw status;
}
REPLACE_IMPORT(RpcRaiseException, Raise);

}  // namespace

void* operator new(std::size_t /*size*/, const std::nothrow_t&) noexcept {
    return g_left > 0 ? &g_blocks[--g_left] : nullptr;
}

void operator delete(void* block) noexcept {
    if (block >= std::begin(g_blocks) && block < std::end(g_blocks)) {
        ++g_freed;
    } else {
        std::free(block);
    }
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
    operator delete(block);
}

namespace {

REQUEST_CONTEXT_HANDLE Open(int blocks = kBlocks) {
    g_left = blocks;
    g_freed = 0;
    REQUEST_CONTEXT_HANDLE context = nullptr;
    RemoteOpen(nullptr, &context);
    return context;
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
        wrong_rounds += context == nullptr && g_freed == kBlocks ? 0 : 1;
    }
    others[0].join();
    others[1].join();
    EXPECT_EQ(wrong_rounds, 0);
    TakeLog();
}

TEST(ContextTest, WithoutMemoryOpenRaisesAndFreesWhatItHas) {
    for (int blocks = 0; blocks < kBlocks; ++blocks) {
        EXPECT_THROW(Open(blocks), RPC_STATUS);
        EXPECT_EQ(g_freed, blocks);
    }
    TakeLog();
}

TEST(ContextTest, ACloseAndARundownLogWhenThereIsNothingToFree) {
    REQUEST_CONTEXT_HANDLE context = Open();
    RemoteClose(&context);
    RemoteClose(&context);
    RemoteClose(nullptr);
    REQUEST_CONTEXT_HANDLE_rundown(context);
    EXPECT_EQ(g_freed, kBlocks);
    const std::string none = "pphContext == nullptr";
    EXPECT_EQ(TakeLog(), (std::vector<std::string>{"RemoteOpen", "RemoteClose", "RemoteClose", none,
                                                   "RemoteClose", none, "RemoteClose", none}));
    REQUEST_CONTEXT_HANDLE_rundown(Open());
    EXPECT_EQ(g_freed, kBlocks);
}

}  // namespace
