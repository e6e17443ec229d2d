// Failures of Windows functions, and the results of each.
#pragma once

#include <windows.h>
#include <cfgmgr32.h>

#include <cstdint>

struct FaultRow {
    // The function and the number of the call that fails; 0: none fails, calls are counted. A name
    // that begins with "Fail" is a function of the simulated modem, which fails always.
    const char* function;
    int call;
    std::intptr_t result;
    DWORD last_error;
    // The number of calls in all, which shows whether the product goes on. -1: not compared.
    int calls;
    // A command, with a text other than "own text" after a blank; flag true, number 7. Or
    // the switch of the program.
    const wchar_t* action;
    // Flag, number and text of the answer.
    const wchar_t* answer;
    // The lines of the log after that of the request, each ended by ";".
    const char* logged = "";
    const wchar_t* printed = L"";
    // Its traces, if compared; see Traces in the test.
    const wchar_t* traces = nullptr;
    // Handles, keys, objects, strings and apartments still held.
    int held = 0;
};

#define SETTINGS L"REGISTRYHELPER_"
#define STOPPED L"Stopping Tessel Service..\nTessel Service is stopped.\n"
#define REMOVED L"Tessel Service is removed.\n"
#define NO_PROFILE_MANAGER L"CoCreateInstance CLSID_MbnConnectionProfileManager error"

