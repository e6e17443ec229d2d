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
#include <thread>
#include <tuple>
#include <vector>

#include "bledevice/blehelper.h"
#include "document/commonhelper.h"
#include "mbn/mbnhelper.h"
#include "rpc/command.h"
#include "rpc/stub/tesselservice.h"
#include "settings/registryhelper.h"
#include "tests/support/recorders.h"
#include "tests/support/replacedimport.h"
#include "usbpath/usbpathchanger.h"

namespace {

// A call of AnswerCommand by the handler of a family: the family's table and the values.
using Handled = std::tuple<const Command*, const wchar_t*, bool, long, wchar_t*>;
std::vector<Handled> g_handled;

// The blocks of a context and how often each was freed. They are only counted and stay allocated.
constexpr std::size_t kBlocks = 1 + kRequestContextSlots;
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

// Lets other threads run before it returns, so that one that frees the same block gets its turn.
extern "C" void free(void* block) {
    const auto watched = std::ranges::find(g_watched, block);
    if (block != nullptr && watched != g_watched.end()) {
        ++g_frees[watched - g_watched.begin()];
        SwitchToThread();
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

void Send(const std::wstring& command, boolean flag, long number, std::wstring text) {
    RemoteRequest(nullptr, command.c_str(), flag, number, text.data());
}

class RequestTest : public testing::Test {
 protected:
    void SetUp() override {
        g_handled.clear();
        ClearLoggedLines();
    }
};

TEST_F(RequestTest, EveryRoutedCommandReachesItsFamilyAloneWithItsValuesUnchanged) {
    const auto expect_routed = [](const wchar_t* command, std::span<const Command> table) {
        wchar_t text[] = L"text";
        g_handled.clear();
        RemoteRequest(nullptr, command, 2, -5, text);
        EXPECT_EQ(g_handled, std::vector{Handled(table.data(), command, true, -5, text)})
            << command;
    };
    // The test protocol_document compares the tables with the document.
    for (const auto& table : {kRegistryHelperCommands, kCommonHelperCommands, kMbnHelperCommands,
                              kBleHelperCommands, kUsbPathChangerCommands}) {
        for (const Command& row : table) {
            if (row.routed) {
                expect_routed(row.name, table);
            }
        }
    }
    expect_routed(L"REGISTRYHELPER_CHECKADDTIONALPENSETTING", kRegistryHelperCommands);
    expect_routed(L"REGISTRYHELPER_SETDIMMINGTIME", kRegistryHelperCommands);
    expect_routed(L"COMMONHELPER_ISFILE_EXISTS", kCommonHelperCommands);
    expect_routed(L"MBNHELPER_QEURYPROFILE", kMbnHelperCommands);
    expect_routed(L"BLEHELPER_ISBLESUPPORT", kBleHelperCommands);
    expect_routed(L"USBPATHCHANGER_CHANGEUSBPATHTOAP", kUsbPathChangerCommands);
}

TEST_F(RequestTest, EverythingElseReachesNoFamilyButIsLogged) {
    const std::vector<std::wstring> unknown = {L"",
                                               L"REGISTRYHELPER_GETDEVICENAME",
                                               L"registryhelper_getpensetting",
                                               L"REGISTRYHELPER_GETPENSETTIN",
                                               L"REGISTRYHELPER_GETPENSETTING ",
                                               L"MBNHELPER_QUERYPROFILE",
                                               L"BLEHELPER_",
                                               std::wstring(1 << 20, L'A')};
    for (const std::wstring& command : unknown) {
        Send(command, 0, 0, L"");
    }
    EXPECT_TRUE(g_handled.empty());
    const auto lines = LoggedLines();
    ASSERT_EQ(lines.size(), unknown.size());
    EXPECT_EQ(lines[0],
              "Data Recieved requestString :  / data_bool : false / data_int : 0 / data_string : ");
    EXPECT_GT(lines.back().size(), std::size_t{1} << 20);
}

TEST_F(RequestTest, LogLineShowsTheFourValuesInTheirNarrowForm) {
    Send(L"BLEHELPER_GETBLE", 0xFF, INT_MIN, L"\x2603\xE9|\n");
    Send(L"BLEHELPER_GETBLE", 0, INT_MAX, L"x");
    EXPECT_EQ(LoggedLines(),
              (std::vector<std::string>{
                  "Data Recieved requestString : BLEHELPER_GETBLE / data_bool : true / data_int : "
                  "-2147483648 / data_string : \x03\xE9|\n",
                  "Data Recieved requestString : BLEHELPER_GETBLE / data_bool : false / data_int : "
                  "2147483647 / data_string : x"}));
}

class ContextTest : public RequestTest {
 protected:
    // A new context whose blocks are watched.
    static REQUEST_CONTEXT_HANDLE Open() {
        REQUEST_CONTEXT_HANDLE context = nullptr;
        RemoteOpen(nullptr, &context);
        g_watched = {context};
        std::ranges::copy(static_cast<RequestContext*>(context)->slots, g_watched.begin() + 1);
        std::ranges::fill(g_frees, 0);
        return context;
    }

    static void ExpectFreedOnce() {
        for (std::size_t i = 0; i < kBlocks; ++i) {
            EXPECT_NE(g_watched[i], nullptr);
            EXPECT_EQ(g_frees[i], 1) << "block " << i;
        }
    }
};

// Two threads of a client may close one context. Both calls get the address of the same slot.
TEST_F(ContextTest, ConcurrentClosesFreeEveryBlockOnce) {
    for (int round = 0; round < 20; ++round) {
        REQUEST_CONTEXT_HANDLE context = Open();
        std::atomic<int> waiting = 4;
        std::vector<std::thread> closers;
        for (int i = waiting; i != 0; --i) {
            closers.emplace_back([&] {
                for (--waiting; waiting != 0;) {
                }
                RemoteClose(&context);
            });
        }
        for (std::thread& closer : closers) {
            closer.join();
        }
        ExpectFreedOnce();
        EXPECT_EQ(context, nullptr);
    }
}

TEST_F(ContextTest, WithoutMemoryOpenRaisesAndFreesWhatItHas) {
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

TEST_F(ContextTest, ARundownFreesAnOpenContextAndNothingAfterAClose) {
    REQUEST_CONTEXT_HANDLE_rundown(Open());
    ExpectFreedOnce();

    REQUEST_CONTEXT_HANDLE context = Open();
    RemoteClose(&context);
    REQUEST_CONTEXT_HANDLE_rundown(context);
    ExpectFreedOnce();
}

TEST_F(ContextTest, ACloseOfNothingIsLoggedAsSuch) {
    const std::vector<std::string> lines = {"RemoteClose", "pphContext == nullptr"};
    REQUEST_CONTEXT_HANDLE none = nullptr;
    RemoteClose(&none);
    EXPECT_EQ(LoggedLines(), lines);
    ClearLoggedLines();
    RemoteClose(nullptr);
    EXPECT_EQ(LoggedLines(), lines);
    ClearLoggedLines();
    RemoteClose(&(none = Open()));
    EXPECT_EQ(LoggedLines(), (std::vector<std::string>{"RemoteOpen", "RemoteClose"}));
}

}  // namespace
