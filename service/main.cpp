// The entry point of the program. The first argument selects installation, removal, console server
// or service.
#include <cstdlib>
#include <cwchar>

#include "diagnostics/console.h"
#include "server/rpcserver.h"
#include "service/serviceinstall.h"
#include "service/tesselservice.h"

namespace {

// Serves requests in a console process, for diagnosis, until the process is ended. If the server
// cannot start, ends the process with the RPC status.
void RunConsoleServer() {
    CTesselService service;
    service.SetRpcStarted();
    service.WriteEventLogEntry(L"Starting Rpc Server..", kEventLevelInformation);
    const RPC_STATUS status = RpcServerStart();
    if (status != RPC_S_OK) {
        // Kept: no function has this name.
        ConsolePrintNarrow("RpcServerConnect returned: 0x%x\n", static_cast<unsigned>(status));
        // Kept: the same text as before the start, also for a failure.
        service.WriteEventLogEntry(L"Starting Rpc Server..", kEventLevelInformation);
        std::exit(static_cast<int>(status));
    }
}

// Kept: any other switch does nothing and prints nothing.
void RunSwitch(const wchar_t* name) {
    if (_wcsicmp(name, L"install") == 0) {
        InstallService();
    } else if (_wcsicmp(name, L"remove") == 0) {
        RemoveService();
    } else if (_wcsicmp(name, L"console") == 0) {
        RunConsoleServer();
    }
}

// Kept: the usage is also printed under the service control manager, and does not name -console.
void RunService() {
    ConsolePrint(L"Parameters:\n");
    ConsolePrint(L" -install  to install the service.\n");
    ConsolePrint(L" -remove   to remove the service.\n");
    CTesselService service;
    if (!CServiceBase::Run(service)) {
        ConsolePrint(L"Service failed to run w/err 0x%08lx\n", GetLastError());
    }
}

}  // namespace

int wmain(int argc, wchar_t* argv[]) {
    if (argc > 1 && (argv[1][0] == L'-' || argv[1][0] == L'/')) {
        RunSwitch(argv[1] + 1);
    } else {
        RunService();
    }
    // Kept: also after a failure.
    return 0;
}