inline constexpr const char kReadFailed[] = "Register Open Error;Register Query Error;";
// clang-format off
inline constexpr FaultRow kFaults[] = {
    // The settings: the registry holds ButtonAction 5 and nothing else.
    {"RegOpenKeyExW", 1, 5, 0, 1, SETTINGS L"GETPENSETTING", L"true -1 own text", kReadFailed},
    {"RegQueryValueExW", 1, 2, 0, 1, SETTINGS L"GETPENCLICKSETTING", L"true -100 own text", "Register Query Error;"},
    {"RegCreateKeyExW", 1, 5, 0, 2, SETTINGS L"GETSCREENMODE", L"true 99 own text",
        "Register Query Error;RegCreateKeyEx Error - 5;GetScreenMode : 99;", L"", L" -1 3"},
    {"RegCreateKeyExW", 1, 5, 0, 1, SETTINGS L"SETPENSETTING", L"false 7 own text", "RegCreateKeyEx Error - 5;"},
    {"RegCreateKeyExW", 1, 5, 0, 1, SETTINGS L"SETPENPRESSURESENSITIVITY", L"true 7 own text", "RegCreateKeyEx Error - 5;"},
    {"RegCreateKeyExW", 1, 5, 0, 2, SETTINGS L"SETSCREENMODE", L"false 7 own text",
        "RegCreateKeyEx Error - 5;Set Screen Mode Failure;", L"", L" -1 7"},
    {"RegCreateKeyExW", 2, 5, 0, 2, SETTINGS L"SETSCREENMODE", L"true 7 own text",
        "RegCreateKeyEx Error - 5;Set Screen Mode Success;", L"", L" 7 -1"},
    {"RegCreateKeyExW", 1, 5, 0, 1, SETTINGS L"CHECKADDTIONALPENSETTING", L"false 7 own text", kReadFailed},
    {"RegSetValueExW", 1, -7, 0, 1, SETTINGS L"SETPENSETTING", L"false 7 own text", "RegSetValueEx Error - -7;"},
    {"RegSetValueExW", 1, 5, 0, 1, SETTINGS L"CHECKADDTIONALPENSETTING", L"false 7 own text", kReadFailed},

    // The routes of the USB port: it is routed to the modem.
    {"RegCreateKeyExW", 8, 5, 0, 41, L"USBPATHCHANGER_CHANGEUSBPATHTOCP", L"true 7 own text"},
    {"RegSetValueExW", 3, 112, 4711, 41, L"USBPATHCHANGER_CHANGEUSBPATHTOCP", L"true 7 own text", "",
        L"RegSetValueEx fail, GetLastError(4711) ValueName[bMaxPower]\n"},

    // The control device: its value is 85.
    {"CM_Get_Device_Interface_List_SizeW", 1, CR_FAILURE, 0, 1, L"BLEHELPER_GETBLE", L"false 0 own text"},
    {"CM_Get_Device_Interface_ListW", 1, CR_BUFFER_SMALL, 0, 1, L"BLEHELPER_GETBLE", L"false 0 own text"},
    // The device stays open.
    {"DeviceIoControl", 1, 0, 31, 1, L"BLEHELPER_GETBLE", L"false 0 own text", "", L"", nullptr, 1},
    {"DeviceIoControl", 1, 0, 31, 1, L"BLEHELPER_SETBLE", L"true 7 own text", "", L"", nullptr, 1},
    {"DeviceIoControl", 1, 0, 31, 1, L"BLEHELPER_ISBLESUPPORT", L"true 0 own text", "", L"", nullptr, 1},

    // The modem: the first interface is connected and has the profiles a and b. The second is not
    // connected and has the profile of the service, B.
    {"CoInitializeEx", 1, E_FAIL, 0, 1, L"MBNHELPER_CHECKSIMSTATUS", L"true 0 own text", "", L"Coinitialize failed"},
    {"CoInitializeEx", 2, E_FAIL, 0, 2, L"MBNHELPER_DELETEPROFILE", L"true 7 own text", "", L"Coinitialize failed", L"abB 3 3"},
    {"CoInitializeEx", 6, E_FAIL, 0, 6, L"MBNHELPER_CREATEPROFILE d|apn", L"true 7 d", "", L"Coinitialize failed", L" 1 3"},
    {"CoCreateInstance", 1, E_FAIL, 0, 1, L"MBNHELPER_GETSIMICCID", L"true 7 own text", "", L"CoCreateInstance error"},
    {"CoCreateInstance", 2, E_FAIL, 0, 2, L"MBNHELPER_DELETEPROFILE", L"true 7 own text", "", NO_PROFILE_MANAGER, L"abB 3 3"},
    {"CoCreateInstance", 3, E_FAIL, 0, 3, L"MBNHELPER_DELETEPROFILE", L"true 7 own text", "",
        L"CoCreateInstance CLSID_MbnInterfaceManager error", L"abB 3 3"},
    {"CoCreateInstance", 7, E_FAIL, 0, 7, L"MBNHELPER_CREATEPROFILE d|apn", L"true 7 d", "", NO_PROFILE_MANAGER, L" 1 3"},
    {"FailCreateProfile", 0, 0, 0, -1, L"MBNHELPER_CREATEPROFILE d|apn", L"true 7 d", "", NO_PROFILE_MANAGER, L" 1 3"},
    {"FailGetInterfaces", 0, 0, 0, -1, L"MBNHELPER_CHECKINTERFACE", L"true 0 own text", "", L"GetInterfaces error"},
    {"SafeArrayGetLBound", 1, E_FAIL, 0, 1, L"MBNHELPER_GETSIMICCID", L"true 7 own text", "", L"SafeArrayGetLBound error"},
    {"SafeArrayGetLBound", 3, E_FAIL, 0, 3, L"MBNHELPER_DELETEPROFILE", L"true 7 own text", "",
        L"SafeArrayGetLBound profile error", L"abB 3 3"},
    {"SafeArrayGetUBound", 1, E_FAIL, 0, 1, L"MBNHELPER_GETSIMICCID", L"true 7 own text", "", L"SafeArrayGetUBound error"},
    {"SafeArrayGetUBound", 4, E_FAIL, 0, 4, L"MBNHELPER_DELETEPROFILE", L"true 7 own text", "",
        L"SafeArrayGetUBound profile error", L"B 3 3"},
    {"SafeArrayGetElement", 1, E_FAIL, 0, 2, L"MBNHELPER_GETSIMICCID", L"true 7 iccid1"},
    {"FailGetSubscriberInformation", 0, 0, 0, -1, L"MBNHELPER_GETSUBSCRIBERID", L"true 7 own text"},
    {"FailGetConnectionProfiles", 0, 0, 0, -1, L"MBNHELPER_DELETEPROFILE", L"true 7 own text", "",
        L"GetConnectionProfiles error", L"abB 3 3"},

    // The documents: document.txt holds "line".
    {"ReadFile", 1, 0, 5, 1, L"COMMONHELPER_READEULADOCUMENT document.txt", L"true 7 "},
    {"FlsSetValue", 3, 0, 8, -1, L"COMMONHELPER_READEULADOCUMENT document.txt", L"true 7 "},

    // Installing and removing the service.
    {"GetModuleFileNameW", 1, 0, 5, 1, L"-install", L"", "", L"GetModuleFileName failed w/err 0x00000005\n"},
    {"GetModuleFileNameW", 1, MAX_PATH, 122, 1, L"-install", L"", "", L"GetModuleFileName failed w/err 0x0000007a\n"},
    {"OpenSCManagerW", 1, 0, 5, 1, L"-install", L"", "", L"OpenSCManager failed w/err 0x00000005\n"},
    {"OpenSCManagerW", 1, 0, 5, 1, L"-remove", L"", "", L"OpenSCManager failed w/err 0x00000005\n"},
    {"ControlService", 1, 0, 0x426, 1, L"-remove", L"", "", REMOVED},
    {"DeleteService", 1, 0, 0x430, 1, L"-remove", L"", "", STOPPED L"DeleteService failed w/err 0x00000430\n"},
    // The states of the service after the stop: 3 is stop-pending, 1 stopped, 4 running.
    {"Sleep", 0, 0, 0, 5, L"-remove 333331", L"", "",
        L"Stopping Tessel Service.....\nTessel Service is stopped.\n" REMOVED},
    {"Sleep", 0, 0, 0, 2, L"-remove 334", L"", "", L"Stopping Tessel Service..\nTessel Service failed to stop.\n" REMOVED},
    {"QueryServiceStatus", 2, 0, 6, 2, L"-remove 333", L"", "",
        L"Stopping Tessel Service..\nTessel Service failed to stop.\n" REMOVED},
};
// clang-format on
