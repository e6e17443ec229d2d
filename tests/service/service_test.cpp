// The service and its base class, with their reports and tracing events recorded.
#include <gtest/gtest.h>

#include <windows.h>
#include <evntprov.h>
#include <objbase.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "rpc/rpcserver.h"
#include "service/logline.h"
#include "service/tesselservice.h"
#include "tests/support/interposed.h"
#include "tests/support/recorders.h"

namespace {

std::mutex g_mutex;
std::vector<SERVICE_STATUS> g_statuses;
// Each begins with its level.
std::vector<std::wstring> g_events;
DWORD g_firstCheckPoint = 0;
const SERVICE_TABLE_ENTRYW* g_table = nullptr;
std::function<void()> g_duringDispatch = [] {};
std::function<void(DWORD state)> g_beforeStatus = [](DWORD) {};
std::atomic<RPC_STATUS> g_startStatus = RPC_S_OK;
std::atomic<DWORD> g_startThread = 0;
std::atomic<bool> g_startIsHeld = false;

BOOL KeepStatus(SERVICE_STATUS_HANDLE /*handle*/, const SERVICE_STATUS* status) {
    g_beforeStatus(status->dwCurrentState);
    const std::lock_guard lock(g_mutex);
    g_statuses.push_back(*status);
    g_firstCheckPoint = g_firstCheckPoint != 0 ? g_firstCheckPoint : status->dwCheckPoint;
    return FALSE;
}

ULONG GiveProvider(const GUID* provider, PENABLECALLBACK, void*, REGHANDLE* handle) {
    wchar_t id[40] = {};
    StringFromGUID2(*provider, id, 40);
    *handle = id == std::wstring(L"{BE2E880E-F79F-4C30-9C95-09F003A0A7EA}") ? 77 : 78;
    return ERROR_SUCCESS;
}

ULONG KeepEvent(REGHANDLE handle, UCHAR level, ULONGLONG keyword, const wchar_t* message) {
    const std::lock_guard lock(g_mutex);
    if (handle == 77 && keyword == 0) {
        g_events.push_back(std::to_wstring(level) + L" " + message);
    }
    return ERROR_SUCCESS;
}

BOOL Dispatch(const SERVICE_TABLE_ENTRYW* table) {
    g_table = table;
    g_duringDispatch();
    return FALSE;
}

}  // namespace

INTERPOSE_BY(SetServiceStatus, kNone, KeepStatus(arguments...));
INTERPOSE_BY(EventRegister, kNone, GiveProvider(arguments...));
INTERPOSE_BY(EventWriteString, kNone, KeepEvent(arguments...));
INTERPOSE_BY(StartServiceCtrlDispatcherW, kNone, Dispatch(arguments...));
INTERPOSE_GIVES(RegisterServiceCtrlHandlerW, kNone, 1);

RPC_STATUS RpcServerStart() {
    g_startThread = GetCurrentThreadId();
    while (g_startIsHeld) {
        Sleep(1);
    }
    return g_startStatus;
}

void RpcServerDisconnect() {
    LogLine("(disconnect)");
}

