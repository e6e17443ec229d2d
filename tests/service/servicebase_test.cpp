#include "service/servicebase.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "tests/service/windowsservice.h"
#include "tests/support/replacedimport.h"

namespace {

constexpr BYTE kFailure = 1;

// A service whose hooks note their call and then do what the test says.
class TestService : public CServiceBase {
 public:
    std::string called;
    std::function<void()> behaviour = [] {};

    void OnStart(DWORD /*argc*/, wchar_t** /*argv*/) override { Hook("start "); }
    void OnStop() override { Hook("stop "); }
    void OnPause() override { Hook("pause "); }
    void OnContinue() override { Hook("continue "); }
    void OnShutdown() override { Hook("shutdown "); }

 private:
    void Hook(const char* name) {
        called += name;
        behaviour();
    }
};

const SERVICE_TABLE_ENTRYW* g_table = nullptr;
std::function<void()> g_duringDispatch = [] {};

BOOL WINAPI SimulatedDispatcher(const SERVICE_TABLE_ENTRYW* table) {
    g_table = table;
    g_duringDispatch();
    return FALSE;
}
REPLACE_IMPORT(StartServiceCtrlDispatcherW, SimulatedDispatcher);

class ServiceBaseTest : public testing::Test {
 protected:
    void SetUp() override {
        TakeReports();
        TakeEvents();
    }
};

TEST_F(ServiceBaseTest, PendingReportsCountThroughTheProcessAndSettledOnesCarryNone) {
    TestService service;
    service.Start(0, nullptr);
    service.Stop();
    const auto reports = TakeReports();
    ASSERT_EQ(reports.size(), 4U);
    const DWORD first = reports[0].check_point;
    EXPECT_EQ(reports[0], (StatusReport{SERVICE_START_PENDING, 0, first}));
    EXPECT_EQ(reports[1], (StatusReport{SERVICE_RUNNING, 0, 0}));
    EXPECT_EQ(reports[2], (StatusReport{SERVICE_STOP_PENDING, 0, first + 1}));
    EXPECT_EQ(reports[3], (StatusReport{SERVICE_STOPPED, 0, 0}));
    EXPECT_EQ(FirstCheckPoint(), 1U);

    service.Pause();
    const auto paused = TakeReports();
    EXPECT_EQ(paused[0].check_point, first + 2);
    EXPECT_EQ(paused[1].check_point, first + 3) << "paused is not a settled state";

    const SERVICE_STATUS status = LastStatus();
    EXPECT_EQ(status.dwServiceType, 0x10U);
    EXPECT_EQ(status.dwControlsAccepted, 5U);
    EXPECT_EQ(status.dwWaitHint, 0U);
}

// The states that each method reports when its hook returns, throws a Win32 code, or throws
// anything else, from a service that runs.
struct MethodCase {
    const char* name;
    std::function<void(TestService&)> call;
    std::vector<DWORD> normal;
    std::vector<DWORD> failed;
    const wchar_t* error_event;
    const wchar_t* other_event;
};

const MethodCase kMethods[] = {
    {"Start",
     [](TestService& s) { s.Start(0, nullptr); },
     {2, 4},
     {2, 1},
     L"Service Start failed w/err 0x0000beef",
     L"Service failed to start."},
    {"Stop",
     [](TestService& s) { s.Stop(); },
     {3, 1},
     {3, 4},
     L"Service Stop failed w/err 0x0000beef",
     L"Service failed to stop."},
    {"Pause",
     [](TestService& s) { s.Pause(); },
     {6, 7},
     {6, 4},
     L"Service Pause failed w/err 0x0000beef",
     L"Service failed to pause."},
    {"Continue",
     [](TestService& s) { s.Continue(); },
     {5, 4},
     {5, 7},
     L"Service Continue failed w/err 0x0000beef",
     L"Service failed to resume."},
    {"Shutdown",
     [](TestService& s) { s.Shutdown(); },
     {1},
     {},
     L"Service Shutdown failed w/err 0x0000beef",
     L"Service failed to shut down."},
};

std::vector<DWORD> TakeStates() {
    std::vector<DWORD> states;
    for (const StatusReport& report : TakeReports()) {
        states.push_back(report.state);
    }
    return states;
}

TEST_F(ServiceBaseTest, EveryMethodReportsAndTracesItsOutcome) {
    for (const MethodCase& method : kMethods) {
        SCOPED_TRACE(method.name);
        TestService service;
        service.Start(0, nullptr);
        TakeReports();
        method.call(service);
        EXPECT_EQ(TakeStates(), method.normal);
        EXPECT_TRUE(TakeEvents().empty());

        TestService failing;
        failing.SetServiceStatus(SERVICE_RUNNING);
        TakeReports();
        failing.behaviour = [] { throw DWORD{0xBEEF}; };
        method.call(failing);
        const SERVICE_STATUS status = LastStatus();
        EXPECT_EQ(TakeStates(), method.failed);
        EXPECT_EQ(TakeEvents(), (std::vector<TracingEvent>{{kFailure, method.error_event}}));
        EXPECT_EQ(status.dwWin32ExitCode, method.normal[0] == SERVICE_START_PENDING ? 0xBEEFU : 0U);

        failing.SetServiceStatus(SERVICE_RUNNING);
        TakeReports();
        failing.behaviour = [] { throw std::runtime_error("not a Win32 code"); };
        method.call(failing);
        EXPECT_EQ(TakeStates(), method.failed);
        EXPECT_EQ(LastStatus().dwWin32ExitCode, 0U);
        EXPECT_EQ(TakeEvents(), (std::vector<TracingEvent>{{kFailure, method.other_event}}));
    }
}

TEST_F(ServiceBaseTest, DispatcherGetsTheServiceAndControlsReachTheirHooks) {
    TestService service;
    g_duringDispatch = [&] {
        EXPECT_STREQ(g_table[0].lpServiceName, L"Tessel Service");
        EXPECT_EQ(g_table[1].lpServiceName, nullptr);
        EXPECT_EQ(g_table[1].lpServiceProc, nullptr);
        g_table[0].lpServiceProc(0, nullptr);
        for (DWORD control = 255; control != 0; --control) {
            CServiceBase::ServiceCtrlHandler(control);
        }
    };
    EXPECT_FALSE(CServiceBase::Run(service));
    // The stop found the service ended by the shutdown.
    EXPECT_EQ(service.called, "start shutdown continue pause ");
}

TEST_F(ServiceBaseTest, LongErrorTextsAreCutAndTerminated) {
    TestService service;
    service.WriteErrorLogEntry(std::wstring(500, L'x').c_str(), 5);
    EXPECT_EQ(TakeEvents(), (std::vector<TracingEvent>{{kFailure, std::wstring(259, L'x')}}));
}

}  // namespace
