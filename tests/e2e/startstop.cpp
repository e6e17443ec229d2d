// Starts the service and stops it at once, as often as the argument says: the stop is asked for
// until it is taken, which is while the start is still at it or just done. Ends with 1 unless each
// time the service manager saw the service stopped with code 0 and its process ended by itself with
// code 0; with none, whoever waits for this program ends it.
#include <windows.h>
#include <winsvc.h>

#include <cstdio>
#include <cwchar>

#include "win32/uniquehandle.h"

namespace {

SERVICE_STATUS_PROCESS Status(SC_HANDLE service) {
    SERVICE_STATUS_PROCESS status = {};
    DWORD needed = 0;
    QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                         sizeof(status), &needed);
    return status;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const long rounds = argc > 1 ? std::wcstol(argv[1], nullptr, 10) : 1;
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const ServiceHandle service(OpenServiceW(manager.get(), L"Tessel Service",
                                             SERVICE_START | SERVICE_STOP | SERVICE_QUERY_STATUS));
    for (long round = 0; round < rounds; ++round) {
        while (!StartServiceW(service.get(), 0, nullptr)) {
        }
        const Handle process(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE,
                                         Status(service.get()).dwProcessId));
        // Wine loses the reply of a service whose process ends at once: then the next attempt finds
        // it stopped.
        SERVICE_STATUS status = {};
        while (!ControlService(service.get(), SERVICE_CONTROL_STOP, &status) &&
               GetLastError() != ERROR_SERVICE_NOT_ACTIVE) {
        }
        DWORD exit_code = STILL_ACTIVE;
        WaitForSingleObject(process.get(), INFINITE);
        GetExitCodeProcess(process.get(), &exit_code);
        const SERVICE_STATUS_PROCESS end = Status(service.get());
        if (exit_code != 0 || end.dwCurrentState != SERVICE_STOPPED ||
            end.dwWin32ExitCode != NO_ERROR) {
            std::printf("round %ld: process 0x%lx, state %lu, code %lu\n", round, exit_code,
                        end.dwCurrentState, end.dwWin32ExitCode);
            return 1;
        }
    }
    std::printf("%ld starts, each stopped at once\n", rounds);
    return 0;
}
