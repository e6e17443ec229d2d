// The report over an event log that the test supplies: Wine has none.
#include <gtest/gtest.h>
#include <windows.h>
#include <winevt.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "client/check/check.h"
#include "simulator/wine/capability.h"
#include "tests/support/replacedimport.h"

namespace {

// A log with the events 1 (the oldest) to 30. The handle of an event is its number.
constexpr INT_PTR kEvents = 30;
INT_PTR g_next = 0;
INT_PTR g_step = 0;

}  // namespace

// The headers import these functions without a pointer: the linker takes the first definition.
EVT_HANDLE WINAPI EvtQuery(EVT_HANDLE, const wchar_t*, const wchar_t*, DWORD flags) {
    g_step = (flags & EvtQueryReverseDirection) != 0 ? -1 : 1;
    g_next = g_step < 0 ? kEvents : 1;
    return reinterpret_cast<EVT_HANDLE>(1);
}

BOOL WINAPI EvtNext(EVT_HANDLE, DWORD, EVT_HANDLE* events, DWORD, DWORD, DWORD* count) {
    if (g_next < 1 || g_next > kEvents) {
        return FALSE;
    }
    *events = reinterpret_cast<EVT_HANDLE>(g_next);
    g_next += g_step;
    *count = 1;
    return TRUE;
}

BOOL WINAPI EvtRender(EVT_HANDLE,
                      EVT_HANDLE event,
                      DWORD,
                      DWORD size,
                      void* xml,
                      DWORD* used,
                      DWORD* properties) {
    *used = static_cast<DWORD>(std::swprintf(static_cast<wchar_t*>(xml), size / sizeof(wchar_t),
                                             L"<Event>%d</Event>",
                                             static_cast<int>(reinterpret_cast<INT_PTR>(event))));
    *properties = 0;
    return TRUE;
}

BOOL WINAPI EvtClose(EVT_HANDLE) {
    return TRUE;
}

namespace {

REPLACE_IMPORT(DeriveCapabilitySidsFromName, SimulatedDeriveCapabilitySidsFromName);

TEST(ReportTest, HasTheNewestEventsNewestFirst) {
    Options options;
    options.report = L"report.txt";
    options.without = {true, true, true};
    ASSERT_TRUE(Report(options));
    std::ifstream file("report.txt");
    const std::string report{std::istreambuf_iterator<char>(file), {}};
    const std::size_t newest = report.find("<Event>30</Event>");
    const std::size_t last = report.find("<Event>11</Event>");
    EXPECT_TRUE(newest < last && last != report.npos);
    EXPECT_EQ(report.find("<Event>10</Event>"), report.npos);
    file.close();
    std::remove("report.txt");
}

}  // namespace
