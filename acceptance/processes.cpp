#include "acceptance/processes.h"

#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <vector>

namespace {

constexpr DWORD kStartMilliseconds = 30000;
constexpr DWORD kPollMilliseconds = 50;
constexpr DWORD kAnswerMilliseconds = 5000;

// The job of all children: they end when its last handle is closed, which is in this process.
HANDLE ChildrenJob() {
    static const Handle job = [] {
        Handle made(CreateJobObjectW(nullptr, nullptr));
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        SetInformationJobObject(made.get(), JobObjectExtendedLimitInformation, &limits,
                                sizeof(limits));
        return made;
    }();
    return job.get();
}

// A pipe of which only the child's end is inherited.
void MakePipe(Handle& read, Handle& write, const Handle& childs) {
    CreatePipe(read.put(), write.put(), nullptr, 0);
    SetHandleInformation(childs.get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
}

}  // namespace

DWORD ExitCode(const Handle& process, DWORD milliseconds) {
    DWORD code = STILL_ACTIVE;
    if (WaitForSingleObject(process.get(), milliseconds) == WAIT_OBJECT_0) {
        GetExitCodeProcess(process.get(), &code);
    }
    return code;
}

Child::Child(const std::wstring& words,
             DWORD flags,
             SECURITY_CAPABILITIES* container,
             const std::wstring& program) {
    Handle childs_output;
    Handle childs_input;
    MakePipe(m_output, childs_output, childs_output);
    MakePipe(childs_input, m_input, childs_input);
    STARTUPINFOEXW startup = {};
    startup.StartupInfo.cb = sizeof(startup);
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = childs_input.get();
    startup.StartupInfo.hStdOutput = childs_output.get();
    startup.StartupInfo.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    std::vector<BYTE> list(size);
    if (container != nullptr) {
        startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(list.data());
        InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size);
        UpdateProcThreadAttribute(startup.lpAttributeList, 0,
                                  PROC_THREAD_ATTRIBUTE_SECURITY_CAPABILITIES, container,
                                  sizeof(*container), nullptr, nullptr);
    }
    std::wstring line = L"\"" + program + L"\" --child " + words;
    PROCESS_INFORMATION started = {};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE,
                        flags | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                        &startup.StartupInfo, &started)) {
        m_error = GetLastError();
        return;
    }
    CloseHandle(started.hThread);
    *m_process.put() = started.hProcess;
    if ((flags & DETACHED_PROCESS) == 0) {
        AssignProcessToJobObject(ChildrenJob(), started.hProcess);
    }
}

std::wstring Child::ReadLine() {
    std::string bytes;
    char byte = 0;
    DWORD read = 0;
    while (ReadFile(m_output.get(), &byte, 1, &read, nullptr) && read == 1 && byte != '\n') {
        bytes += byte;
    }
    const int size = static_cast<int>(bytes.size());
    std::wstring line(bytes.size(), L'\0');
    line.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, line.data(), size)));
    return line;
}

void Child::GoOn() {
    DWORD written = 0;
    WriteFile(m_input.get(), "", 1, &written, nullptr);
}

DWORD Child::Wait(DWORD milliseconds) {
    return m_process ? ExitCode(m_process, milliseconds) : m_error;
}

void Child::Kill() {
    if (m_process && Wait(0) == STILL_ACTIVE) {
        TerminateProcess(m_process.get(), ERROR_PROCESS_ABORTED);
        Wait(INFINITE);
    }
}

bool WaitForParent() {
    char unit = 0;
    DWORD read = 0;
    return ReadFile(GetStdHandle(STD_INPUT_HANDLE), &unit, 1, &read, nullptr) && read == 1;
}

void EndProcess(DWORD code) {
    TerminateProcess(GetCurrentProcess(), code);
    Sleep(INFINITE);
    __builtin_unreachable();
}

SERVICE_STATUS_PROCESS ServiceStatus(SC_HANDLE service) {
    SERVICE_STATUS_PROCESS status = {};
    DWORD needed = 0;
    QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                         sizeof(status), &needed);
    return status;
}

DWORD ServiceProcessId() {
    return ServiceStatus(OpenRegistration(SERVICE_QUERY_STATUS).get()).dwProcessId;
}

DWORD StartAndAnswer(SC_HANDLE service) {
    DWORD error = ERROR_TIMEOUT;
    for (const ULONGLONG start = GetTickCount64();
         error != 0 && GetTickCount64() - start < kStartMilliseconds; Sleep(kPollMilliseconds)) {
        if (ServiceStatus(service).dwCurrentState == SERVICE_RUNNING) {
            // A new process asks: connections of this one may belong to the last start. Under Wine
            // the last process may still hold the endpoint, and then no answer comes.
            error = Child(L"ask").Wait(kAnswerMilliseconds);
        } else {
            // Fails while a stop or a start is in progress.
            error = StartServiceW(service, 0, nullptr) ? ERROR_TIMEOUT : GetLastError();
        }
    }
    return error;
}

bool AwaitState(SC_HANDLE service, DWORD state, DWORD milliseconds) {
    const ULONGLONG start = GetTickCount64();
    while (ServiceStatus(service).dwCurrentState != state &&
           GetTickCount64() - start < milliseconds) {
        Sleep(kPollMilliseconds);
    }
    return ServiceStatus(service).dwCurrentState == state;
}

Usage ReadUsage() {
    Usage usage;
    const DWORD process_id = ServiceProcessId();
    const Handle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_id));
    PROCESS_MEMORY_COUNTERS_EX memory = {};
    const bool readable =
        process && GetProcessHandleCount(process.get(), &usage.handles) &&
        K32GetProcessMemoryInfo(process.get(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory),
                                sizeof(memory));
    usage.error = readable ? 0 : GetLastError();
    // Under Wine the number of handles is 0, and only the second of these is filled in.
    usage.private_kilobytes = std::max(memory.PrivateUsage, memory.PagefileUsage) / 1024;
    const FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot.get(), &entry); more;
         more = Process32NextW(snapshot.get(), &entry)) {
        usage.threads += entry.th32ProcessID == process_id ? entry.cntThreads : 0;
    }
    return usage;
}

bool IsWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}
