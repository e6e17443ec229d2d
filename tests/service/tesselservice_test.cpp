#include "service/tesselservice.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "rpc/rpcserver.h"
#include "service/diagnosticlog.h"
#include "tests/service/windowsservice.h"
#include "tests/support/recordedlog.h"

namespace {

std::atomic<RPC_STATUS> g_startStatus = RPC_S_OK;
std::atomic<DWORD> g_startThread = 0;

bool WaitFor(const std::function<bool()>& condition) {
    for (int i = 0; i < 5000 && !condition(); ++i) {
        Sleep(1);
    }
    return condition();
}

}  // namespace

RPC_STATUS RpcServerStart() {
    g_startThread = GetCurrentThreadId();
    return g_startStatus;
}

void RpcServerDisconnect() {
    WriteLog("(disconnect)");
}

namespace {

TEST(TesselServiceTest, StartHandsTheServerToAnotherThreadAndStopTearsItDown) {
    g_startStatus = RPC_S_OK;
    g_startThread = 0;
    TakeReports();
    TakeEvents();
    ClearLoggedLines();
    CTesselService service;
    service.Start(0, nullptr);
    ASSERT_TRUE(WaitFor([] { return g_startThread != 0; }));
    EXPECT_NE(g_startThread, GetCurrentThreadId());
    service.Stop();
    EXPECT_EQ(TakeEvents(), (std::vector<TracingEvent>{{4, L"CppWindowsService in OnStart"},
                                                       {4, L"CppWindowsService in OnStop"}}));
    EXPECT_EQ(LoggedLines(),
              (std::vector<std::string>{"Service OnStop", "(disconnect)", "Service OnStop end"}));
    EXPECT_EQ(TakeReports().back().state, static_cast<DWORD>(SERVICE_STOPPED));
}

// A start that fails at once must not let the report that the service runs come last.
TEST(TesselServiceTest, FailedServerStartStopsTheServiceAfterItWasReportedRunning) {
    g_startStatus = RPC_S_DUPLICATE_ENDPOINT;
    for (int round = 0; round < 50; ++round) {
        TakeReports();
        CTesselService service;
        service.Start(0, nullptr);
        std::vector<DWORD> states;
        ASSERT_TRUE(WaitFor([&] {
            for (const StatusReport& report : TakeReports()) {
                states.push_back(report.state);
            }
            return states.size() >= 4;
        }));
        EXPECT_EQ(states, (std::vector<DWORD>{SERVICE_START_PENDING, SERVICE_RUNNING,
                                              SERVICE_STOP_PENDING, SERVICE_STOPPED}));
    }
}

}  // namespace
