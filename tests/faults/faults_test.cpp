// Runs every row of the table of failures, and requests without memory.
#include <gtest/gtest.h>

#include <windows.h>
#include <oleauto.h>
#include <winioctl.h>
#include <winsvc.h>

#include <cstdlib>
#include <fstream>
#include <new>
#include <string>
#include <tuple>

#include "rpc/stub/tesselservice.h"
#include "service/serviceinstall.h"
#include "tests/faults/faulttable.h"
#include "tests/support/interposed.h"
#include "tests/support/recorders.h"
#include "tests/support/registryvalues.h"
#include "tests/support/simulatedmodem.h"

namespace {

std::wstring g_answer;
int g_heldAtAnswer = 0;
const wchar_t* g_states = L"";

int Held() {
    return g_watch.held + static_cast<int>(HeldOfModem());
}

}  // namespace

// Records an answer and the resources that are held while it is sent. Nothing may be held then: the
// call may end with an exception.
void ReportResult(wchar_t* /*command*/, boolean flag, long number, wchar_t* text) {
    g_heldAtAnswer = Held();
    g_watch.on = false;
    g_answer += (flag ? L"true " : L"false ") + std::to_wstring(number) + L" " + text;
}

// The C++ library frees these blocks with free.
void* operator new(std::size_t size) {
    void* block = CountedCallFails("operator new") ? nullptr : std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

namespace {

CONFIGRET GiveList(GUID*, wchar_t*, wchar_t* buffer, ULONG length, ULONG) {
    wcsncpy(buffer, L"NUL\0", length);
    return CR_SUCCESS;
}

BOOL GiveValue(HANDLE, DWORD, void*, DWORD, void* output, DWORD size, DWORD*, OVERLAPPED*) {
    if (size == sizeof(DWORD)) {
        *static_cast<DWORD*>(output) = 85;
    }
    return TRUE;
}

BOOL GiveStatus(SC_HANDLE, SERVICE_STATUS* status) {
    status->dwCurrentState = *g_states - L'0';
    g_states += g_states[1] != L'\0' ? 1 : 0;
    return TRUE;
}

}  // namespace

INTERPOSE(RegOpenKeyExW, kOpensOnZero);
INTERPOSE(RegCreateKeyExW, kOpensOnZero);
INTERPOSE(RegCloseKey, kCloses);
INTERPOSE(RegQueryValueExW, kNone);
INTERPOSE(RegSetValueExW, kNone);
INTERPOSE_BY(CM_Get_Device_Interface_List_SizeW,
             kNone,
             (*std::get<0>(std::tuple(arguments...)) = 5, CR_SUCCESS));
INTERPOSE_BY(CM_Get_Device_Interface_ListW, kNone, GiveList(arguments...));
INTERPOSE(CreateFileW, kOpensHandle);
INTERPOSE_BY(DeviceIoControl, kNone, GiveValue(arguments...));
INTERPOSE(CloseHandle, kCloses);
INTERPOSE(CoCreateInstance, kNone);
INTERPOSE(SafeArrayGetLBound, kNone);
INTERPOSE(SafeArrayGetUBound, kNone);
INTERPOSE(SafeArrayGetElement, kNone);
INTERPOSE(ReadFile, kNone);
INTERPOSE(FlsSetValue, kNone);
INTERPOSE(GetModuleFileNameW, kNone);
INTERPOSE_GIVES(OpenSCManagerW, kOpensHandle, 1);
INTERPOSE_GIVES(OpenServiceW, kOpensHandle, 2);
INTERPOSE_GIVES(CreateServiceW, kOpensHandle, 3);
INTERPOSE_GIVES(CloseServiceHandle, kCloses, 1);
INTERPOSE_BY(ControlService, kNone, GiveStatus(nullptr, std::get<2>(std::tuple(arguments...))));
INTERPOSE_BY(QueryServiceStatus, kNone, GiveStatus(arguments...));
INTERPOSE_GIVES(DeleteService, kNone, 1);
INTERPOSE_BY(Sleep,
             kNone,
             (g_watch.on ? void() : Windows<Watched_Sleep, decltype(Sleep)>::Act(arguments...)));

namespace {

constexpr wchar_t kSettingsKey[] = L"SOFTWARE\\Bramble\\BrambleSettings";

void Request(const std::wstring& action) {
    const std::wstring command = action.substr(0, action.find(L' '));
    std::wstring text = action == command ? L"own text" : action.substr(command.size() + 1);
    g_watch.on = true;
    RemoteRequest(nullptr, command.c_str(), 1, 7, text.data());
    g_watch.on = false;
}

void CleanUp() {
    ClearModem();
    for (const wchar_t* key :
         {L"SOFTWARE\\Bramble", L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\ClickNote",
          L"SYSTEM\\ControlSet001\\Control\\USBFN", L"SYSTEM\\ControlSet001\\Services\\QCUSBFNSS",
          L"SYSTEM\\ControlSet001\\Services\\QCDIAGROUTER",
          L"SYSTEM\\ControlSet001\\Services\\QCDiagBridge"}) {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, key);
    }
    DeleteFileW(L"document.txt");
}

// Sets the state of the notebook before each row.
void Arrange() {
    CleanUp();
    Store(std::wstring(kSettingsKey) + L"\\PenOption", L"ButtonAction", 5);
    Request(L"USBPATHCHANGER_CHANGEUSBPATHTOCP");
    AddInterface(L"0");
    AddInterface(L"1");
    Store(Modem(L"0"), L"ActivationState", 1);
    Store(Modem(L"1"), L"ActivationState", 3);
    Store(Modem(L"0\\Profiles\\0"), L"Name", L"a");
    Store(Modem(L"0\\Profiles\\1"), L"Name", L"b");
    Store(Modem(L"1\\Profiles\\0"), L"Name", L"Bramble Profile");
    std::ofstream("document.txt") << "line";
}

// Carries out a command, installs the service, or removes it. The states of the service that is
// removed come after a blank.
void Act(const std::wstring& action) {
    g_states = action.size() > 8 && action[0] == L'-' ? action.c_str() + 8 : L"331";
    g_watch.on = action[0] == L'-';
    if (action == L"-install") {
        InstallService();
    } else if (action[0] == L'-') {
        RemoveService();
    } else {
        Request(action);
    }
    g_watch.on = false;
}

// What an action has done: a modem command to the first letters of the profiles and the states of
// the connections, a settings command to the screen mode and the colour profile (-1: none).
std::wstring Traces(const std::wstring& action) {
    std::wstring traces;
    const auto add = [&](const std::wstring& key, const wchar_t* name) {
        traces += L" " + std::to_wstring(StoredNumber(key, name).value_or(-1));
    };
    if (action.starts_with(L"MBNHELPER_")) {
        for (const wchar_t* place : {L"0\\Profiles\\0", L"0\\Profiles\\1", L"1\\Profiles\\0"}) {
            traces += StoredText(Modem(place), L"Name").substr(0, 1);
        }
        add(Modem(L"0"), L"ActivationState");
        add(Modem(L"1"), L"ActivationState");
    }
    if (action.starts_with(SETTINGS)) {
        add(kSettingsKey, L"ScreenMode");
        add(kSettingsKey, L"ColorProfile");
    }
    return traces;
}

// The log without the lines of the requests.
std::string Logged() {
    std::string log;
    for (const std::string& line : TakeLog()) {
        if (!line.starts_with("Data Recieved ")) {
            log += line + ";";
        }
    }
    return log;
}

TEST(FaultsTest, EveryFailureOfWindowsComesToWhatTheTableSays) {
    RegisterModem(true);
    for (const FaultRow& row : kFaults) {
        SCOPED_TRACE(row.function + std::string(" ") + std::to_string(row.call));
        const std::wstring action = row.action;
        SCOPED_TRACE(std::string(action.begin(), action.end()));
        Arrange();
        if (std::string_view(row.function).starts_with("Fail")) {
            const std::string_view name = row.function;
            FailModem(L"", std::wstring(name.begin(), name.end()).c_str());
        }
        TakeLog();
        TakePrinted();
        g_answer.clear();
        g_heldAtAnswer = row.held;
        g_watch = {false, {row.function, row.call, row.result, row.last_error}};
        Act(action);
        EXPECT_EQ(g_answer, row.answer);
        EXPECT_EQ(Logged(), row.logged);
        EXPECT_EQ(TakePrinted(), row.printed);
        EXPECT_EQ(Held(), row.held);
        EXPECT_EQ(g_heldAtAnswer, row.held);
        if (row.calls >= 0) {
            EXPECT_EQ(g_watch.calls, row.calls);
        }
        if (row.traces != nullptr) {
            EXPECT_EQ(Traces(action), row.traces);
        }
    }
    EXPECT_EQ(g_aliveWhenLeft, 0);
    CleanUp();
    RegisterModem(false);
}

// The answer to a request and its traces, if the allocation of that number fails (from 1 on).
std::wstring AnswerWithout(int allocation, const std::wstring& action) {
    g_watch = {};
    Arrange();
    g_answer.clear();
    g_watch = {false, {"operator new", allocation}};
    Request(action);
    return g_answer + Traces(action);
}

// Without memory a line of the log is lost or a document cannot be read, and nothing else.
TEST(FaultsTest, EveryRequestIsDoneAndAnsweredWithoutMemory) {
    const std::pair<std::wstring, std::wstring> actions[] = {
        {SETTINGS L"GETPENSETTING", L"true 5 own text -1 -1"},
        {SETTINGS L"GETPENCLICKSETTING", L"true -100 own text -1 -1"},
        {SETTINGS L"GETPENPRESSURESENSITIVITY", L"true -1 own text -1 -1"},
        {SETTINGS L"SETSCREENMODE", L"true 7 own text 7 7"},
        {SETTINGS L"GETSCREENMODE", L"true 99 own text 99 3"},
        {SETTINGS L"CHECKADDTIONALPENSETTING", L"true 7 own text -1 -1"},
        {L"COMMONHELPER_ISFILE_EXISTS .\\.\\.\\document.txt", L"true 7 "},
        {L"COMMONHELPER_READEULADOCUMENT document.txt", L"true 7 line\n"},
    };
    for (const auto& [action, answer] : actions) {
        SCOPED_TRACE(testing::PrintToString(action));
        EXPECT_EQ(AnswerWithout(0, action), answer);
        const int allocations = g_watch.calls;
        EXPECT_GT(allocations, 0);
        for (int i = 1; i <= allocations; ++i) {
            const std::wstring given = AnswerWithout(i, action);
            if (action.starts_with(SETTINGS)) {
                EXPECT_EQ(given, answer);
            } else {
                EXPECT_TRUE(given == answer || given == L"true 7 " || given == L"false 7 ");
            }
        }
    }
    CleanUp();
}

}  // namespace
