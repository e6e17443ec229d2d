#include "client/check/checkservice.h"

#include <winsvc.h>

#include <cwchar>
#include <iterator>
#include <string>
#include <vector>

#include "client/rights/accesslist.h"
#include "client/rights/servicesid.h"
#include "client/serviceinfo.h"
#include "interface/serviceidentity.h"

using enum Status;

namespace {

// Returns the path of the program in a registered command line, which has no arguments.
std::wstring ProgramPath(const wchar_t* command_line) {
    wchar_t path[1024] = {};
    ExpandEnvironmentStringsW(command_line, path, static_cast<DWORD>(std::size(path)));
    std::wstring program = path;
    std::erase(program, L'"');
    return program;
}

bool IsFromPackage(const std::wstring& program) {
    return program.find(L"\\DriverStore\\") != std::wstring::npos;
}

// How to register the program anew, as it was registered.
std::wstring ReinstallAdvice(const std::wstring& program) {
    return IsFromPackage(program)
               ? L"as an administrator, install the driver package again: pnputil /add-driver "
                 L"tessel-service.inf /install"
               : L"as an administrator, copy the programs into C:\\Windows\\Tessel, then there: "
                 L".\\tessel-service -remove\nand then: .\\tessel-service -install\nand then: "
                 L".\\tesselctl --grant";
}

// What the checks of the service share.
struct Look {
    Findings& findings;
    ServiceHandle service = {};
    // The program's path, empty if the configuration cannot be read.
    std::wstring path = {};
    SERVICE_STATUS_PROCESS status = {};
    std::optional<ProcessFacts> process = {};
};

void CheckProgram(Findings& findings, const std::wstring& path, bool quoted) {
    if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
        findings.Add(kFault, L"service.path", path + L": " + ErrorText(GetLastError()),
                     ReinstallAdvice(path));
        return;
    }
    const bool has_blank = !quoted && path.find(L' ') != std::wstring::npos;
    findings.Check(!has_blank, kWarning, L"service.path",
                   path + (has_blank ? L" (with a blank, without quotation marks)" : L""),
                   L"install it elsewhere: Windows first tries the part before the blank");
    const std::wstring version = FileVersion(path);
    const std::wstring own = FileVersion(OwnPath());
    findings.Check(version == own, kWarning, L"service.version",
                   version + (version == own ? L"" : L"; this is tesselctl " + own),
                   L"use both programs of one release");
}

// The only user of Wine, who owns all files. Windows never creates this SID.
constexpr wchar_t kWineUser[] = L"S-1-5-21-0-0-0-1000";

// Returns who else may change a program or its folder. Clears `known` if that cannot be told.
std::wstring OthersWhoChange(const std::wstring& program, bool& known) {
    std::wstring others;
    for (const std::wstring& path : {program, FolderOf(program)}) {
        ObjectSecurity security;
        if (ReadFileSecurity(path, security) != ERROR_SUCCESS) {
            known = false;
            continue;
        }
        for (const std::wstring& sid : OtherWriters(security)) {
            if (sid == kWineUser) {
                known = false;
            } else {
                others += (others.empty() ? L"" : L", ") + path + L" by " + AccountName(sid);
            }
        }
    }
    return others;
}

// Checks who may change the program that the service control manager runs, and this one, which
// administrators run.
void CheckFiles(Findings& findings, const std::wstring& program) {
    constexpr wchar_t kMayBe[] = L"may be changed: ";
    bool known = true;
    const std::wstring others = OthersWhoChange(program, known);
    const std::wstring others_own = OthersWhoChange(OwnPath(), known);
    if (!others.empty()) {
        findings.Add(kFault, L"files", kMayBe + others, ReinstallAdvice(program));
    } else if (!others_own.empty()) {
        findings.Add(kWarning, L"files", kMayBe + others_own,
                     L"run a copy of tesselctl.exe in C:\\Windows\\Tessel");
    } else {
        findings.Check(known, kNotHere, L"files",
                       known ? L"only administrators and Windows may change them"
                             : L"who may change them is not known here");
    }
}

void CheckConfig(Look& look) {
    std::vector<BYTE> buffer(8192);
    auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
    DWORD needed = 0;
    if (!QueryServiceConfigW(look.service.get(), config, static_cast<DWORD>(buffer.size()),
                             &needed)) {
        look.findings.AddNotHere(L"service.account", GetLastError());
        return;
    }
    const std::wstring account =
        config->lpServiceStartName != nullptr ? config->lpServiceStartName : L"";
    look.findings.Check(_wcsicmp(account.c_str(), kServiceAccount) == 0, kWarning,
                        L"service.account", account,
                        L"it needs NT AUTHORITY\\LocalService\n" +
                            ReinstallAdvice(ProgramPath(config->lpBinaryPathName)));
    const bool disabled = config->dwStartType == SERVICE_DISABLED;
    const bool automatic = config->dwStartType == SERVICE_AUTO_START;
    look.findings.Check(automatic, disabled ? kFault : kWarning, L"service.start",
                        automatic  ? L"automatic"
                        : disabled ? L"disabled"
                                   : L"not automatic",
                        L"as an administrator: sc.exe config \"Tessel Service\" start= auto");
    look.path = ProgramPath(config->lpBinaryPathName);
    CheckProgram(look.findings, look.path, config->lpBinaryPathName[0] == L'"');
    CheckFiles(look.findings, look.path);
}

