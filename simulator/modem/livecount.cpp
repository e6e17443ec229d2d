#include "simulator/modem/livecount.h"

#include <atomic>
#include <mutex>

#include "simulator/modem/modemstate.h"

namespace {
// Protects the count and its copy in the registry: one thread may release the last object while
// another thread creates one.
std::mutex g_mutex;
LONG g_live = 0;
std::atomic<LONG> g_strings = 0;
}  // namespace

LiveCount::LiveCount() {
    const std::lock_guard lock(g_mutex);
    if (++g_live == 1) {
        WriteNumber(L"", L"ObjectsAlive", 1);
    }
}

LiveCount::~LiveCount() {
    const std::lock_guard lock(g_mutex);
    if (--g_live == 0) {
        WriteNumber(L"", L"ObjectsAlive", 0);
    }
}

void CountGivenString() {
    ++g_strings;
}

LONG SimulatedModemLiveObjects() {
    const std::lock_guard lock(g_mutex);
    return g_live;
}

LONG SimulatedModemStringsGiven() {
    return g_strings;
}
