// The durations of requests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// One duration for each request, in microseconds. A longer one than 32 bits hold is cut to the
// highest value.
using RequestTimes = std::vector<std::uint32_t>;

// Returns the present time, for AddTimeSince.
std::uint64_t MicrosecondsNow();

// Adds the time since `start` to `times`.
void AddTimeSince(std::uint64_t start, RequestTimes& times);

// Returns the shortest time in which `percent` (1 to 100) of all requests were done; 0 if there are
// none. Reorders `times`.
std::uint32_t Percentile(RequestTimes& times, unsigned percent);

// Returns the time as milliseconds with three decimals: "0.512 ms".
std::wstring Milliseconds(std::uint32_t microseconds);
