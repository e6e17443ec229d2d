// The service, its base class and its installer. All that the service reports, writes and calls
// goes into the recorded log, in one order.
#include <gtest/gtest.h>

#include <windows.h>
#include <evntprov.h>
#include <objbase.h>
#include <winsvc.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "diagnostics/logline.h"
#include "server/rpcserver.h"
#include "service/serviceinstall.h"
#include "service/tesselservice.h"
#include "tests/support/interposed.h"
#include "tests/support/recorders.h"

namespace {

// The check points of the reports, a digit each, and the last status.
std::string g_checkPoints;
SERVICE_STATUS g_status = {};
std::atomic<int> g_reports = 0;
const SERVICE_TABLE_ENTRYW* g_table = nullptr;
std::function<void()> g_duringDispatch = [] {};
std::function<void()> g_duringRegistration = [] {};
std::function<void()> g_beforeRunning = [] {};
std::function<void()> g_beforeLock;
std::function<void()> g_afterUnlock;
std::atomic<RPC_STATUS> g_startStatus = RPC_S_OK;
std::atomic<bool> g_startIsHeld = false;

BOOL KeepStatus(SERVICE_STATUS_HANDLE /*handle*/, const SERVICE_STATUS* status) {
    if (status->dwCurrentState == SERVICE_RUNNING) {
        g_beforeRunning();
    }
    LogLine("", static_cast<long>(status->dwCurrentState));
    g_checkPoints += std::to_string(status->dwCheckPoint);
    g_status = *status;
    ++g_reports;
    return FALSE;
}

ULONG GiveProvider(const GUID* provider, PENABLECALLBACK, void*, REGHANDLE* handle) {
    wchar_t id[40] = {};
    StringFromGUID2(*provider, id, 40);
    EXPECT_STREQ(id, L"{BE2E880E-F79F-4C30-9C95-09F003A0A7EA}");
    *handle = 77;
    return ERROR_SUCCESS;
}

ULONG KeepEvent(REGHANDLE handle, UCHAR level, ULONGLONG keyword, const wchar_t* message) {
    const std::wstring text = message;
    EXPECT_TRUE(handle == 77 && keyword == 0);
    LogLine(("[" + std::to_string(level) + "] " + std::string(text.begin(), text.end())).c_str());
    return ERROR_SUCCESS;
}

void CallOnce(std::function<void()>& act) {
    if (act) {
        std::exchange(act, nullptr)();
    }
}

BOOL Dispatch(const SERVICE_TABLE_ENTRYW* table) {
    g_table = table;
    g_duringDispatch();
    return FALSE;
}

SERVICE_STATUS_HANDLE Register(const wchar_t* /*name*/, LPHANDLER_FUNCTION /*handler*/) {
    g_duringRegistration();
    return reinterpret_cast<SERVICE_STATUS_HANDLE>(1);
}

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

INTERPOSE_BY(SetServiceStatus, kNone, KeepStatus(arguments...));
INTERPOSE_BY(EventRegister, kNone, GiveProvider(arguments...));
INTERPOSE_BY(EventWriteString, kNone, KeepEvent(arguments...));
INTERPOSE_BY(StartServiceCtrlDispatcherW, kNone, Dispatch(arguments...));
INTERPOSE_BY(RegisterServiceCtrlHandlerW, kNone, Register(arguments...));
INTERPOSE(GetModuleFileNameW, kNone);
INTERPOSE_GIVES(OpenSCManagerW, kOpensHandle, 1);
INTERPOSE_GIVES(OpenServiceW, kOpensHandle, 2);
INTERPOSE_GIVES(CloseServiceHandle, kCloses, 1);
INTERPOSE_BY(ControlService, kNone, Stop(arguments...));
INTERPOSE_BY(QueryServiceStatus, kNone, GiveState(arguments...));
INTERPOSE_GIVES(DeleteService, kNone, 1);
// A sleep prints "z".
INTERPOSE_BY(Sleep, kNone, (g_watch.on ? ConsolePrint(L"z") : WINDOWS(Sleep)));

// The Windows headers declare these two as functions that are not imported.
void WINAPI AcquireSRWLockExclusive(SRWLOCK* lock) {
    CallOnce(g_beforeLock);
    CallWindows<decltype(AcquireSRWLockExclusive)>("AcquireSRWLockExclusive", lock);
}

void WINAPI ReleaseSRWLockExclusive(SRWLOCK* lock) {
    CallWindows<decltype(ReleaseSRWLockExclusive)>("ReleaseSRWLockExclusive", lock);
    CallOnce(g_afterUnlock);
}

RPC_STATUS RpcServerStart() {
    while (g_startIsHeld) {
        Sleep(1);
    }
    return g_startStatus;
}

void RpcServerDisconnect() {
    LogLine("(disconnect)");
}

namespace {

// Returns what was recorded since the last call: states, events with their level, calls and lines.
std::string Recorded() {
    std::string recorded;
    for (const std::string& line : TakeLog()) {
        recorded += (recorded.empty() ? "" : " ") + line;
    }
    return recorded;
}

void WaitForReports(int count, int milliseconds) {
    for (int i = 0; i < milliseconds && g_reports < count; ++i) {
        Sleep(1);
    }
}

// A service whose hooks record their call and then run the function of the test.
class TestService : public CServiceBase {
 public:
    std::function<void()> behaviour = [] {};

