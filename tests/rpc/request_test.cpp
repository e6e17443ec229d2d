#include "rpc/requestcontext.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <new>
#include <numeric>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "bledevice/blehelper.h"
#include "document/commonhelper.h"
#include "mbn/mbnhelper.h"
#include "rpc/command.h"
#include "rpc/stub/tesselservice.h"
#include "settings/registryhelper.h"
#include "tests/support/race.h"
#include "tests/support/recorders.h"
#include "tests/support/replacedimport.h"
#include "usbpath/usbpathchanger.h"

namespace {

// A call of AnswerCommand by the handler of a family: the family's table and the values.
using Handled = std::tuple<const Command*, const wchar_t*, bool, long, wchar_t*>;
std::vector<Handled> g_handled;

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

void AnswerCommand(std::span<const Command> table,
                   const wchar_t* command,
                   bool flag,
                   long number,
                   wchar_t* text) {
    g_handled.emplace_back(table.data(), command, flag, number, text);
}

namespace {

// Samples: the document's test compares the families' tables with what it promises.
TEST(RequestTest, ACommandReachesItsFamilyAloneAndAnyOtherIsOnlyLogged) {
    const std::pair<std::wstring, std::span<const Command>> rows[] = {
        {L"REGISTRYHELPER_CHECKADDTIONALPENSETTING", kRegistryHelperCommands},
        {L"COMMONHELPER_ISFILE_EXISTS", kCommonHelperCommands},
        {L"MBNHELPER_QEURYPROFILE", kMbnHelperCommands},
        {L"BLEHELPER_ISBLESUPPORT", kBleHelperCommands},
        {L"USBPATHCHANGER_CHANGEUSBPATHTOAP", kUsbPathChangerCommands},
        {L"", {}},
        {L"REGISTRYHELPER_GETDEVICENAME", {}},
        {L"registryhelper_getpensetting", {}},
        {L"REGISTRYHELPER_GETPENSETTIN", {}},
        {L"REGISTRYHELPER_GETPENSETTING ", {}},
        {L"MBNHELPER_QUERYPROFILE", {}},
        {std::wstring(1 << 20, L'A'), {}},
    };
    for (const auto& [command, table] : rows) {
        const std::string name(command.begin(), command.end());
        SCOPED_TRACE(name.substr(0, 100));
        wchar_t text[] = L"\x2603\xE9|\n";
        std::vector<Handled> due;
        if (!table.empty()) {
            due.emplace_back(table.data(), command.c_str(), true, LONG_MIN, text);
        }
        g_handled.clear();
        ClearLoggedLines();
        RemoteRequest(nullptr, command.c_str(), 2, LONG_MIN, text);
        EXPECT_EQ(g_handled, due);
        RemoteRequest(nullptr, command.c_str(), 0, 7, text + 3);
        EXPECT_EQ(LoggedLines(),
                  (std::vector{"Data Recieved requestString : " + name +
                                   " / data_bool : true / data_int : -2147483648 / data_string : "
                                   "\x03\xE9|\n",
                               "Data Recieved requestString : " + name +
                                   " / data_bool : false / data_int : 7 / data_string : \n"}));
    }
}

// A new context whose blocks are watched.
REQUEST_CONTEXT_HANDLE Open() {
    REQUEST_CONTEXT_HANDLE context = nullptr;
    RemoteOpen(nullptr, &context);
    g_watched = {context};
    std::ranges::copy(static_cast<RequestContext*>(context)->slots, g_watched.begin() + 1);
    std::ranges::fill(g_frees, 0);
    return context;
}

void ExpectFreedOnce() {
    for (int i = 0; i < kBlocks; ++i) {
        EXPECT_NE(g_watched[i], nullptr);
        EXPECT_EQ(g_frees[i], 1) << "block " << i;
    }
}

// Two threads of a client may close one context: both calls get the address of the same slot.
TEST(ContextTest, ConcurrentClosesFreeEveryBlockOnce) {
    REQUEST_CONTEXT_HANDLE context = nullptr;
    const int wrong = WrongRounds(
        20000, 3,
        [&](int /*round*/, const auto& /*begin*/) {
            ClearLoggedLines();
            context = Open();
        },
        [&] { RemoteClose(&context); },
        [&] {
            return context == nullptr &&
                   std::ranges::all_of(g_frees, [](int frees) { return frees == 1; });
        });
    EXPECT_EQ(wrong, 0) << "rounds";
}

TEST(ContextTest, WithoutMemoryOpenRaisesAndFreesWhatItHas) {
    for (std::size_t slots = 0; slots < kRequestContextSlots; ++slots) {
        g_watched = {};
        std::ranges::fill(g_frees, 0);
        g_slotsGiven = 0;
        g_slotsLeft = slots;
        REQUEST_CONTEXT_HANDLE context = nullptr;
        try {
            RemoteOpen(nullptr, &context);
            ADD_FAILURE() << "opened with " << slots << " slots";
        } catch (const RPC_STATUS status) {
            EXPECT_EQ(status, RPC_S_OUT_OF_MEMORY);
        }
        g_slotsLeft = SIZE_MAX;
        EXPECT_EQ(context, nullptr);
        EXPECT_EQ(g_slotsGiven, slots);
        EXPECT_EQ(std::accumulate(g_frees.begin(), g_frees.end(), 0), static_cast<int>(slots));
    }
}

TEST(ContextTest, ACloseAndARundownFreeOnceAndLogWhenThereIsNothingToFree) {
    ClearLoggedLines();
    REQUEST_CONTEXT_HANDLE context = Open();
    RemoteClose(&context);
    RemoteClose(&context);
    RemoteClose(nullptr);
    REQUEST_CONTEXT_HANDLE_rundown(context);
    ExpectFreedOnce();
    REQUEST_CONTEXT_HANDLE_rundown(Open());
    ExpectFreedOnce();
    const std::string none = "pphContext == nullptr";
    EXPECT_EQ(LoggedLines(), (std::vector<std::string>{"RemoteOpen", "RemoteClose", "RemoteClose",
                                                       none, "RemoteClose", none, "RemoteClose",
                                                       none, "RemoteOpen", "RemoteClose"}));
}

}  // namespace