namespace {

// The statuses, their states and the events since the last call.
std::vector<SERVICE_STATUS> TakeStatuses() {
    const std::lock_guard lock(g_mutex);
    return std::exchange(g_statuses, {});
}

std::vector<DWORD> TakeStates() {
    std::vector<DWORD> states;
    for (const SERVICE_STATUS& status : TakeStatuses()) {
        states.push_back(status.dwCurrentState);
    }
    return states;
}

std::vector<std::wstring> TakeEvents() {
    const std::lock_guard lock(g_mutex);
    return std::exchange(g_events, {});
}

bool WaitFor(const std::function<bool()>& condition, int milliseconds = 5000) {
    for (int i = 0; i < milliseconds && !condition(); ++i) {
        Sleep(1);
    }
    return condition();
}

// A service whose hooks record their call and then run the function of the test.
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

class ServiceTest : public testing::Test {
 protected:
    void SetUp() override {
        TakeStatuses();
        TakeEvents();
        ClearLoggedLines();
    }
};

TEST_F(ServiceTest, PendingReportsCountThroughTheProcessAndSettledOnesCarryNone) {
    TestService service;
    service.Start(0, nullptr);
    service.Stop();
    service.Pause();
    const auto statuses = TakeStatuses();
    ASSERT_EQ(statuses.size(), 6U);
    const DWORD first = statuses[0].dwCheckPoint;
    EXPECT_EQ(g_firstCheckPoint, 1U);
    EXPECT_EQ(statuses[1].dwCheckPoint, 0U);
    EXPECT_EQ(statuses[2].dwCheckPoint, first + 1);
    EXPECT_EQ(statuses[3].dwCheckPoint, 0U);
    EXPECT_EQ(statuses[4].dwCheckPoint, first + 2);
    EXPECT_EQ(statuses[5].dwCheckPoint, first + 3) << "paused is not a settled state";
    EXPECT_EQ(statuses[5].dwServiceType, 0x10U);
    EXPECT_EQ(statuses[5].dwControlsAccepted, 5U);
    EXPECT_EQ(statuses[5].dwWaitHint, 0U);
}

// The states that each method of a running service reports if its hook returns, and if it throws.
struct MethodCase {
    std::wstring name;
    std::wstring verb;
    void (*call)(TestService& service);
    std::vector<DWORD> normal;
    std::vector<DWORD> failed;
};

const MethodCase kMethods[] = {
    {L"Start", L"start", [](TestService& s) { s.Start(0, nullptr); }, {2, 4}, {2, 1}},
    {L"Stop", L"stop", [](TestService& s) { s.Stop(); }, {3, 1}, {3, 4}},
    {L"Pause", L"pause", [](TestService& s) { s.Pause(); }, {6, 7}, {6, 4}},
    {L"Continue", L"resume", [](TestService& s) { s.Continue(); }, {5, 4}, {5, 7}},
    {L"Shutdown", L"shut down", [](TestService& s) { s.Shutdown(); }, {1}, {}},
};

TEST_F(ServiceTest, EveryMethodReportsAndTracesItsOutcome) {
    for (const MethodCase& method : kMethods) {
        TestService service;
        service.Start(0, nullptr);
        TakeStates();
        method.call(service);
        EXPECT_EQ(TakeStates(), method.normal) << method.name;
        EXPECT_TRUE(TakeEvents().empty());

        TestService failing;
        const auto fail = [&](const std::function<void()>& behaviour) {
            failing.behaviour = [] {};
            failing.Start(0, nullptr);
            TakeStates();
            failing.behaviour = behaviour;
            method.call(failing);
            const DWORD code = g_statuses.empty() ? 0 : g_statuses.back().dwWin32ExitCode;
            EXPECT_EQ(TakeStates(), method.failed) << method.name;
            return code;
        };
        EXPECT_EQ(fail([] { throw DWORD{0xBEEF}; }), method.name == L"Start" ? 0xBEEFU : 0U);
        EXPECT_EQ(TakeEvents(),
                  (std::vector{L"1 Service " + method.name + L" failed w/err 0x0000beef"}));
        EXPECT_EQ(fail([] { throw std::runtime_error("not a Win32 code"); }), 0U);
        EXPECT_EQ(TakeEvents(), (std::vector{L"1 Service failed to " + method.verb + L"."}));
    }
}

TEST_F(ServiceTest, DispatcherGetsTheServiceAndControlsReachTheirHooks) {
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
    // The shutdown came first: the stop does nothing.
    EXPECT_EQ(service.called, "start shutdown continue pause ");
}

TEST_F(ServiceTest, LongErrorTextsAreCutAndTerminated) {
    TestService service;
    service.WriteErrorLogEntry(std::wstring(500, L'x').c_str(), 5);
    EXPECT_EQ(TakeEvents(), std::vector{L"1 " + std::wstring(259, L'x')});
}

TEST_F(ServiceTest, StartHandsTheServerToAnotherThreadAndStopTearsItDown) {
    g_startStatus = RPC_S_OK;
    CTesselService service;
    service.Start(0, nullptr);
    ASSERT_TRUE(WaitFor([] { return g_startThread != 0; }));
    EXPECT_NE(g_startThread, GetCurrentThreadId());
    service.Stop();
    EXPECT_EQ(TakeEvents(), (std::vector<std::wstring>{L"4 CppWindowsService in OnStart",
                                                       L"4 CppWindowsService in OnStop"}));
    EXPECT_EQ(LoggedLines(),
              (std::vector<std::string>{"Service OnStop", "(disconnect)", "Service OnStop end"}));
}

// If the server cannot start, stopped must be the last report.
TEST_F(ServiceTest, FailedServerStartStopsTheServiceAfterItWasReportedRunning) {
    g_startStatus = RPC_S_DUPLICATE_ENDPOINT;
    for (int round = 0; round < 50; ++round) {
        CTesselService service;
        service.Start(0, nullptr);
        std::vector<DWORD> states;
        ASSERT_TRUE(WaitFor([&] {
            for (const DWORD state : TakeStates()) {
                states.push_back(state);
            }
            return states.size() >= 4;
        }));
        EXPECT_EQ(states, (std::vector<DWORD>{2, 4, 3, 1}));
    }
}

// A stop that comes during the start must wait until running is reported.
TEST_F(ServiceTest, AStopDuringTheStartWaitsUntilRunningIsReported) {
    TestService service;
    std::thread stopper;
    std::atomic<bool> stopping = false;
    g_beforeStatus = [&](DWORD state) {
        if (state == SERVICE_RUNNING) {
            stopper = std::thread([&] { service.Stop(); });
            WaitFor([&] { return stopping.load(); }, 50);
        }
        stopping = stopping || state == SERVICE_STOP_PENDING;
    };
    service.Start(0, nullptr);
    stopper.join();
    g_beforeStatus = [](DWORD) {};
    EXPECT_EQ(TakeStates(), (std::vector<DWORD>{2, 4, 3, 1}));
}

TEST_F(ServiceTest, OfTwoThreadsThatStopAtOnceOneDoesAndAStartedServiceCanBeStoppedAgain) {
    constexpr int kRounds = 60000;
    int wrong = 0;
    TestService service;
    std::atomic<int> round = 0;
    std::atomic<int> done = 0;
    const auto wait_for = [](const std::atomic<int>& counter, int value) {
        for (int i = 0; counter != value; ++i) {
            if (i > 1000) {
                std::this_thread::yield();
            }
        }
    };
    const auto pause = [](int count) {
        for (; count != 0; --count) {
            YieldProcessor();
        }
    };
    std::thread other([&] {
        for (int i = 1; i <= kRounds; ++i) {
            wait_for(round, i);
            service.Stop();
            done = i;
        }
    });
    for (int i = 1; i <= kRounds; ++i) {
        service.called.clear();
        // Every second round the other thread's stop comes during the start, which it waits for.
        service.behaviour = [&] {
            if (i % 2 == 0 && round != i) {
                round = i;
                pause(i % 1024);
            }
        };
        service.Start(0, nullptr);
        round = i;
        // Varies which thread comes first.
        pause(i % 64);
        service.Stop();
        wait_for(done, i);
        wrong += service.called != "start stop " ? 1 : 0;
    }
    other.join();
    EXPECT_EQ(wrong, 0) << "rounds";
}

TEST_F(ServiceTest, AServerStartThatFailsAfterAStopReportsNothingMore) {
    g_startStatus = RPC_S_DUPLICATE_ENDPOINT;
    g_startIsHeld = true;
    CTesselService service;
    service.Start(0, nullptr);
    service.Stop();
    EXPECT_EQ(TakeStates(), (std::vector<DWORD>{2, 4, 3, 1}));
    g_startIsHeld = false;
    Sleep(50);
    EXPECT_TRUE(TakeStates().empty());
}

}  // namespace
