#include "client/check/checkservice.h"

#include <winsvc.h>

#include <algorithm>
#include <cwchar>
#include <set>
#include <string>
#include <vector>

#include "client/rights/accesslist.h"
#include "client/rights/registration.h"
#include "client/rights/servicesid.h"
#include "service/serviceidentity.h"

namespace {

// The program out of a registered command line. One without quotes is all path.
std::wstring ProgramPath(const wchar_t* command_line) {
    std::wstring path(ExpandEnvironmentStringsW(command_line, nullptr, 0), L'\0');
    ExpandEnvironmentStringsW(command_line, path.data(), static_cast<DWORD>(path.size()));
    path.resize(std::wcslen(path.c_str()));
    if (path.starts_with(L'"')) {
        path.erase(0, 1);
        path.resize(std::min(path.find(L'"'), path.size()));
    }
    return path;
}

void CheckProgram(Findings& findings,
                  const std::wstring& command_line,
                  const std::wstring& path,
                  const wchar_t* version) {
    if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
        findings.Add(Status::kFault, L"service.path",
                     command_line + L": " + ErrorText(GetLastError()),
                     L"put tessel-service.exe there, or -remove and -install it where it is");
        return;
    }
    const bool has_blank = path.find(L' ') != std::wstring::npos && !command_line.starts_with(L'"');
    findings.Check(!has_blank, Status::kWarning, L"service.path",
                   command_line + (has_blank ? L" (a blank in it, and no quotes)" : L""),
                   L"move it: Windows tries the part before the blank first");
    const std::wstring found = FileVersion(path);
    const bool same = found == version;
    findings.Check(same, Status::kWarning, L"service.version",
                   found + (same ? L"" : L"; this is tesselctl " + std::wstring(version)),
                   L"take both programs from one release");
}

// The only user of Wine, who owns all its files. Windows makes no such SID.
constexpr wchar_t kWineUser[] = L"S-1-5-21-0-0-0-1000";

// Who may replace what an administrator or the service manager runs.
void CheckFiles(Findings& findings, const std::wstring& program) {
    bool known = true;
    std::wstring others;
    for (const std::wstring& path :
         std::set{program, FolderOf(program), OwnPath(), FolderOf(OwnPath())}) {
        ObjectSecurity security;
        known = ReadFileSecurity(path, security) == ERROR_SUCCESS && known;
        for (const Sid& sid : known ? OtherWriters(security) : std::vector<Sid>()) {
            if (SidText(sid.Get()) == kWineUser) {
                known = false;
            } else {
                others += (others.empty() ? L"" : L", ") + path + L" by " + AccountName(sid.Get());
            }
        }
    }
    if (!others.empty()) {
        findings.Add(
            Status::kFault, L"files", L"may be changed: " + others,
            L"as an administrator, copy the programs into C:\\Windows\\Tessel and -install "
            L"them there");
    } else {
        findings.Check(known, Status::kNotHere, L"files",
                       known ? L"only administrators and Windows may change them"
                             : L"who may change them is not known here");
    }
}

// The program's path; empty if the configuration cannot be read.
std::wstring CheckConfig(Findings& findings, SC_HANDLE service, const wchar_t* version) {
    std::vector<BYTE> buffer(8192);
    auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
    DWORD needed = 0;
    if (!QueryServiceConfigW(service, config, static_cast<DWORD>(buffer.size()), &needed)) {
        findings.AddNotHere(L"service.account", GetLastError());
        return {};
    }
    const std::wstring account =
        config->lpServiceStartName != nullptr ? config->lpServiceStartName : L"";
    findings.Check(
        _wcsicmp(account.c_str(), kServiceAccount) == 0, Status::kWarning, L"service.account",
        account, L"it is made for " + std::wstring(kServiceAccount) + L": -remove and -install it");
    const bool automatic = config->dwStartType == SERVICE_AUTO_START;
    const bool disabled = config->dwStartType == SERVICE_DISABLED;
    findings.Check(automatic, disabled ? Status::kFault : Status::kWarning, L"service.start",
                   automatic  ? L"automatic"
                   : disabled ? L"disabled"
                              : L"not automatic",
                   L"as an administrator: sc.exe config \"Tessel Service\" start= auto");
    std::wstring path = ProgramPath(config->lpBinaryPathName);
    CheckProgram(findings, config->lpBinaryPathName, path, version);
    return path;
}

