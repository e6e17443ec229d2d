// Measures requests through tesselclient.dll, as an app sends them.
//
//   measurekit ROUNDS    prints a line for each round: the median and the 99th percentile in
//                        microseconds, with a tab between them
#include <windows.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "tesselclient.h"

namespace {

double Now() {
    LARGE_INTEGER frequency;
    LARGE_INTEGER count;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&count);
    return 1e6 * static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const int rounds = argc > 1 ? _wtoi(argv[1]) : 0;
    const tessel::Client client;
    // The first round does not count.
    for (int round = 0; round <= rounds; ++round) {
        std::vector<double> times;
        for (int i = 0; i < 200; ++i) {
            const double start = Now();
            if (!client.Request(TESSEL_REGISTRYHELPER_ISVZWQ, true, 7, L"text").Ok()) {
                return 1;
            }
            times.push_back(Now() - start);
        }
        std::sort(times.begin(), times.end());
        if (round > 0) {
            std::printf("%.1f\t%.1f\n", times[99], times[197]);
        }
    }
    return 0;
}
