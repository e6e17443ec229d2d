#include "client/check/checkservice.h"

#include <winsvc.h>

#include <cwchar>
#include <iterator>
#include <string>
#include <vector>

#include "client/rights/servicesid.h"
#include "service/serviceidentity.h"
#include "win32/uniquehandle.h"

namespace {

constexpr wchar_t kInstallAdvice[] = L"as an administrator: tessel-service -install";

// The most that the service manager answers to a question about a configuration.
constexpr DWORD kConfigBytes = 8192;

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

// The version in a program's file, "0.9.0"; empty when it has none.
std::wstring FileVersion(const std::wstring& path) {
    const Module file(LoadLibraryExW(path.c_str(), nullptr,
                                     LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE));
    HRSRC place = FindResourceW(file.get(), MAKEINTRESOURCEW(VS_VERSION_INFO), RT_VERSION);
    // Lengths, type, the name "VS_VERSION_INFO" and padding come before the fixed part.
    constexpr DWORD kFixedPart = 40;
    if (!file || place == nullptr ||
        SizeofResource(file.get(), place) < kFixedPart + sizeof(VS_FIXEDFILEINFO)) {
        return {};
    }
    const auto* bytes = static_cast<const BYTE*>(LockResource(LoadResource(file.get(), place)));
    const auto* fixed = reinterpret_cast<const VS_FIXEDFILEINFO*>(bytes + kFixedPart);
    if (fixed->dwSignature != VS_FFI_SIGNATURE) {
        return {};
    }
    return std::to_wstring(HIWORD(fixed->dwFileVersionMS)) + L"." +
           std::to_wstring(LOWORD(fixed->dwFileVersionMS)) + L"." +
           std::to_wstring(HIWORD(fixed->dwFileVersionLS));
}

void CheckProgram(Findings& findings, const wchar_t* command_line, const wchar_t* version) {
    const std::wstring path = ProgramPath(command_line);
    if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
        findings.Add(Status::kFault, L"service.path",
                     std::wstring(command_line) + L": " + ErrorText(GetLastError()),
                     L"put tessel-service.exe there, or -remove and -install it where it is");
        return;
    }
    const bool has_blank = command_line[0] != L'"' && path.find(L' ') != std::wstring::npos;
    findings.Add(has_blank ? Status::kWarning : Status::kOk, L"service.path",
                 command_line + std::wstring(has_blank ? L" (a blank in it, and no quotes)" : L""),
                 has_blank ? L"move it to a path without blanks: Windows tries the part before the "
                             L"blank first"
                           : L"");

    const std::wstring found = FileVersion(path);
    const bool is_ours = found == version;
    findings.Add(is_ours ? Status::kOk : Status::kWarning, L"service.version",
                 (found.empty() ? L"the file has none" : found) +
                     (is_ours ? L"" : L"; this is tesselctl " + std::wstring(version)),
                 is_ours ? L"" : L"take both programs from one release");
}

void CheckConfig(Findings& findings, SC_HANDLE service, const wchar_t* version) {
    std::vector<BYTE> buffer(kConfigBytes);
    auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
    DWORD needed = 0;
    if (!QueryServiceConfigW(service, config, kConfigBytes, &needed)) {
        findings.Add(Status::kWarning, L"service.account",
                     L"cannot be read: " + ErrorText(GetLastError()));
        return;
    }
    const std::wstring account =
        config->lpServiceStartName != nullptr ? config->lpServiceStartName : L"";
    const bool is_account = _wcsicmp(account.c_str(), kServiceAccount) == 0;
    findings.Add(is_account ? Status::kOk : Status::kWarning, L"service.account", account,
                 is_account ? L""
                            : L"it is made for " + std::wstring(kServiceAccount) +
                                  L": -remove and -install it");
    switch (config->dwStartType) {
        case SERVICE_AUTO_START:
            findings.Add(Status::kOk, L"service.start", L"automatic");
            break;
        case SERVICE_DISABLED:
            findings.Add(Status::kFault, L"service.start", L"disabled",
                         L"as an administrator: sc config \"Tessel Service\" start= auto");
            break;
        default:
            findings.Add(Status::kWarning, L"service.start", L"not automatic",
                         L"as an administrator: sc config \"Tessel Service\" start= auto");
            break;
    }
    CheckProgram(findings, config->lpBinaryPathName, version);
}

