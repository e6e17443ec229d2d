#include "rpc/requestcontext.h"

#include <gtest/gtest.h>
#include <windows.h>
#include <psapi.h>

#include <climits>
#include <string>
#include <tuple>
#include <vector>

#include "bledevice/blehelper.h"
#include "document/commonhelper.h"
#include "mbn/mbnhelper.h"
#include "rpc/commandlists.h"
#include "rpc/stub/tesselservice.h"
#include "settings/registryhelper.h"
#include "tests/support/recorders.h"
#include "usbpath/usbpathchanger.h"

namespace {

// A request as its family received it: the prefix of its commands, and the values.
using Handled = std::tuple<std::wstring, handle_t, const wchar_t*, bool, long, wchar_t*>;
std::vector<Handled> g_handled;

}  // namespace

void RegistryHelperCommand(handle_t h, const wchar_t* c, bool b, long i, wchar_t* s) {
    g_handled.emplace_back(L"REGISTRYHELPER_", h, c, b, i, s);
}
void CommonHelperCommand(handle_t h, const wchar_t* c, bool b, long i, wchar_t* s) {
    g_handled.emplace_back(L"COMMONHELPER_", h, c, b, i, s);
}
void MbnHelperCommand(handle_t h, const wchar_t* c, bool b, long i, wchar_t* s) {
    g_handled.emplace_back(L"MBNHELPER_", h, c, b, i, s);
}
void BleHelperCommand(handle_t h, const wchar_t* c, bool b, long i, wchar_t* s) {
    g_handled.emplace_back(L"BLEHELPER_", h, c, b, i, s);
}
void UsbPathChangerCommand(handle_t h, const wchar_t* c, bool b, long i, wchar_t* s) {
    g_handled.emplace_back(L"USBPATHCHANGER_", h, c, b, i, s);
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

// protocol_document compares the lists with what the document promises.
TEST_F(RequestTest, EveryRoutedCommandReachesItsFamilyAloneWithItsValuesUnchanged) {
    std::vector<const wchar_t*> commands = {L"REGISTRYHELPER_CHECKADDTIONALPENSETTING",
                                            L"REGISTRYHELPER_ISVZWQ", L"MBNHELPER_QEURYPROFILE",
                                            L"USBPATHCHANGER_CHANGEUSBPATHTOAP"};
    const auto add = [&](const auto& list) {
        commands.insert(commands.end(), std::begin(list), std::end(list));
    };
    add(kRegistryHelperCommands);
    add(kCommonHelperCommands);
    add(kMbnHelperCommands);
    add(kBleHelperCommands);
    add(kUsbPathChangerCommands);
    EXPECT_EQ(commands.size(), 4U + 37U);
    for (const wchar_t* command : commands) {
        const std::wstring name = command;
        const std::wstring prefix = name.substr(0, name.find(L'_') + 1);
        wchar_t text[] = L"text";
        g_handled.clear();
        RemoteRequest(nullptr, command, 2, -5, text);
        EXPECT_EQ(g_handled, std::vector{Handled(prefix, nullptr, command, true, -5, text)})
            << command;
    }
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
