// Looks at the service's process from outside: `servicewatch handles` prints how many handles it
// holds; `servicewatch stop COMMAND-LINE` runs a command that stops it and prints with which exit
// code it ends.
#include <windows.h>
#include <tlhelp32.h>
#include <winternl.h>

#include <cstdio>
#include <cwchar>
#include <vector>

#include "win32/handle.h"

namespace {

// Of the class that lists every handle of the system.
constexpr auto kSystemHandleInformation = static_cast<SYSTEM_INFORMATION_CLASS>(16);

struct SystemHandles {
    ULONG count;
    struct {
        ULONG owner;
        UCHAR type;
        UCHAR flags;
        USHORT handle;
        void* object;
        ACCESS_MASK access;
    } handles[1];
};

DWORD FindService() {
    const FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W process = {};
    process.dwSize = sizeof(process);
    for (BOOL more = Process32FirstW(snapshot.Get(), &process); more;
         more = Process32NextW(snapshot.Get(), &process)) {
        if (std::wcsncmp(process.szExeFile, L"tessel-service", 14) == 0) {
            return process.th32ProcessID;
        }
    }
    return 0;
}

unsigned CountHandles(DWORD process_id) {
    std::vector<unsigned char> buffer(1 << 20);
    ULONG size = 0;
    while (NtQuerySystemInformation(kSystemHandleInformation, buffer.data(),
                                    static_cast<ULONG>(buffer.size()), &size) != 0) {
        buffer.resize(buffer.size() * 2);
    }
    const auto* all = reinterpret_cast<const SystemHandles*>(buffer.data());
    unsigned count = 0;
    for (ULONG i = 0; i < all->count; ++i) {
        count += all->handles[i].owner == process_id ? 1 : 0;
    }
    return count;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const DWORD process_id = FindService();
    if (argc < 2 || process_id == 0) {
        std::printf("no service\n");
        return 1;
    }
    if (std::wcscmp(argv[1], L"handles") == 0) {
        std::printf("%u\n", CountHandles(process_id));
        return 0;
    }
    const Handle process(
        OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_id));
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION command = {};
    if (argc < 3 || !CreateProcessW(nullptr, argv[2], nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                    &startup, &command)) {
        return 1;
    }
    constexpr DWORD kPatience = 30000;
    constexpr DWORD kEndMilliseconds = 10000;
    if (WaitForSingleObject(command.hProcess, kPatience) != WAIT_OBJECT_0) {
        std::printf("the command does not end\n");
        return 1;
    }
    if (WaitForSingleObject(process.Get(), kEndMilliseconds) != WAIT_OBJECT_0) {
        std::printf("the service does not end\n");
        return 1;
    }
    DWORD code = 0;
    GetExitCodeProcess(process.Get(), &code);
    std::printf("exit code 0x%lx\n", code);
    return 0;
}