    void OnStart(DWORD /*argc*/, wchar_t** /*argv*/) override { Hook("start"); }
    void OnStop() override { Hook("stop"); }
    void OnPause() override { Hook("pause"); }
    void OnContinue() override { Hook("continue"); }
    void OnShutdown() override { Hook("shutdown"); }

 private:
    void Hook(const char* name) {
        LogLine(name);
        behaviour();
    }
};

class ServiceTest : public testing::Test {
 protected:
    void SetUp() override {
        TakeLog();
        g_reports = 0;
        g_watch = {};
    }
};

// The first test, because check points count from the start of the process.
TEST_F(ServiceTest, PendingReportsCountAndSettledOnesCarryNone) {
    TestService service;
    service.Start(0, nullptr);
    service.Stop();
    service.Pause();
    EXPECT_EQ(Recorded(), "2 start 4 3 stop 1 6 pause 7");
    EXPECT_EQ(g_checkPoints, "102034") << "paused is not a settled state";
    EXPECT_EQ(g_status.dwServiceType, 0x10U);
    EXPECT_EQ(g_status.dwControlsAccepted, 5U);
    EXPECT_EQ(g_status.dwWaitHint, 0U);

    service.WriteErrorLogEntry(std::wstring(500, L'x').c_str(), 5);
    EXPECT_EQ(Recorded(), "[1] " + std::string(259, 'x'));
}

TEST_F(ServiceTest, EveryMethodReportsAndTracesItsOutcome) {
    // What each method records before its hook ends, and then if the hook returns or throws.
    const struct {
        std::string name;
        std::string verb;
        void (*call)(TestService& service);
        std::string before;
        std::string normal;
        std::string failed;
    } methods[] = {
        {"Start", "start", [](TestService& s) { s.Start(0, nullptr); }, "2 start", " 4", " 1"},
        {"Stop", "stop", [](TestService& s) { s.Stop(); }, "3 stop", " 1", " 4"},
        {"Pause", "pause", [](TestService& s) { s.Pause(); }, "6 pause", " 7", " 4"},
        {"Continue", "resume", [](TestService& s) { s.Continue(); }, "5 continue", " 4", " 7"},
        {"Shutdown", "shut down", [](TestService& s) { s.Shutdown(); }, "shutdown", " 1", ""},
    };
    for (const auto& method : methods) {
        TestService service;
        service.Start(0, nullptr);
        TakeLog();
        const auto call = [&](const std::function<void()>& behaviour) {
            service.behaviour = behaviour;
            method.call(service);
            return Recorded();
        };
        EXPECT_EQ(call([] { throw DWORD{0xBEEF}; }), method.before + " [1] Service " + method.name +
                                                         " failed w/err 0x0000beef" +
                                                         method.failed);
        EXPECT_EQ(g_status.dwWin32ExitCode, method.name == "Start" ? 0xBEEFU : 0U);
        EXPECT_EQ(call([] { throw std::runtime_error("not a Win32 code"); }),
                  method.before + " [1] Service failed to " + method.verb + "." + method.failed);
        EXPECT_EQ(g_status.dwWin32ExitCode, 0U);
        EXPECT_EQ(call([] {}), method.before + method.normal) << "after a failure";
    }
}

TEST_F(ServiceTest, DispatcherGetsTheServiceAndControlsReachTheirHooks) {
    TestService service;
    g_duringDispatch = [] {
        EXPECT_STREQ(g_table[0].lpServiceName, L"Tessel Service");
        EXPECT_EQ(g_table[1].lpServiceName, nullptr);
        EXPECT_EQ(g_table[1].lpServiceProc, nullptr);
        g_table[0].lpServiceProc(0, nullptr);
        for (DWORD control = 255; control != 0; --control) {
            CServiceBase::ServiceCtrlHandler(control);
        }
    };
    EXPECT_FALSE(CServiceBase::Run(service));
    // The shutdown came first: the stop does nothing.
    EXPECT_EQ(Recorded(), "2 start 4 shutdown 1 5 continue 4 6 pause 7");
}

// A control may come as soon as the handler is registered.
TEST_F(ServiceTest, AControlThatComesDuringTheRegistrationWaitsForTheStart) {
    TestService service;
    std::thread control;
    g_duringRegistration = [&] {
        control = std::thread([] { CServiceBase::ServiceCtrlHandler(SERVICE_CONTROL_STOP); });
        WaitForReports(1, 100);
    };
    g_duringDispatch = [] { g_table[0].lpServiceProc(0, nullptr); };
    CServiceBase::Run(service);
    control.join();
    g_duringRegistration = [] {};
    EXPECT_EQ(Recorded(), "2 start 4 3 stop 1");
}

// What a service records that starts and stops.
constexpr char kStartedAndStopped[] =
    "2 [4] CppWindowsService in OnStart 4 "
    "3 [4] CppWindowsService in OnStop Service OnStop (disconnect) Service OnStop end 1";

// A server start that fails at once stops the service, but not before it is reported as running;
// one that fails after a stop reports nothing more.
TEST_F(ServiceTest, AFailedServerStartStopsTheServiceOnceAndAfterItRuns) {
    g_startStatus = RPC_S_DUPLICATE_ENDPOINT;
    {
        g_beforeRunning = [] { WaitForReports(2, 100); };
        CTesselService service;
        service.Start(0, nullptr);
        g_beforeRunning = [] {};
        WaitForReports(4, 5000);
        EXPECT_EQ(Recorded(), kStartedAndStopped);
    }
    g_startIsHeld = true;
    CTesselService service;
    service.Start(0, nullptr);
    service.Stop();
    g_startIsHeld = false;
    Sleep(50);
    EXPECT_EQ(Recorded(), kStartedAndStopped);
}

// A second stop may come at any moment: here before the first one takes the lock, or after it has
// released the lock.
TEST_F(ServiceTest, TwoStopsAtTheSameTimeStopTheServiceOnce) {
    TestService service;
    for (std::function<void()>* moment : {&g_beforeLock, &g_afterUnlock}) {
        service.Start(0, nullptr);
        bool came = false;
        *moment = [&] {
            came = true;
            service.Stop();
        };
        service.Stop();
        EXPECT_TRUE(came);
        EXPECT_EQ(Recorded(), "2 start 4 3 stop 1");
    }
}

TEST_F(ServiceTest, WithoutATracingProviderNoEventIsWritten) {
    g_watch = {true, {"EventRegister", 1, 5}};
    TestService service;
    EXPECT_EQ(TakePrinted(), L"Provider not registered. EventRegister failed with 5\n");
    service.WriteErrorLogEntry(L"no provider", 1);
    EXPECT_EQ(Recorded(), "");
}

// Installing and removing without a failure is in the end-to-end test.
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
