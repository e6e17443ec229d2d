#include "acceptance/installedservice.h"

#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <iterator>

#include "acceptance/exchange.h"
#include "service/serviceidentity.h"

namespace {

constexpr DWORD kStartMilliseconds = 30000;
constexpr DWORD kPollMilliseconds = 100;

DWORD ThreadCount(DWORD process_id) {
    const FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot.get(), &entry); more;
         more = Process32NextW(snapshot.get(), &entry)) {
        if (entry.th32ProcessID == process_id) {
            return entry.cntThreads;
        }
    }
    return 0;
}

}  // namespace

ServiceHandle OpenInstalledService(DWORD access) {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    return ServiceHandle(manager ? OpenServiceW(manager.get(), kServiceName, access) : nullptr);
}

SERVICE_STATUS_PROCESS ServiceStatus(SC_HANDLE service) {
    SERVICE_STATUS_PROCESS status = {};
    DWORD needed = 0;
    QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                         sizeof(status), &needed);
    return status;
}

DWORD ServiceProcessId() {
    return ServiceStatus(OpenInstalledService(SERVICE_QUERY_STATUS).get()).dwProcessId;
}

DWORD StartAndAnswer(SC_HANDLE service) {
    const ULONGLONG start = GetTickCount64();
    DWORD error = ERROR_SUCCESS;
    do {
        if (ServiceStatus(service).dwCurrentState == SERVICE_RUNNING) {
            error = AskOnce();
            if (error == ERROR_SUCCESS) {
                return error;
            }
        } else {
            // Fails while a stop or a start is in progress.
            error = StartServiceW(service, 0, nullptr) ? ERROR_SUCCESS : GetLastError();
        }
        Sleep(kPollMilliseconds);
    } while (GetTickCount64() - start < kStartMilliseconds);
    return error != ERROR_SUCCESS ? error : ERROR_SERVICE_REQUEST_TIMEOUT;
}

bool AwaitState(SC_HANDLE service, DWORD state, DWORD milliseconds) {
    const ULONGLONG start = GetTickCount64();
    while (ServiceStatus(service).dwCurrentState != state) {
        if (GetTickCount64() - start > milliseconds) {
            return false;
        }
        Sleep(kPollMilliseconds / 2);
    }
    return true;
}

std::wstring StateText(DWORD state) {
    constexpr const wchar_t* kNames[] = {L"unknown",       L"stopped", L"start pending",
                                         L"stop pending",  L"running", L"continue pending",
                                         L"pause pending", L"paused"};
    return kNames[state < std::size(kNames) ? state : 0];
}

std::wstring Usage::Text() const {
    return (handles == 0 ? L"handles not told, " : std::to_wstring(handles) + L" handles, ") +
           std::to_wstring(threads) + L" threads, " + std::to_wstring(private_kilobytes) + L" kB";
}

bool ReadUsage(Usage& usage) {
    const DWORD process_id = ServiceProcessId();
    const Handle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_id));
    PROCESS_MEMORY_COUNTERS_EX memory = {};
    if (!process || !GetProcessHandleCount(process.get(), &usage.handles) ||
        !K32GetProcessMemoryInfo(process.get(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory),
                                 sizeof(memory))) {
        return false;
    }
    usage.threads = ThreadCount(process_id);
    // Wine tells the second alone.
    usage.private_kilobytes = std::max(memory.PrivateUsage, memory.PagefileUsage) / 1024;
    return true;
}

bool ReadSettledUsage(Usage& usage, int seconds) {
    constexpr int kReadings = 30;
    if (!ReadUsage(usage)) {
        return false;
    }
    int same = 0;
    for (int i = 0; i < kReadings && same < seconds; ++i) {
        Sleep(1000);
        const Usage last = usage;
        ReadUsage(usage);
        same = last.handles == usage.handles && last.threads == usage.threads ? same + 1 : 0;
    }
    return true;
}

void EnableDebugPrivilege() {
    Handle token;
    TOKEN_PRIVILEGES wanted = {1, {{{}, SE_PRIVILEGE_ENABLED}}};
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, token.put()) &&
        LookupPrivilegeValueW(nullptr, SE_DEBUG_NAME, &wanted.Privileges[0].Luid)) {
        AdjustTokenPrivileges(token.get(), FALSE, &wanted, 0, nullptr, nullptr);
    }
}

bool IsWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}
