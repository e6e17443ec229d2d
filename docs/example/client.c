// Copyright (c) 2026 Bramble Electronics. SPDX-License-Identifier: MIT
// Reads the screen mode and a text file.
#include <stdio.h>

#include "tesselclient.h"

int main(void) {
    TesselReply mode = {.size = sizeof(mode)};
    if (TesselRequest(TESSEL_REGISTRYHELPER_GETSCREENMODE, 0, 0, L"", TESSEL_NO_DEADLINE, &mode) !=
        TESSEL_ANSWERED) {
        wchar_t meaning[100];
        TesselMeaning(mode.outcome, mode.error, meaning, 100);
        printf("no screen mode: error %u, %ls\n", mode.error, meaning);
        return 1;
    }
    printf("screen mode %d\n", mode.number);
    TesselFreeReply(&mode);

    TesselReply document = {.size = sizeof(document)};
    const wchar_t* path = L"C:\\Windows\\Tessel\\agreement.txt";
    if (TesselReadDocument(path, 1, 10000, &document) == TESSEL_ANSWERED) {
        printf("%u bytes, %u characters\n", document.byte_count, document.text_length);
    }
    TesselFreeReply(&document);
    return 0;
}
