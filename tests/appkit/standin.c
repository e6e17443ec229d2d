// A stand-in of tesselclient.dll for TesselClient.cs on Linux: prints what it receives, and answers
// by the command. UTF-16 as in the DLL: compiled with -fshort-wchar.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "appkit/tesselclient.h"

// Replies that were not given back with TesselFreeReply.
static int g_held;

// The lines must be in the order of C#'s.
__attribute__((constructor)) static void WriteAtOnce(void) {
    setvbuf(stdout, NULL, _IONBF, 0);
}

static const char* Narrow(const wchar_t* text) {
    static char buffers[8][64];
    static int next;
    char* narrow = buffers[next++ % 8];
    size_t i = 0;
    for (; text != NULL && text[i] != 0 && i < 63; ++i) {
        narrow[i] = text[i] < 0x80 ? (char)text[i] : '?';
    }
    narrow[i] = 0;
    return narrow;
}

static wchar_t* Copy(const wchar_t* text, uint32_t length) {
    wchar_t* copy = calloc(length + 1, sizeof(wchar_t));
    memcpy(copy, text, length * sizeof(wchar_t));
    return copy;
}

static int32_t Fill(TesselReply* reply,
                    int32_t outcome,
                    int32_t flag,
                    int32_t number,
                    const wchar_t* text,
                    uint32_t length) {
    if (reply->size != sizeof(TesselReply)) {
        printf("the reply has %u bytes\n", reply->size);
    }
    reply->outcome = outcome;
    reply->error = outcome == TESSEL_FAILED ? 1726 : 0;
    reply->sent = 1;
    reply->flag = flag;
    reply->number = number;
    reply->text = Copy(text, length);
    reply->text_length = length;
    return outcome;
}

static int Is(const wchar_t* command, const char* name) {
    return strcmp(Narrow(command), name) == 0;
}

uint32_t TesselVersion(void) {
    return 0x010203;
}

// For the test: how many replies were not given back.
uint32_t TesselConnect(void) {
    return (uint32_t)g_held;
}

// For the test: ends the request SLOW.
static volatile int g_slow = 1;

void TesselDisconnect(void) {
    printf("disconnect\n");
    g_slow = 0;
}

int32_t TesselRequest(const wchar_t* command,
                      int32_t flag,
                      int32_t number,
                      const wchar_t* text,
                      uint32_t deadline,
                      TesselReply* reply) {
    ++g_held;
    printf("%s %d %d \"%s\" %d\n", Narrow(command), flag, number, Narrow(text), (int)deadline);
    while (Is(command, "SLOW") && g_slow) {
        usleep(10000);
    }
    // A character of two units, and U+0000, which a length must carry.
    static const wchar_t answer[] = {L'a', 0xD83D, 0xDE00, 0, L'b'};
    return Fill(reply, Is(command, "OUTCOME") ? number : TESSEL_ANSWERED,
                Is(command, "REGISTRYHELPER_SETPENSETTING") ? 0 : 1,
                Is(command, "REGISTRYHELPER_GETPENSETTING")        ? -1
                : Is(command, "REGISTRYHELPER_GETPENCLICKSETTING") ? -100
                                                                   : 1,
                answer, 5);
}

int32_t TesselIdentity(const wchar_t* command, uint32_t deadline, TesselReply* reply) {
    ++g_held;
    printf("identity %s %d\n", Narrow(command), (int)deadline);
    return Fill(reply, TESSEL_ANSWERED, 0, 0, L"26201", 5);
}

int32_t TesselReadDocument(const wchar_t* path,
                           int32_t utf8,
                           uint32_t deadline,
                           TesselReply* reply) {
    ++g_held;
    printf("document %s %d %d\n", Narrow(path), utf8, (int)deadline);
    Fill(reply, TESSEL_ANSWERED, 0, 0, L"text", 4);
    static const uint8_t bytes[] = {0x61, 0x00, 0xE9};
    reply->bytes = malloc(sizeof(bytes));
    memcpy(reply->bytes, bytes, sizeof(bytes));
    reply->byte_count = sizeof(bytes);
    return reply->outcome;
}

int32_t TesselCreateProfile(const TesselProfile* profile, uint32_t deadline, TesselReply* reply) {
    if (profile->size != sizeof(TesselProfile)) {
        printf("the profile has %u bytes\n", profile->size);
    }
    ++g_held;
    printf("profile %s %s %d %s %s %d %d %d\n", Narrow(profile->description),
           Narrow(profile->access_string), profile->authentication, Narrow(profile->user_name),
           Narrow(profile->password), profile->ip_type, profile->compression, (int)deadline);
    return Fill(reply, profile->authentication == 0 ? TESSEL_FAILED : TESSEL_ANSWERED, 0,
                TESSEL_PROFILE_WHOLE, L"", 0);
}

void TesselFreeReply(TesselReply* reply) {
    if (reply->text != NULL) {
        --g_held;
    }
    free(reply->text);
    free(reply->bytes);
    reply->text = NULL;
    reply->bytes = NULL;
}

void TesselMeaning(int32_t outcome, uint32_t error, wchar_t* text, uint32_t capacity) {
    const wchar_t meaning[] = {(wchar_t)('0' + outcome), L' ', (wchar_t)('0' + error % 10), 0};
    memcpy(text, meaning, capacity < 4 ? 0 : sizeof(meaning));
}
