// Copyright (c) 2026 Bramble Electronics. SPDX-License-Identifier: MIT
// Sets and reads the screen mode, and reads the number of the SIM card.
#include <cstdio>

#include "tesselclient.h"

int main() {
    // No call takes longer than ten seconds. The request itself goes on.
    const tessel::Client service(std::chrono::seconds(10));

    const tessel::Status stored = service.SetScreenMode(5);
    if (!stored.Ok()) {
        std::printf("not stored: error %u, %ls\n", stored.error, stored.Meaning().c_str());
        return 1;
    }
    const tessel::Result<int> mode = service.GetScreenMode();
    if (mode.Ok()) {
        std::printf("screen mode %d\n", mode.value);
    }

    const tessel::Result<std::wstring> card = service.GetSimIccId();
    if (card.Ok()) {
        std::printf("SIM card %ls\n", card.value.c_str());
    } else {
        std::printf("no SIM card was read: %ls\n", card.Meaning().c_str());
    }
    return 0;
}
