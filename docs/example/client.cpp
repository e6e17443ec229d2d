// Copyright (c) 2026 Bramble Electronics. SPDX-License-Identifier: MIT
// Asks Tessel Service for the screen mode and for the number of the SIM card.
#include <cstdio>

#include "tesselclient.h"

int wmain() {
    using tessel::Client;
    if (const long error = Client::Connect()) {
        std::printf("no connection: error %ld, %ls\n", error, tessel::Meaning(error).c_str());
        return 1;
    }

    Client::Request(L"REGISTRYHELPER_SETSCREENMODE", false, 5);
    if (const tessel::Reply mode = Client::Request(L"REGISTRYHELPER_GETSCREENMODE")) {
        std::printf("screen mode %ld\n", mode.number);
    } else {
        std::printf("no screen mode: %ls\n", tessel::Meaning(mode.error).c_str());
    }

    const tessel::Reply card = Client::Identity(L"MBNHELPER_GETSIMICCID");
    if (card.text.empty()) {
        std::printf("no SIM card was read\n");
    } else {
        std::printf("SIM card %ls\n", card.text.c_str());
    }
    return 0;
}
