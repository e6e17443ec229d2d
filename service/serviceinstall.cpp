#include "service/serviceinstall.h"

#include <windows.h>

#include "diagnostics/console.h"
#include "interface/serviceidentity.h"
#include "win32/uniquehandle.h"

namespace {

constexpr DWORD kStopPollMilliseconds = 1000;

void PrintFailure(const wchar_t* function) {
    ConsolePrint(L"%ls failed w/err 0x%08lx\n", function, GetLastError());
}

// Stops the service and waits while it is stop-pending. Does nothing if the control fails, for
// example because the service does not run.
void StopAndWait(SC_HANDLE service) {
    SERVICE_STATUS status = {};
    // Kept: nothing is printed, and the removal goes on.
    if (!ControlService(service, SERVICE_CONTROL_STOP, &status)) {
        return;
    }
    ConsolePrint(L"Stopping %ls.", kServiceName);
    Sleep(kStopPollMilliseconds);
    // Kept: no limit.
    while (QueryServiceStatus(service, &status) && status.dwCurrentState == SERVICE_STOP_PENDING) {
        ConsolePrint(L".");
        Sleep(kStopPollMilliseconds);
    }
    if (status.dwCurrentState == SERVICE_STOPPED) {
        ConsolePrint(L"\n%ls is stopped.\n", kServiceName);
    } else {
        ConsolePrint(L"\n%ls failed to stop.\n", kServiceName);
    }
}

}  // namespace

void InstallService() {
    wchar_t path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    // A path that fills the buffer was cut and does not name this program.
    if (length == 0 || length == MAX_PATH) {
        PrintFailure(L"GetModuleFileName");
        return;
    }

    const ServiceHandle manager(
        OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE));
    if (!manager) {
        PrintFailure(L"OpenSCManager");
        return;
    }

    // Kept: the path has no quotation marks.
    const ServiceHandle service(CreateServiceW(manager.get(), kServiceName, kServiceName,
                                               SERVICE_QUERY_STATUS, SERVICE_WIN32_OWN_PROCESS,
                                               SERVICE_AUTO_START, SERVICE_ERROR_NORMAL, path,
                                               /*lpLoadOrderGroup=*/nullptr, /*lpdwTagId=*/nullptr,
                                               /*lpDependencies=*/L"", kServiceAccount,
                                               /*lpPassword=*/nullptr));
    if (!service) {
        PrintFailure(L"CreateService");
        return;
    }
    ConsolePrint(L"%ls is installed.\n", kServiceName);
}

void RemoveService() {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) {
        PrintFailure(L"OpenSCManager");
        return;
    }

    const ServiceHandle service(
        OpenServiceW(manager.get(), kServiceName, DELETE | SERVICE_STOP | SERVICE_QUERY_STATUS));
    if (!service) {
        PrintFailure(L"OpenService");
        return;
    }

    StopAndWait(service.get());

    if (DeleteService(service.get())) {
        ConsolePrint(L"%ls is removed.\n", kServiceName);
    } else {
        PrintFailure(L"DeleteService");
    }
}
