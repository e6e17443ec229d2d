#include "acceptance/child.h"

#include <iterator>

namespace {

// The job of all children: they end when the last handle to it is closed, which is this process's.
HANDLE ChildrenJob() {
    static const HANDLE job = [] {
        HANDLE made = CreateJobObjectW(nullptr, nullptr);
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        SetInformationJobObject(made, JobObjectExtendedLimitInformation, &limits, sizeof(limits));
        return made;
    }();
    return job;
}

// A pipe of which only the child's end is inherited.
void MakePipe(Handle& read, Handle& write, const Handle& childs) {
    CreatePipe(read.put(), write.put(), nullptr, 0);
    SetHandleInformation(childs.get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
}

}  // namespace

std::wstring OwnPath() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, std::size(path));
    return path;
}

DWORD StartChild(const std::wstring& program,
                 const std::wstring& words,
                 STARTUPINFOEXW& startup,
                 DWORD flags,
                 Handle& process) {
    startup.StartupInfo.cb = sizeof(startup);
    std::wstring line = L"\"" + program + L"\" --child " + words;
    PROCESS_INFORMATION started = {};
    if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr,
                        startup.StartupInfo.hStdInput != nullptr,
                        flags | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                        &startup.StartupInfo, &started)) {
        return GetLastError();
    }
    CloseHandle(started.hThread);
    process.reset(started.hProcess);
    if ((flags & DETACHED_PROCESS) == 0) {
        AssignProcessToJobObject(ChildrenJob(), process.get());
    }
    return ERROR_SUCCESS;
}

Child::Child(const std::wstring& words, DWORD flags) {
    Handle childs_output;
    Handle childs_input;
    MakePipe(m_output, childs_output, childs_output);
    MakePipe(childs_input, m_input, childs_input);
    STARTUPINFOEXW startup = {};
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = childs_input.get();
    startup.StartupInfo.hStdOutput = childs_output.get();
    startup.StartupInfo.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    m_error = StartChild(OwnPath(), words, startup, flags, m_process);
}

Child::~Child() {
    Kill();
}

std::wstring Child::ReadLine() {
    std::string bytes;
    char byte = 0;
    DWORD read = 0;
    while (ReadFile(m_output.get(), &byte, 1, &read, nullptr) && read == 1 && byte != '\n') {
        bytes += byte;
    }
    std::wstring line(bytes.size(), L'\0');
    line.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), line.data(),
                            static_cast<int>(line.size()))));
    return line;
}

void Child::GoOn() {
    DWORD written = 0;
    WriteFile(m_input.get(), "", 1, &written, nullptr);
}

DWORD Child::Wait(DWORD milliseconds) {
    if (!m_process) {
        return m_error;
    }
    DWORD code = STILL_ACTIVE;
    if (WaitForSingleObject(m_process.get(), milliseconds) == WAIT_OBJECT_0) {
        GetExitCodeProcess(m_process.get(), &code);
    }
    return code;
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
