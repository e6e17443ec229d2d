#include "acceptance/installedservice.h"

#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>

#include "acceptance/child.h"
#include "acceptance/items.h"
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
            // By another process: connections of this one may be those of the last start.
            error = Child(L"ask").Wait(kChildMilliseconds);
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

const wchar_t* StateText(SC_HANDLE service) {
    constexpr const wchar_t* kNames[] = {L"not known",    L"stopped", L"start pending",
                                         L"stop pending", L"running", L"another"};
    return kNames[std::min(ServiceStatus(service).dwCurrentState, 5UL)];
}

std::wstring Usage::Text() const {
    // Wine tells no handles.
    return Format(L"%lu handles, %lu threads, %zu kB", handles, threads, private_kilobytes);
}

bool Usage::IsNear(const Usage& other, DWORD more, SIZE_T kilobytes) const {
    return handles <= other.handles + more && threads <= other.threads + more &&
           private_kilobytes <= other.private_kilobytes + kilobytes;
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
