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
#include <utility>
#include <vector>

#include "rpc/rpcserver.h"
#include "service/logline.h"
#include "service/tesselservice.h"
#include "tests/support/interposed.h"
#include "tests/support/recorders.h"

namespace {

std::mutex g_mutex;
// The reported states and check points, a digit each, and the last status.
std::string g_states;
std::string g_checkPoints;
SERVICE_STATUS g_status = {};
// Each with its level before it.
std::vector<std::wstring> g_events;
const SERVICE_TABLE_ENTRYW* g_table = nullptr;
std::function<void()> g_duringDispatch = [] {};
std::function<void()> g_beforeRunning = [] {};
std::atomic<RPC_STATUS> g_startStatus = RPC_S_OK;
std::atomic<DWORD> g_startThread = 0;
std::atomic<bool> g_startIsHeld = false;
std::function<void()> g_beforeLock;
std::function<void()> g_afterUnlock;

BOOL KeepStatus(SERVICE_STATUS_HANDLE /*handle*/, const SERVICE_STATUS* status) {
    if (status->dwCurrentState == SERVICE_RUNNING) {
        g_beforeRunning();
    }
    const std::lock_guard lock(g_mutex);
    g_states += std::to_string(status->dwCurrentState);
    g_checkPoints += std::to_string(status->dwCheckPoint);
    g_status = *status;
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

}  // namespace

INTERPOSE_BY(SetServiceStatus, kNone, KeepStatus(arguments...));
INTERPOSE_BY(EventRegister, kNone, GiveProvider(arguments...));
INTERPOSE_BY(EventWriteString, kNone, KeepEvent(arguments...));
INTERPOSE_BY(StartServiceCtrlDispatcherW, kNone, Dispatch(arguments...));
INTERPOSE_GIVES(RegisterServiceCtrlHandlerW, kNone, 1);
INTERPOSE(CreateEventW, kNone);

// The Windows headers declare these two as functions that are not imported.
void WINAPI AcquireSRWLockExclusive(SRWLOCK* lock) {
    CallOnce(g_beforeLock);
    reinterpret_cast<void (*)(SRWLOCK*)>(WindowsFunction("AcquireSRWLockExclusive"))(lock);
}

void WINAPI ReleaseSRWLockExclusive(SRWLOCK* lock) {
    reinterpret_cast<void (*)(SRWLOCK*)>(WindowsFunction("ReleaseSRWLockExclusive"))(lock);
    CallOnce(g_afterUnlock);
}

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

// What was kept since the last call.
template <typename Kept>
Kept Take(Kept& kept) {
    const std::lock_guard lock(g_mutex);
    return std::exchange(kept, {});
}

// Waits up to `milliseconds` for that many states.
void WaitForStates(std::size_t count, int milliseconds) {
    const auto reported = [] {
        const std::lock_guard lock(g_mutex);
        return g_states.size();
    };
    for (int i = 0; i < milliseconds && reported() < count; ++i) {
        Sleep(1);
    }
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
        Take(g_states);
        Take(g_events);
        TakeLog();
        g_watch = {};
    }
};

// The first test, because check points count from the start of the process.
TEST_F(ServiceTest, PendingReportsCountAndSettledOnesCarryNone) {
    TestService service;
    service.Start(0, nullptr);
    service.Stop();
    service.Pause();
    EXPECT_EQ(g_states, "243167");
    EXPECT_EQ(g_checkPoints, "102034") << "paused is not a settled state";
    EXPECT_EQ(g_status.dwServiceType, 0x10U);
    EXPECT_EQ(g_status.dwControlsAccepted, 5U);
    EXPECT_EQ(g_status.dwWaitHint, 0U);

    service.WriteErrorLogEntry(std::wstring(500, L'x').c_str(), 5);
    EXPECT_EQ(Take(g_events), std::vector{L"1 " + std::wstring(259, L'x')});
}

// The states that each method reports when its hook returns, or throws, from a service that runs.
const struct {
    std::wstring name;
    std::wstring verb;
    void (*call)(TestService& service);
    std::string normal;
    std::string failed;
} kMethods[] = {
    {L"Start", L"start", [](TestService& s) { s.Start(0, nullptr); }, "24", "21"},
    {L"Stop", L"stop", [](TestService& s) { s.Stop(); }, "31", "34"},
    {L"Pause", L"pause", [](TestService& s) { s.Pause(); }, "67", "64"},
    {L"Continue", L"resume", [](TestService& s) { s.Continue(); }, "54", "57"},
    {L"Shutdown", L"shut down", [](TestService& s) { s.Shutdown(); }, "1", ""},
};

