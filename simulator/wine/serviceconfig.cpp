// The settings of services that Wine does not keep: the SID type and the failure actions. They are
// stored in the service's key, as Windows stores them. A process of Tessel Service that starts with
// its SID turned on holds an event, and its token shows the SID: Wine gives all processes one
// token.
#include <windows.h>
#include <sddl.h>
#include <winsvc.h>

#include <cstring>
#include <cwchar>
#include <iterator>
#include <string>
#include <vector>

#include "client/rights/servicesid.h"
#include "interface/serviceidentity.h"
#include "win32/uniquehandle.h"

namespace {

constexpr wchar_t kServices[] = L"SYSTEM\\CurrentControlSet\\Services\\";
constexpr wchar_t kSidType[] = L"ServiceSidType";
constexpr wchar_t kFailureActions[] = L"FailureActions";

// "FailureActions" begins with this and goes on with an array of SC_ACTION.
struct StoredActions {
    DWORD reset_seconds;
    DWORD reboot_message;
    DWORD command;
    DWORD count;
    DWORD offset;
};

// The path of the service's key. Empty if the handle does not permit to query the service.
std::wstring KeyOf(SC_HANDLE service) {
    std::vector<BYTE> buffer(8192);
    auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
    DWORD needed = 0;
    if (!QueryServiceConfigW(service, config, static_cast<DWORD>(buffer.size()), &needed)) {
        return {};
    }
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    wchar_t name[256] = {};
    DWORD units = std::size(name);
    return GetServiceKeyNameW(manager.get(), config->lpDisplayName, name, &units)
               ? kServices + std::wstring(name)
               : std::wstring();
}

DWORD SidTypeOf(const std::wstring& key) {
    DWORD type = SERVICE_SID_TYPE_NONE;
    DWORD size = sizeof(type);
    RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), kSidType, RRF_RT_REG_DWORD, nullptr, &type,
                 &size);
    return type;
}

DWORD StoreActions(const std::wstring& key, const SERVICE_FAILURE_ACTIONSW& actions) {
    if (actions.lpsaActions == nullptr) {
        return ERROR_SUCCESS;
    }
    const StoredActions stored = {actions.dwResetPeriod, 0, 0, actions.cActions, sizeof(stored)};
    std::vector<BYTE> bytes(sizeof(stored) + actions.cActions * sizeof(SC_ACTION));
    std::memcpy(bytes.data(), &stored, sizeof(stored));
    std::memcpy(bytes.data() + sizeof(stored), actions.lpsaActions, bytes.size() - sizeof(stored));
    return static_cast<DWORD>(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), kFailureActions,
                                              REG_BINARY, bytes.data(),
                                              static_cast<DWORD>(bytes.size())));
}

// What QueryServiceConfig2W gives for the level.
std::vector<BYTE> Setting(const std::wstring& key, DWORD level) {
    if (level == SERVICE_CONFIG_SERVICE_SID_INFO) {
        const SERVICE_SID_INFO info = {SidTypeOf(key)};
        const auto* first = reinterpret_cast<const BYTE*>(&info);
        return {first, first + sizeof(info)};
    }
    BYTE stored[1024] = {};
    DWORD size = sizeof(stored);
    RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), kFailureActions, RRF_RT_REG_BINARY, nullptr,
                 stored, &size);
    const auto* head = reinterpret_cast<const StoredActions*>(stored);
    SERVICE_FAILURE_ACTIONSW actions = {};
    std::vector<BYTE> answer(sizeof(actions) + head->count * sizeof(SC_ACTION));
    actions.dwResetPeriod = head->reset_seconds;
    actions.cActions = head->count;
    std::memcpy(answer.data(), &actions, sizeof(actions));
    std::memcpy(answer.data() + sizeof(actions), head + 1, head->count * sizeof(SC_ACTION));
    return answer;
}

// The name of the event that a process with the service's SID holds.
std::wstring MarkOf(DWORD process) {
    return L"Global\\service-sid-" + std::to_wstring(process);
}

// The token that this process opened last, and whose it is.
HANDLE g_token = nullptr;
DWORD g_tokenProcess = 0;

}  // namespace