void CheckState(Findings& findings, SC_HANDLE service) {
    SERVICE_STATUS_PROCESS status = {};
    DWORD needed = 0;
    if (!QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                              sizeof(status), &needed)) {
        findings.Add(Status::kWarning, L"service.state",
                     L"cannot be read: " + ErrorText(GetLastError()));
        return;
    }
    const std::wstring process = L", process " + std::to_wstring(status.dwProcessId);
    switch (status.dwCurrentState) {
        case SERVICE_RUNNING:
            findings.Add(Status::kOk, L"service.state", L"running" + process);
            break;
        case SERVICE_STOPPED:
            findings.Add(Status::kFault, L"service.state",
                         status.dwWin32ExitCode == ERROR_SUCCESS ||
                                 status.dwWin32ExitCode == ERROR_SERVICE_NEVER_STARTED
                             ? L"stopped"
                             : L"stopped with " + ErrorText(status.dwWin32ExitCode),
                         L"as an administrator: net start \"Tessel Service\"; if it stops again, "
                         L"tessel-service -console shows with what");
            break;
        default:
            findings.Add(
                Status::kWarning, L"service.state",
                (status.dwCurrentState == SERVICE_STOP_PENDING ? L"stopping" : L"starting") +
                    process,
                L"wait, and check again");
            break;
    }
}

ServiceSidType CheckSid(Findings& findings, SC_HANDLE service) {
    const std::optional<Sid> sid = ServiceSid(kServiceName);
    const std::wstring name = sid ? SidText(sid->Get()) : L"";
    SERVICE_SID_INFO info = {};
    DWORD needed = 0;
    if (!QueryServiceConfig2W(service, SERVICE_CONFIG_SERVICE_SID_INFO,
                              reinterpret_cast<BYTE*>(&info), sizeof(info), &needed)) {
        findings.Add(Status::kWarning, L"service.sid",
                     name + L": whether it is on cannot be read: " + ErrorText(GetLastError()));
        return {};
    }
    const bool is_set = info.dwServiceSidType != SERVICE_SID_TYPE_NONE;
    findings.Add(is_set ? Status::kOk : Status::kWarning, L"service.sid",
                 name + (is_set ? L", in the service's process" : L", not on"),
                 is_set ? L"" : kGrantAdvice);
    return {info.dwServiceSidType};
}

void CheckRecovery(Findings& findings, SC_HANDLE service) {
    std::vector<BYTE> buffer(kConfigBytes);
    DWORD needed = 0;
    if (!QueryServiceConfig2W(service, SERVICE_CONFIG_FAILURE_ACTIONS, buffer.data(), kConfigBytes,
                              &needed)) {
        findings.Add(Status::kWarning, L"service.recovery",
                     L"cannot be read: " + ErrorText(GetLastError()));
        return;
    }
    const auto* actions = reinterpret_cast<const SERVICE_FAILURE_ACTIONSW*>(buffer.data());
    const bool restarts =
        actions->cActions > 0 && actions->lpsaActions[0].Type == SC_ACTION_RESTART;
    findings.Add(restarts ? Status::kOk : Status::kWarning, L"service.recovery",
                 restarts ? L"restarted after a crash" : L"not restarted after a crash",
                 restarts ? L"" : kGrantAdvice);
}

}  // namespace

ServiceSidType CheckRegistration(Findings& findings, const wchar_t* version) {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const ServiceHandle service(manager ? OpenServiceW(manager.get(), kServiceName,
                                                       SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS)
                                        : nullptr);
    if (!service) {
        const DWORD error = GetLastError();
        const bool missing = error == ERROR_SERVICE_DOES_NOT_EXIST;
        findings.Add(Status::kFault, L"service",
                     missing ? L"not registered" : L"cannot be asked for: " + ErrorText(error),
                     missing ? kInstallAdvice : L"");
        return {};
    }
    findings.Add(Status::kOk, L"service", L"registered as \"" + std::wstring(kServiceName) + L"\"");
    CheckConfig(findings, service.get(), version);
    CheckState(findings, service.get());
    const ServiceSidType sid_type = CheckSid(findings, service.get());
    CheckRecovery(findings, service.get());
    return sid_type;
}
