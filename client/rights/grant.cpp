#include "client/rights/grant.h"

#include <windows.h>
#include <winsvc.h>

#include <algorithm>
#include <string>
#include <vector>

#include "client/finding.h"
#include "client/rights/accesslist.h"
#include "client/rights/servicekeys.h"
#include "client/rights/servicesid.h"
#include "client/serviceinfo.h"
#include "interface/serviceidentity.h"
#include "win32/uniquehandle.h"

using enum Status;

namespace {

constexpr DWORD kRestartSeconds[] = {TESSEL_RESTART_SECONDS};

// Adds the result of a change. ERROR_INVALID_LEVEL comes from Wine, which lacks some settings.
void AddChange(Findings& findings,
               const std::wstring& item,
               DWORD error,
               const std::wstring& state,
               const wchar_t* advice = L"") {
    if (error == ERROR_SUCCESS) {
        findings.Add(kDone, item, state, advice);
    } else if (error == ERROR_INVALID_LEVEL) {
        findings.AddNotHere(item, error);
    } else {
        findings.Add(kFailed, item, ErrorText(error), DeniedAdvice(error));
    }
}

DWORD ChangeConfig(SC_HANDLE service, DWORD level, void* info) {
    return ChangeServiceConfig2W(service, level, info) ? ERROR_SUCCESS : GetLastError();
}

void ChangeSidType(Findings& findings, SC_HANDLE service, bool grant) {
    constexpr wchar_t kItem[] = L"service.sid";
    const std::vector<BYTE> answer = QueryConfig(service, SERVICE_CONFIG_SERVICE_SID_INFO);
    const auto* current = reinterpret_cast<const SERVICE_SID_INFO*>(answer.data());
    SERVICE_SID_INFO wanted = {
        static_cast<DWORD>(grant ? SERVICE_SID_TYPE_UNRESTRICTED : SERVICE_SID_TYPE_NONE)};
    const wchar_t* state = grant ? L"on" : L"off";
    if (!answer.empty() && current->dwServiceSidType == SERVICE_SID_TYPE_RESTRICTED) {
        findings.Add(kUnchanged, kItem, L"restricted; this was not set by tesselctl");
    } else if (!answer.empty() && current->dwServiceSidType == wanted.dwServiceSidType) {
        findings.Add(kUnchanged, kItem, state);
    } else {
        AddChange(
            findings, kItem, ChangeConfig(service, SERVICE_CONFIG_SERVICE_SID_INFO, &wanted), state,
            L"takes effect when the service is started again; by Windows' documentation, when "
            L"the notebook is");
    }
}

void ChangeRecovery(Findings& findings, SC_HANDLE service, bool grant) {
    constexpr wchar_t kItem[] = L"service.recovery";
    const std::vector<BYTE> answer = QueryConfig(service, SERVICE_CONFIG_FAILURE_ACTIONS);
    const auto* current = reinterpret_cast<const SERVICE_FAILURE_ACTIONSW*>(answer.data());
    const bool is_set = !answer.empty() && current->cActions > 0;
    std::vector<SC_ACTION> restarts;
    std::wstring state;
    for (const DWORD seconds : kRestartSeconds) {
        restarts.push_back({SC_ACTION_RESTART, seconds * 1000});
        state += (state.empty() ? L"restart after a crash: in " : L", ") +
                 std::to_wstring(seconds) + L" s";
    }
    if (!grant) {
        state = L"none";
    }
    const bool ours = is_set && std::equal(restarts.begin(), restarts.end(), current->lpsaActions,
                                           current->lpsaActions + current->cActions,
                                           [](const SC_ACTION& a, const SC_ACTION& b) {
                                               return a.Type == b.Type && a.Delay == b.Delay;
                                           });
    if (is_set && !ours) {
        findings.Add(kUnchanged, kItem, L"another recovery; this was not set by tesselctl");
    } else if (!answer.empty() && is_set == grant) {
        findings.Add(kUnchanged, kItem, state);
    } else {
        // An empty list removes the actions. It needs an address too.
        SERVICE_FAILURE_ACTIONSW info = {};
        info.lpsaActions = restarts.data();
        if (grant) {
            info.dwResetPeriod = TESSEL_RESTART_RESET_SECONDS;
            info.cActions = static_cast<DWORD>(restarts.size());
        }
        AddChange(findings, kItem, ChangeConfig(service, SERVICE_CONFIG_FAILURE_ACTIONS, &info),
                  state);
    }
}

void ChangeService(Findings& findings, bool grant) {
    // Only a handle with SERVICE_START may set a restart as the action.
    const ServiceHandle service =
        OpenRegistration(SERVICE_QUERY_CONFIG | SERVICE_CHANGE_CONFIG | SERVICE_START);
    if (!service) {
        AddChange(findings, L"service", GetLastError(), L"");
        return;
    }
    ChangeSidType(findings, service.get(), grant);
    ChangeRecovery(findings, service.get(), grant);
}

void ChangeKey(Findings& findings, const ServiceKey& wanted, const std::wstring& sid, bool grant) {
    constexpr REGSAM kAccess = READ_CONTROL | WRITE_DAC;
    RegistryKey key;
    DWORD disposition = REG_OPENED_EXISTING_KEY;
    auto error = static_cast<DWORD>(
        grant && wanted.top
            ? RegCreateKeyExW(HKEY_LOCAL_MACHINE, wanted.path.c_str(), 0, nullptr,
                              REG_OPTION_NON_VOLATILE, kAccess, nullptr, key.put(), &disposition)
            : RegOpenKeyExW(HKEY_LOCAL_MACHINE, wanted.path.c_str(), 0, kAccess, key.put()));
    if (error == ERROR_FILE_NOT_FOUND) {
        // The service creates the key later, and the key inherits its access list.
        return;
    }
    ObjectSecurity security;
    if (error == ERROR_SUCCESS) {
        error = ReadKeySecurity(key.get(), security);
    }
    bool changes = false;
    if (error == ERROR_SUCCESS && security.acl != nullptr) {
        LocalAcl granted;
        if (!grant) {
            changes = RemoveFullControl(*security.acl, sid);
        } else if (!HasFullControl(*security.acl, sid)) {
            changes = true;
            error = AddFullControl(*security.acl, sid, granted);
        }
        if (changes && error == ERROR_SUCCESS) {
            error = WriteKeyAcl(key.get(), security, grant ? granted.get() : security.acl);
        }
    }
    const std::wstring item = L"key " + wanted.path;
    const std::wstring state = (disposition == REG_CREATED_NEW_KEY ? L"created; " : L"") +
                               std::wstring(security.acl == nullptr ? L"open to everyone: no list"
                                            : grant ? L"full control for the service's own SID"
                                                    : L"no rights for the service's own SID");
    if (error == ERROR_SUCCESS && !changes) {
        findings.Add(kUnchanged, item, state);
    } else {
        AddChange(findings, item, error, state);
    }
}

}  // namespace

int ChangeRights(const Options& options) {
    const bool grant = options.action == L"--grant";
    Findings findings(options.json);
    ChangeService(findings, grant);
    const std::wstring sid = ServiceSid(kServiceName);
    for (const ServiceKey& key : ServiceKeys()) {
        if (!key.usb || !options.without.usb) {
            ChangeKey(findings, key, sid, grant);
        }
    }
    return findings.Count(kFailed);
}
