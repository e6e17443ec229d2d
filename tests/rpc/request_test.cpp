#include "rpc/requestcontext.h"

#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <string>
#include <vector>

#include "bledevice/blehelper.h"
#include "document/commonhelper.h"
#include "mbn/mbnhelper.h"
#include "rpc/stub/tesselservice.h"
#include "settings/registryhelper.h"
#include "tests/support/recordedlog.h"
#include "usbpath/usbpathchanger.h"

namespace {

// A request as its family received it.
struct Handled {
    std::string family;
    handle_t binding;
    const wchar_t* command;
    bool data_bool;
    long data_int;
    wchar_t* data_string;
};

std::vector<Handled> g_handled;

void Note(const char* family,
          handle_t binding,
          const wchar_t* command,
          bool data_bool,
          long data_int,
          wchar_t* data_string) {
    g_handled.push_back({family, binding, command, data_bool, data_int, data_string});
}

}  // namespace

void RegistryHelperCommand(handle_t h, const wchar_t* c, bool b, long i, wchar_t* s) {
    Note("REGISTRYHELPER", h, c, b, i, s);
}
void CommonHelperCommand(handle_t h, const wchar_t* c, bool b, long i, wchar_t* s) {
    Note("COMMONHELPER", h, c, b, i, s);
}
void MbnHelperCommand(handle_t h, const wchar_t* c, bool b, long i, wchar_t* s) {
    Note("MBNHELPER", h, c, b, i, s);
}
void BleHelperCommand(handle_t h, const wchar_t* c, bool b, long i, wchar_t* s) {
    Note("BLEHELPER", h, c, b, i, s);
}
void UsbPathChangerCommand(handle_t h, const wchar_t* c, bool b, long i, wchar_t* s) {
    Note("USBPATHCHANGER", h, c, b, i, s);
}

namespace {

// What the settings app sends, by family.
const std::map<std::string, std::vector<std::wstring>> kRouted = {
    {"REGISTRYHELPER",
     {L"CHECKADDTIONALPENSETTING", L"GETPENSETTING", L"SETPENSETTING", L"GETPENCLICKSETTING",
      L"SETPENCLICKSETTING", L"GETPENPRESSURESENSITIVITY", L"SETPENPRESSURESENSITIVITY",
      L"SETSCREENMODE", L"GETSCREENMODE", L"SETDIMMINGTIME", L"GETDIMMINGTIME",
      L"ISSMARTDIMMINGSUPPORT", L"ISVZWQ"}},
    {"COMMONHELPER", {L"ISFILE_EXISTS", L"READEULADOCUMENT"}},
    {"MBNHELPER",
     {L"GETNETWORKMODE", L"SETNETWORKMODE", L"CHECKINTERFACE", L"CHECKSIMSTATUS",
      L"GETHOMEPROVIDERID", L"CONNECT", L"DISCONNECT", L"GETHOMEPROVIDERNAME", L"GETSUBSCRIBERID",
      L"GETSIMICCID", L"GETRECOMMENDPROFILE", L"CREATEPROFILE", L"DELETEPROFILE", L"QEURYPROFILE",
      L"UPDATEPROFILE", L"CREATEAPNDB"}},
    {"BLEHELPER", {L"GETBLE", L"SETBLE", L"ISBLESUPPORT"}},
    {"USBPATHCHANGER", {L"SMGETMUICSTATUS", L"CHANGEUSBPATHTOCP", L"CHANGEUSBPATHTOAP"}},
};

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
    int commands = 0;
    for (const auto& [family, words] : kRouted) {
        for (const std::wstring& word : words) {
            const std::wstring command = std::wstring(family.begin(), family.end()) + L"_" + word;
            std::wstring text = L"text";
            g_handled.clear();
            RemoteRequest(nullptr, command.c_str(), 2, -5, text.data());
            ASSERT_EQ(g_handled.size(), 1U) << family;
            const Handled& handled = g_handled[0];
            EXPECT_EQ(handled.family, family);
            EXPECT_EQ(handled.binding, nullptr);
            EXPECT_EQ(handled.command, command.c_str());
            EXPECT_TRUE(handled.data_bool);
            EXPECT_EQ(handled.data_int, -5);
            EXPECT_EQ(handled.data_string, text.data());
            ++commands;
        }
    }
    EXPECT_EQ(commands, 37);
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
}

}  // namespace