TEST_F(ServiceTest, EveryMethodReportsAndTracesItsOutcome) {
    for (const auto& method : kMethods) {
        SCOPED_TRACE(testing::PrintToString(method.name));
        TestService service;
        const auto call = [&](const std::function<void()>& behaviour) {
            service.behaviour = [] {};
            service.Start(0, nullptr);
            Take(g_states);
            service.behaviour = behaviour;
            method.call(service);
            return Take(g_states);
        };
        EXPECT_EQ(call([] {}), method.normal);
        EXPECT_TRUE(Take(g_events).empty());
        EXPECT_EQ(call([] { throw DWORD{0xBEEF}; }), method.failed);
        EXPECT_EQ(g_status.dwWin32ExitCode, method.name == L"Start" ? 0xBEEFU : 0U);
        EXPECT_EQ(Take(g_events),
                  (std::vector{L"1 Service " + method.name + L" failed w/err 0x0000beef"}));
        EXPECT_EQ(call([] { throw std::runtime_error("not a Win32 code"); }), method.failed);
        EXPECT_EQ(g_status.dwWin32ExitCode, 0U);
        EXPECT_EQ(Take(g_events), (std::vector{L"1 Service failed to " + method.verb + L"."}));
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
    EXPECT_EQ(service.called, "start shutdown continue pause ");
}

TEST_F(ServiceTest, StartHandsTheServerToAnotherThreadAndStopTearsItDown) {
    CTesselService service;
    service.Start(0, nullptr);
    for (int i = 0; i < 5000 && g_startThread == 0; ++i) {
        Sleep(1);
    }
    EXPECT_NE(g_startThread, 0U);
    EXPECT_NE(g_startThread, GetCurrentThreadId());
    service.Stop();
    EXPECT_EQ(g_events, (std::vector<std::wstring>{L"4 CppWindowsService in OnStart",
                                                   L"4 CppWindowsService in OnStop"}));
    EXPECT_EQ(TakeLog(),
              (std::vector<std::string>{"Service OnStop", "(disconnect)", "Service OnStop end"}));
}

// A server start that fails at once stops the service, but not before it is reported as running;
// one that fails after a stop reports nothing more.
TEST_F(ServiceTest, AFailedServerStartStopsTheServiceOnceAndAfterItRan) {
    g_startStatus = RPC_S_DUPLICATE_ENDPOINT;
    {
        g_beforeRunning = [] { WaitForStates(2, 100); };
        CTesselService service;
        service.Start(0, nullptr);
        g_beforeRunning = [] {};
        WaitForStates(4, 5000);
        EXPECT_EQ(Take(g_states), "2431");
    }
    g_startIsHeld = true;
    CTesselService service;
    service.Start(0, nullptr);
    service.Stop();
    g_startIsHeld = false;
    Sleep(50);
    EXPECT_EQ(g_states, "2431");
}

// The stop of another thread may come at any moment. Here it comes before the first one takes the
// lock, or after it has released the lock.
TEST_F(ServiceTest, OfTwoStopsAtTheSameTimeOneStopsTheServiceWhichCanBeStartedAgain) {
    TestService service;
    for (std::function<void()>* moment : {&g_beforeLock, &g_afterUnlock}) {
        service.called.clear();
        service.Start(0, nullptr);
        bool came = false;
        *moment = [&] {
            came = true;
            service.Stop();
        };
        service.Stop();
        EXPECT_TRUE(came);
        EXPECT_EQ(service.called, "start stop ");
    }
}

TEST_F(ServiceTest, FailuresOfWindowsArePrintedOrThrown) {
    g_watch = {true, {"EventRegister", 1, 5}};
    TestService service;
    EXPECT_EQ(TakePrinted(), L"Provider not registered. EventRegister failed with 5\n");
    service.WriteErrorLogEntry(L"no provider", 1);
    EXPECT_TRUE(g_events.empty());

    const auto thrown = [](const Fault& fault, const std::function<void()>& act) -> DWORD {
        g_watch = {true, fault};
        try {
            act();
        } catch (const DWORD error) {
            return error;
        }
        return 0;
    };
    EXPECT_EQ(thrown({"CreateEventW", 1, 0, 8}, [] { const CTesselService unused; }), 8U);
    g_duringDispatch = [&] {
        EXPECT_EQ(thrown({"RegisterServiceCtrlHandlerW", 1, 0, 1083},
                         [] { g_table[0].lpServiceProc(0, nullptr); }),
                  1083U);
    };
    CServiceBase::Run(service);
    EXPECT_EQ(service.called, "");
}

}  // namespace
