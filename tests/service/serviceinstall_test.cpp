// Installs and removes the service while Windows refuses. The end-to-end test does both as well.
#include "service/serviceinstall.h"

#include <gtest/gtest.h>
#include <windows.h>
#include <winsvc.h>

#include <string>

#include "service/console.h"
#include "tests/support/interposed.h"
#include "tests/support/recorders.h"

namespace {

// The states of the service after the stop, a digit each: 3 is stop-pending, 1 stopped, 4 running.
const char* g_states = "";

BOOL GiveState(SC_HANDLE /*service*/, SERVICE_STATUS* status) {
    status->dwCurrentState = *g_states++ - '0';
    return TRUE;
}

BOOL Stop(SC_HANDLE service, DWORD /*control*/, SERVICE_STATUS* status) {
    return GiveState(service, status);
}

}  // namespace

INTERPOSE(GetModuleFileNameW, kNone);
INTERPOSE_GIVES(OpenSCManagerW, kOpensHandle, 1);
INTERPOSE_GIVES(OpenServiceW, kOpensHandle, 2);
INTERPOSE_GIVES(CloseServiceHandle, kCloses, 1);
INTERPOSE_BY(ControlService, kNone, Stop(arguments...));
INTERPOSE_BY(QueryServiceStatus, kNone, GiveState(arguments...));
INTERPOSE_GIVES(DeleteService, kNone, 1);
// A wait prints "z".
INTERPOSE_BY(Sleep, kNone, (g_watch.on ? ConsolePrint(L"z") : WINDOWS(Sleep)));

namespace {

std::wstring Printed(void (*act)(), const Fault& fault, const char* states = "") {
    g_states = states;
    g_watch = {true, fault};
    act();
    g_watch.on = false;
    EXPECT_EQ(g_watch.held, 0);
    return TakePrinted();
}

TEST(ServiceInstallTest, FailuresArePrinted) {
    EXPECT_EQ(Printed(InstallService, {"GetModuleFileNameW", 1, MAX_PATH, 122}),
              L"GetModuleFileName failed w/err 0x0000007a\n");
    for (const auto act : {InstallService, RemoveService}) {
        EXPECT_EQ(Printed(act, {"OpenSCManagerW", 1, 0, 5}),
                  L"OpenSCManager failed w/err 0x00000005\n");
    }
    EXPECT_EQ(Printed(RemoveService, {"ControlService", 1, 0, 0x426}),
              L"Tessel Service is removed.\n");
    EXPECT_EQ(Printed(RemoveService, {"DeleteService", 1, 0, 0x430}, "31"),
              L"Stopping Tessel Service.z\nTessel Service is stopped.\n"
              L"DeleteService failed w/err 0x00000430\n");
}

TEST(ServiceInstallTest, ARemovalWaitsWhileTheServiceIsStopping) {
    EXPECT_EQ(Printed(RemoveService, {}, "33331"),
              L"Stopping Tessel Service.z.z.z.z\nTessel Service is stopped.\n"
              L"Tessel Service is removed.\n");
    EXPECT_EQ(Printed(RemoveService, {}, "334"),
              L"Stopping Tessel Service.z.z\nTessel Service failed to stop.\n"
              L"Tessel Service is removed.\n");
    EXPECT_EQ(Printed(RemoveService, {"QueryServiceStatus", 2, 0, 6}, "33"),
              L"Stopping Tessel Service.z.z\nTessel Service failed to stop.\n"
              L"Tessel Service is removed.\n");
}

}  // namespace
