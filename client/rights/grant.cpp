#include "client/rights/grant.h"

#include <windows.h>
#include <winsvc.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "client/finding.h"
#include "client/rights/keyaccess.h"
#include "client/rights/servicekeys.h"
#include "client/rights/servicesid.h"
#include "service/serviceidentity.h"
#include "win32/uniquehandle.h"

namespace {

enum class Change { kGrant, kRevoke };

// Restarted after five seconds, again after five, from then on after a minute; a day without a
// crash begins anew.
constexpr DWORD kResetSeconds = 86400;
constexpr SC_ACTION kRestarts[] = {{SC_ACTION_RESTART, 5000},
                                   {SC_ACTION_RESTART, 5000},
                                   {SC_ACTION_RESTART, 60000}};

void AddFailure(Findings& findings, const std::wstring& item, DWORD error) {
    findings.Add(Status::kFailed, item, ErrorText(error),
                 error == ERROR_ACCESS_DENIED ? L"this needs an administrator's prompt" : L"");
}

void ChangeSidType(Findings& findings, SC_HANDLE service, Change change) {
    constexpr wchar_t kItem[] = L"service.sid";
    SERVICE_SID_INFO info = {};
    DWORD needed = 0;
    const bool readable =
        QueryServiceConfig2W(service, SERVICE_CONFIG_SERVICE_SID_INFO,
                             reinterpret_cast<BYTE*>(&info), sizeof(info), &needed) != FALSE;
    // A restricted one was set by somebody else: the SID is in the process too.
    if (change == Change::kGrant && info.dwServiceSidType != SERVICE_SID_TYPE_NONE) {
        findings.Add(Status::kUnchanged, kItem, L"on");
        return;
    }
    if (change == Change::kRevoke && readable &&
        info.dwServiceSidType != SERVICE_SID_TYPE_UNRESTRICTED) {
        findings.Add(Status::kUnchanged, kItem,
                     info.dwServiceSidType == SERVICE_SID_TYPE_NONE ? L"off" : L"restricted");
        return;
    }
    info.dwServiceSidType =
        change == Change::kGrant ? SERVICE_SID_TYPE_UNRESTRICTED : SERVICE_SID_TYPE_NONE;
    if (!ChangeServiceConfig2W(service, SERVICE_CONFIG_SERVICE_SID_INFO, &info)) {
        AddFailure(findings, kItem, GetLastError());
        return;
    }
    findings.Add(Status::kDone, kItem, change == Change::kGrant ? L"on" : L"off",
                 L"counts from the service's next start");
}

bool AreOurs(const SERVICE_FAILURE_ACTIONSW& actions) {
    return std::equal(actions.lpsaActions, actions.lpsaActions + actions.cActions,
                      std::begin(kRestarts), std::end(kRestarts),
                      [](const SC_ACTION& a, const SC_ACTION& b) {
                          return a.Type == b.Type && a.Delay == b.Delay;
                      });
}

void ChangeRecovery(Findings& findings, SC_HANDLE service, Change change) {
    constexpr wchar_t kItem[] = L"service.recovery";
    std::vector<BYTE> buffer(8192);
    DWORD needed = 0;
    const bool readable =
        QueryServiceConfig2W(service, SERVICE_CONFIG_FAILURE_ACTIONS, buffer.data(),
                             static_cast<DWORD>(buffer.size()), &needed) != FALSE;
    const auto& actions = *reinterpret_cast<const SERVICE_FAILURE_ACTIONSW*>(buffer.data());
    const bool is_set = readable && actions.cActions > 0;
    if (is_set && !AreOurs(actions)) {
        findings.Add(Status::kUnchanged, kItem, L"set by somebody else");
        return;
    }
    if (readable && is_set == (change == Change::kGrant)) {
        findings.Add(Status::kUnchanged, kItem, is_set ? L"restarted after a crash" : L"none");
        return;
    }
    std::vector<SC_ACTION> wanted;
    if (change == Change::kGrant) {
        wanted.assign(std::begin(kRestarts), std::end(kRestarts));
    }
    // A list that is there and empty takes away what was set.
    SC_ACTION none = {};
    SERVICE_FAILURE_ACTIONSW info = {change == Change::kGrant ? kResetSeconds : 0, nullptr, nullptr,
                                     static_cast<DWORD>(wanted.size()),
                                     wanted.empty() ? &none : wanted.data()};
    if (!ChangeServiceConfig2W(service, SERVICE_CONFIG_FAILURE_ACTIONS, &info)) {
        AddFailure(findings, kItem, GetLastError());
        return;
    }
    findings.Add(Status::kDone, kItem,
                 change == Change::kGrant ? L"restart after a crash: in 5 s, 5 s, 60 s" : L"none");
}

void ChangeService(Findings& findings, Change change) {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    // Restarting as an action needs the right to start.
    const ServiceHandle service(
        manager ? OpenServiceW(manager.get(), kServiceName,
                               SERVICE_QUERY_CONFIG | SERVICE_CHANGE_CONFIG | SERVICE_START)
                : nullptr);
    if (!service) {
        AddFailure(findings, L"service", GetLastError());
        return;
    }
    ChangeSidType(findings, service.get(), change);
    ChangeRecovery(findings, service.get(), change);
}

void ChangeKey(Findings& findings, const ServiceKey& wanted, const Sid& sid, Change change) {
    const std::wstring item = L"key " + wanted.path;
    constexpr REGSAM kAccess = READ_CONTROL | WRITE_DAC;
    const bool make = change == Change::kGrant && wanted.top;
    RegistryKey key;
    DWORD disposition = REG_OPENED_EXISTING_KEY;
    LSTATUS error =
        make ? RegCreateKeyExW(HKEY_LOCAL_MACHINE, wanted.path.c_str(), 0, nullptr,
                               REG_OPTION_NON_VOLATILE, kAccess, nullptr, key.put(), &disposition)
             : RegOpenKeyExW(HKEY_LOCAL_MACHINE, wanted.path.c_str(), 0, kAccess, key.put());
    if (error == ERROR_FILE_NOT_FOUND) {
        // The service makes it, and it inherits.
        return;
    }
    const wchar_t* made = disposition == REG_CREATED_NEW_KEY ? L"made; " : L"";
    KeySecurity security;
    if (error == ERROR_SUCCESS) {
        error = ReadKeySecurity(key.get(), security);
    }
    if (error != ERROR_SUCCESS) {
        AddFailure(findings, item, static_cast<DWORD>(error));
        return;
    }
    if (security.acl == nullptr) {
        findings.Add(Status::kUnchanged, item,
                     made + std::wstring(L"open to everyone: it has no list"));
        return;
    }
    std::vector<BYTE> list = change == Change::kGrant ? WithFullControl(*security.acl, sid)
                                                      : WithoutFullControl(*security.acl, sid);
    const wchar_t* state = change == Change::kGrant ? L"full control for the service's own SID"
                                                    : L"nothing for the service's own SID";
    if (list.empty()) {
        findings.Add(Status::kUnchanged, item, state);
        return;
    }
    error = WriteKeyAcl(key.get(), security, list);
    if (error != ERROR_SUCCESS) {
        AddFailure(findings, item, static_cast<DWORD>(error));
        return;
    }
    findings.Add(Status::kDone, item, made + std::wstring(state));
}

int Apply(bool json, Change change) {
    Findings findings(json);
    ChangeService(findings, change);
    const std::optional<Sid> sid = ServiceSid(kServiceName);
    if (!sid) {
        findings.Add(Status::kFailed, L"keys", L"the service's SID cannot be made");
        return findings.Faults();
    }
    for (const ServiceKey& key : ServiceKeys()) {
        ChangeKey(findings, key, *sid, change);
    }
    return findings.Faults();
}

}  // namespace

int Grant(bool json) {
    return Apply(json, Change::kGrant);
}

int Revoke(bool json) {
    return Apply(json, Change::kRevoke);
}
