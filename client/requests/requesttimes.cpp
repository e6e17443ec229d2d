#include "client/requests/requesttimes.h"

#include <algorithm>
#include <chrono>
#include <limits>

std::uint64_t MicrosecondsNow() {
    using std::chrono::steady_clock;
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                          steady_clock::now().time_since_epoch())
                                          .count());
}

void AddTimeSince(std::uint64_t start, RequestTimes& times) {
    constexpr std::uint64_t kLongest = std::numeric_limits<std::uint32_t>::max();
    times.push_back(static_cast<std::uint32_t>(std::min(MicrosecondsNow() - start, kLongest)));
}

std::uint32_t Percentile(RequestTimes& times, unsigned percent) {
    if (times.empty()) {
        return 0;
    }
    const std::size_t requests = (times.size() * percent + 99) / 100;
    const auto place = times.begin() + static_cast<std::ptrdiff_t>(requests) - 1;
    std::nth_element(times.begin(), place, times.end());
    return *place;
}

std::wstring Milliseconds(std::uint32_t microseconds) {
    std::wstring decimals = std::to_wstring(microseconds % 1000);
    decimals.insert(0, 3 - decimals.size(), L'0');
    return std::to_wstring(microseconds / 1000) + L"." + decimals + L" ms";
}