void CheckState(const Look& look) {
    constexpr wchar_t kItem[] = L"service.state";
    const std::wstring id = L", process " + std::to_wstring(look.status.dwProcessId);
    const DWORD error = look.status.dwWin32ExitCode;
    if (look.status.dwCurrentState == SERVICE_RUNNING) {
        const bool other =
            look.process && _wcsicmp(look.process->image.c_str(), look.path.c_str()) != 0;
        look.findings.Check(!other, kFault, kItem,
                            L"running" + id + (other ? L", but from " + look.process->image : L""),
                            kRestartAdvice);
    } else if (look.status.dwCurrentState == SERVICE_STOPPED) {
        const bool failed = error != ERROR_SUCCESS && error != ERROR_SERVICE_NEVER_STARTED;
        look.findings.Add(kFault, kItem, failed ? L"stopped with " + ErrorText(error) : L"stopped",
                          kStartAdvice + std::wstring(L"\nif it stops again, this shows why: "
                                                      L".\\tessel-service -console"));
    } else {
        const bool stopping = look.status.dwCurrentState == SERVICE_STOP_PENDING;
        look.findings.Add(kWarning, kItem, (stopping ? L"stopping" : L"starting") + id,
                          L"wait and check again");
    }
}

std::optional<bool> CheckSid(const Look& look) {
    constexpr wchar_t kItem[] = L"service.sid";
    const std::wstring name = ServiceSid(kServiceName);
    const auto answer = QueryConfig(look.service.get(), SERVICE_CONFIG_SERVICE_SID_INFO);
    if (answer.empty()) {
        look.findings.AddNotHere(kItem, GetLastError(), name);
        return std::nullopt;
    }
    const DWORD type = reinterpret_cast<const SERVICE_SID_INFO*>(answer.data())->dwServiceSidType;
    const bool on = type != SERVICE_SID_TYPE_NONE;
    const auto has_it = look.status.dwProcessId != 0 ? ProcessHasSid(look.status.dwProcessId, name)
                                                     : std::optional(on);
    if (!on) {
        look.findings.Add(kWarning, kItem, name + L", not on", kGrantAdvice);
    } else if (!has_it) {
        look.findings.AddNotHere(kItem, GetLastError(), name + L", on; in the process");
    } else {
        look.findings.Check(
            *has_it, kFault, kItem,
            name + (*has_it ? L", on" : L", on, but the process does not have it"),
            kRestartAdvice + std::wstring(L"\nif this stays: restart the notebook"));
    }
    return has_it;
}

void CheckRecovery(const Look& look) {
    const auto answer = QueryConfig(look.service.get(), SERVICE_CONFIG_FAILURE_ACTIONS);
    if (answer.empty()) {
        look.findings.AddNotHere(L"service.recovery", GetLastError());
        return;
    }
    const auto* actions = reinterpret_cast<const SERVICE_FAILURE_ACTIONSW*>(answer.data());
    const bool restarts =
        actions->cActions > 0 && actions->lpsaActions[0].Type == SC_ACTION_RESTART;
    look.findings.Check(restarts, kWarning, L"service.recovery",
                        restarts ? L"restarted after a crash" : L"not restarted after a crash",
                        kGrantAdvice);
}

}  // namespace

Registration CheckRegistration(Findings& findings) {
    Look look = {findings, OpenRegistration(SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS)};
    if (!look.service && GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST) {
        findings.Add(kFault, L"service", L"not registered",
                     L"as an administrator: .\\tessel-service -install");
        return {.stopped = true};
    }
    DWORD needed = 0;
    if (!look.service || !QueryServiceStatusEx(look.service.get(), SC_STATUS_PROCESS_INFO,
                                               reinterpret_cast<BYTE*>(&look.status),
                                               sizeof(look.status), &needed)) {
        findings.AddNotHere(L"service", GetLastError());
        return {};
    }
    findings.Add(kOk, L"service", L"registered as \"" + std::wstring(kServiceName) + L"\"");
    if (look.status.dwProcessId != 0) {
        look.process = ReadProcess(look.status.dwProcessId);
    }
    CheckConfig(look);
    CheckState(look);
    const auto has_own_sid = CheckSid(look);
    CheckRecovery(look);
    return {look.status.dwCurrentState == SERVICE_STOPPED, has_own_sid, look.process};
}
