// Starts the service and stops it at once, as often as the argument says: the stop is asked for
// until it is taken, which is while the start is still at it or just done. Ends with 1 when the
// service manager sees anything but a service that stopped by itself with code 0.
#include <windows.h>
#include <winsvc.h>

#include <cstdio>
#include <cwchar>

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

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const long rounds = argc > 1 ? std::wcstol(argv[1], nullptr, 10) : 1;
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const ServiceHandle service(OpenServiceW(manager.Get(), L"Tessel Service",
                                             SERVICE_START | SERVICE_STOP | SERVICE_QUERY_STATUS));
    SERVICE_STATUS status = {};
    long refused = 0;
    for (long round = 0; round < rounds; ++round) {
        const auto start = [&] { return StartServiceW(service.Get(), 0, nullptr) != FALSE; };
        const auto stop = [&] {
            if (ControlService(service.Get(), SERVICE_CONTROL_STOP, &status)) {
                return true;
            }
            ++refused;
            return false;
        };
        const auto stopped = [&] {
            return QueryServiceStatus(service.Get(), &status) != FALSE &&
                   status.dwCurrentState == SERVICE_STOPPED;
        };
        if (!Succeeds(start) || !Succeeds(stop) || !Succeeds(stopped) ||
            status.dwWin32ExitCode != NO_ERROR) {
            std::printf("round %ld: state %lu, exit code %lu, last error %lu\n", round,
                        status.dwCurrentState, status.dwWin32ExitCode, GetLastError());
            return 1;
        }
    }
    std::printf("%ld starts, %ld stops taken, %ld refused before\n", rounds, rounds, refused);
    return 0;
}
