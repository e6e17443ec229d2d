#include "rpc/requestcontext.h"

#include <gtest/gtest.h>
#include <windows.h>
#include <psapi.h>

#include <climits>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "bledevice/blehelper.h"
#include "document/commonhelper.h"
#include "mbn/mbnhelper.h"
#include "rpc/command.h"
#include "rpc/stub/tesselservice.h"
#include "settings/registryhelper.h"
#include "tests/support/recorders.h"
#include "usbpath/usbpathchanger.h"

namespace {

// A request as its family's handler passed it on: with the family's table, and the values.
using Handled = std::tuple<const Command*, const wchar_t*, bool, long, wchar_t*>;
std::vector<Handled> g_handled;

}  // namespace

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
    // protocol_document compares the tables with what the document promises.
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

TEST_F(RequestTest, ContextsAreDistinctAndEndByCloseOrRundown) {
    REQUEST_CONTEXT_HANDLE first = nullptr;
    REQUEST_CONTEXT_HANDLE second = nullptr;
    RemoteOpen(nullptr, &first);
    RemoteOpen(nullptr, &second);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    for (const void* slot : static_cast<RequestContext*>(first)->slots) {
        EXPECT_NE(slot, nullptr);
    }
    RemoteClose(&first);
    EXPECT_EQ(first, nullptr);
    REQUEST_CONTEXT_HANDLE_rundown(second);
    RemoteClose(&first);
    REQUEST_CONTEXT_HANDLE_rundown(nullptr);
    EXPECT_EQ(LoggedLines(),
              (std::vector<std::string>{"RemoteOpen", "RemoteOpen", "RemoteClose", "RemoteClose",
                                        "RemoteClose", "pphContext == nullptr", "RemoteClose",
                                        "pphContext == nullptr"}));

    // Of so many, one byte each that stayed would be seen.
    const auto memory = [] {
        PROCESS_MEMORY_COUNTERS counters = {};
        K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
        return counters.WorkingSetSize;
    };
    const SIZE_T before = memory();
    for (int i = 0; i < 50000; ++i) {
        RemoteOpen(nullptr, &first);
        RemoteClose(&first);
        ClearLoggedLines();
    }
    EXPECT_LT(memory(), before + 500'000);
}

}  // namespace