extern "C" {

BOOL WINAPI SimulatedChangeServiceConfig2(SC_HANDLE service, DWORD level, void* info) {
    // Wine checks the handle's rights before it ignores the actions or refuses the type.
    const BOOL done = ChangeServiceConfig2W(service, level, info);
    if ((level != SERVICE_CONFIG_SERVICE_SID_INFO && level != SERVICE_CONFIG_FAILURE_ACTIONS) ||
        (!done && GetLastError() != ERROR_INVALID_LEVEL)) {
        return done;
    }
    const std::wstring key = KeyOf(service);
    if (key.empty()) {
        return FALSE;
    }
    const DWORD error =
        level == SERVICE_CONFIG_FAILURE_ACTIONS
            ? StoreActions(key, *static_cast<const SERVICE_FAILURE_ACTIONSW*>(info))
            : static_cast<DWORD>(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), kSidType,
                                                 REG_DWORD, info, sizeof(DWORD)));
    SetLastError(error);
    return error == ERROR_SUCCESS;
}

BOOL WINAPI SimulatedQueryServiceConfig2(SC_HANDLE service,
                                         DWORD level,
                                         BYTE* buffer,
                                         DWORD size,
                                         DWORD* needed) {
    if (level != SERVICE_CONFIG_SERVICE_SID_INFO && level != SERVICE_CONFIG_FAILURE_ACTIONS) {
        return QueryServiceConfig2W(service, level, buffer, size, needed);
    }
    const std::wstring key = KeyOf(service);
    if (key.empty()) {
        return FALSE;
    }
    const std::vector<BYTE> setting = Setting(key, level);
    *needed = static_cast<DWORD>(setting.size());
    if (size < setting.size()) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    std::memcpy(buffer, setting.data(), setting.size());
    if (level == SERVICE_CONFIG_FAILURE_ACTIONS) {
        auto* actions = reinterpret_cast<SERVICE_FAILURE_ACTIONSW*>(buffer);
        actions->lpsaActions = reinterpret_cast<SC_ACTION*>(actions + 1);
    }
    return TRUE;
}

BOOL WINAPI SimulatedStartServiceCtrlDispatcher(const SERVICE_TABLE_ENTRYW* table) {
    Handle mark;
    if (SidTypeOf(kServices + std::wstring(kServiceName)) != SERVICE_SID_TYPE_NONE) {
        *mark.put() = CreateEventW(nullptr, FALSE, FALSE, MarkOf(GetCurrentProcessId()).c_str());
    }
    return StartServiceCtrlDispatcherW(table);
}

BOOL WINAPI SimulatedOpenProcessToken(HANDLE process, DWORD access, PHANDLE token) {
    const BOOL done = OpenProcessToken(process, access, token);
    g_token = done ? *token : nullptr;
    g_tokenProcess = GetProcessId(process);
    return done;
}

BOOL WINAPI SimulatedGetTokenInformation(HANDLE token,
                                         TOKEN_INFORMATION_CLASS kind,
                                         void* buffer,
                                         DWORD size,
                                         DWORD* needed) {
    LocalMemory added;
    const Handle mark(OpenEventW(SYNCHRONIZE, FALSE, MarkOf(g_tokenProcess).c_str()));
    if (kind != TokenGroups || token != g_token || !mark ||
        !ConvertStringSidToSidW(ServiceSid(kServiceName).c_str(), added.put())) {
        return GetTokenInformation(token, kind, buffer, size, needed);
    }
    // Wine's groups, and one more entry in front of their SIDs, which are copied.
    GetTokenInformation(token, kind, nullptr, 0, needed);
    std::vector<BYTE> real(*needed);
    if (!GetTokenInformation(token, kind, real.data(), *needed, needed)) {
        return FALSE;
    }
    *needed += sizeof(SID_AND_ATTRIBUTES) + GetLengthSid(added.get());
    if (size < *needed) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    auto* answer = static_cast<TOKEN_GROUPS*>(buffer);
    const auto* groups = reinterpret_cast<const TOKEN_GROUPS*>(real.data());
    answer->GroupCount = groups->GroupCount + 1;
    auto* place = reinterpret_cast<BYTE*>(&answer->Groups[answer->GroupCount]);
    for (DWORD i = 0; i < answer->GroupCount; ++i) {
        const bool is_real = i < groups->GroupCount;
        PSID sid = is_real ? groups->Groups[i].Sid : added.get();
        const DWORD length = GetLengthSid(sid);
        std::memcpy(place, sid, length);
        answer->Groups[i] = {place, is_real ? groups->Groups[i].Attributes
                                            : SE_GROUP_ENABLED_BY_DEFAULT | SE_GROUP_OWNER};
        place += length;
    }
    return TRUE;
}

}  // extern "C"