void CheckState(Findings& findings,
                const SERVICE_STATUS_PROCESS& status,
                const std::optional<ProcessFacts>& process,
                const std::wstring& registered) {
    constexpr wchar_t kItem[] = L"service.state";
    const std::wstring id = L", process " + std::to_wstring(status.dwProcessId);
    const DWORD error = status.dwWin32ExitCode;
    if (status.dwCurrentState == SERVICE_RUNNING) {
        const bool other = process && _wcsicmp(process->image.c_str(), registered.c_str()) != 0;
        findings.Check(!other, Status::kFault, kItem,
                       L"running" + id + (other ? L", but from " + process->image : L""),
                       kRestartAdvice);
    } else if (status.dwCurrentState == SERVICE_STOPPED) {
        findings.Add(Status::kFault, kItem,
                     error == ERROR_SUCCESS || error == ERROR_SERVICE_NEVER_STARTED
                         ? L"stopped"
                         : L"stopped with " + ErrorText(error),
                     std::wstring(kStartAdvice) +
                         L"\nif it stops again, this shows why: .\\tessel-service -console");
    } else {
        const bool stopping = status.dwCurrentState == SERVICE_STOP_PENDING;
        findings.Add(Status::kWarning, kItem, (stopping ? L"stopping" : L"starting") + id,
                     L"wait, and check again");
    }
}

// When the registration was last changed.
std::optional<FILETIME> LastChange() {
    RegistryKey key;
    FILETIME changed = {};
    const std::wstring path = L"SYSTEM\\CurrentControlSet\\Services\\" + std::wstring(kServiceName);
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS ||
        RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                         nullptr, nullptr, nullptr, &changed) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return changed;
}

std::optional<bool> CheckSid(Findings& findings,
                             SC_HANDLE service,
                             bool running,
                             const std::optional<ProcessFacts>& process) {
    constexpr wchar_t kItem[] = L"service.sid";
    const std::wstring name = SidText(ServiceSid(kServiceName).value_or(Sid{}).Get());
    const std::vector<BYTE> answer = QueryConfig(service, SERVICE_CONFIG_SERVICE_SID_INFO);
    if (answer.empty()) {
        findings.AddNotHere(kItem, GetLastError(), name);
        return std::nullopt;
    }
    const DWORD type = reinterpret_cast<const SERVICE_SID_INFO*>(answer.data())->dwServiceSidType;
    const auto has_it = HasOwnSid(
        type, running, process ? std::optional(process->started) : std::nullopt, LastChange());
    if (!has_it) {
        findings.AddNotHere(kItem, ERROR_ACCESS_DENIED, name + L", on; in the process");
    } else if (type == SERVICE_SID_TYPE_NONE) {
        findings.Add(Status::kWarning, kItem, name + L", not on", kGrantAdvice);
    } else {
        findings.Check(*has_it, Status::kFault, kItem,
                       name + (*has_it ? L", on"
                                       : L", on, but the registration was changed after the "
                                         L"service started"),
                       kRestartAdvice);
    }
    return has_it;
}

void CheckRecovery(Findings& findings, SC_HANDLE service) {
    const std::vector<BYTE> answer = QueryConfig(service, SERVICE_CONFIG_FAILURE_ACTIONS);
    if (answer.empty()) {
        findings.AddNotHere(L"service.recovery", GetLastError());
        return;
    }
    const auto* actions = reinterpret_cast<const SERVICE_FAILURE_ACTIONSW*>(answer.data());
    const bool restarts =
        actions->cActions > 0 && actions->lpsaActions[0].Type == SC_ACTION_RESTART;
    findings.Check(restarts, Status::kWarning, L"service.recovery",
                   restarts ? L"restarted after a crash" : L"not restarted after a crash",
                   kGrantAdvice);
}

}  // namespace

std::optional<bool> HasOwnSid(DWORD type,
                              bool running,
                              const std::optional<FILETIME>& started,
                              const std::optional<FILETIME>& changed) {
    if (type == SERVICE_SID_TYPE_NONE || !running) {
        return type != SERVICE_SID_TYPE_NONE;
    }
    if (!started || !changed) {
        return std::nullopt;
    }
    return CompareFileTime(&*changed, &*started) < 0;
}

Registration CheckRegistration(Findings& findings, const wchar_t* version) {
    const ServiceHandle service = OpenRegistration(SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS);
    if (!service) {
        const DWORD error = GetLastError();
        if (error != ERROR_SERVICE_DOES_NOT_EXIST) {
            findings.AddNotHere(L"service", error);
            return {};
        }
        findings.Add(Status::kFault, L"service", L"not registered",
                     L"as an administrator: .\\tessel-service -install");
        return {.stopped = true};
    }
    findings.Add(Status::kOk, L"service", L"registered as \"" + std::wstring(kServiceName) + L"\"");
    const std::wstring path = CheckConfig(findings, service.get(), version);
    if (!path.empty()) {
        CheckFiles(findings, path);
    }
    SERVICE_STATUS_PROCESS status = {};
    DWORD needed = 0;
    if (!QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO,
                              reinterpret_cast<BYTE*>(&status), sizeof(status), &needed)) {
        findings.AddNotHere(L"service.state", GetLastError());
        return {};
    }
    const bool running = status.dwProcessId != 0;
    Registration registration = {.stopped = status.dwCurrentState == SERVICE_STOPPED};
    if (running) {
        registration.process = ReadProcess(status.dwProcessId);
    }
    CheckState(findings, status, registration.process, path);
    registration.has_own_sid = CheckSid(findings, service.get(), running, registration.process);
    CheckRecovery(findings, service.get());
    return registration;
}
