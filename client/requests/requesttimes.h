// How long requests took. Nothing here needs Windows.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// One time per request, in microseconds; a longer one than fits counts as the longest that does.
using RequestTimes = std::vector<std::uint32_t>;

// A moment, to be given to AddTimeSince.
std::uint64_t MicrosecondsNow();

// Adds the time from `start` until now to `times`.
void AddTimeSince(std::uint64_t start, RequestTimes& times);

// The shortest time within which `percent` (1 to 100) of all requests were done; 0 without any.
// Reorders `times`.
std::uint32_t Percentile(RequestTimes& times, unsigned percent);

// A time in milliseconds with three decimals and its unit: "0.512 ms".
std::wstring Milliseconds(std::uint32_t microseconds);
