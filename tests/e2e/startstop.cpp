// Starts the service and stops it at once, as often as the argument says: the stop is asked for
// until it is taken, which is while the start is still at it or just done. Ends with 1 unless each
// time the service manager saw the service stopped with code 0 and its process ended by itself with
// code 0.
#include <windows.h>
#include <winsvc.h>

#include <cstdio>
#include <cwchar>

#include "win32/handle.h"
#include "win32/servicehandle.h"

namespace {

constexpr DWORD kPatienceMilliseconds = 30000;

// Repeats `attempt` until it is true; false when it is not in time.
template <typename Attempt>
bool Succeeds(Attempt attempt) {
    for (const ULONGLONG start = GetTickCount64(); !attempt();) {
        if (GetTickCount64() - start > kPatienceMilliseconds) {
            return false;
        }
    }
    return true;
}

SERVICE_STATUS_PROCESS Status(SC_HANDLE service) {
    SERVICE_STATUS_PROCESS status = {};
    DWORD needed = 0;
    QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                         sizeof(status), &needed);
    return status;
}

// The exit code of a process that ends in time.
DWORD ExitCode(HANDLE process) {
    DWORD code = STILL_ACTIVE;
    WaitForSingleObject(process, kPatienceMilliseconds);
    GetExitCodeProcess(process, &code);
    return code;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const long rounds = argc > 1 ? std::wcstol(argv[1], nullptr, 10) : 1;
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const ServiceHandle service(OpenServiceW(manager.Get(), L"Tessel Service",
                                             SERVICE_START | SERVICE_STOP | SERVICE_QUERY_STATUS));
    for (long round = 0; round < rounds; ++round) {
        const bool started =
            Succeeds([&] { return StartServiceW(service.Get(), 0, nullptr) != FALSE; });
        const Handle process(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE,
                                         Status(service.Get()).dwProcessId));
        // Wine loses the reply of a service whose process ends at once: then the next attempt finds
        // it stopped.
        const bool taken = Succeeds([&] {
            SERVICE_STATUS status = {};
            return ControlService(service.Get(), SERVICE_CONTROL_STOP, &status) != FALSE ||
                   GetLastError() == ERROR_SERVICE_NOT_ACTIVE;
        });
        const DWORD exit_code = ExitCode(process.Get());
        const SERVICE_STATUS_PROCESS end = Status(service.Get());
        if (!started || !taken || exit_code != 0 || end.dwCurrentState != SERVICE_STOPPED ||
            end.dwWin32ExitCode != NO_ERROR) {
            std::printf(
                "round %ld: started %d, stop taken %d, process 0x%lx, state %lu, code %lu\n", round,
                started, taken, exit_code, end.dwCurrentState, end.dwWin32ExitCode);
            return 1;
        }
    }
    std::printf("%ld starts, each stopped at once\n", rounds);
    return 0;
}
