// Loads tesselclient.dll, sends a request that does not end before its deadline, and unloads the
// DLL. Then ends the request, and waits until the DLL is gone. Does it twice.
#include <windows.h>

#include <cstdio>

#include "tesselclient.h"

namespace {

constexpr wchar_t kDll[] = L"tesselclient.dll";

const char* Place() {
    return GetModuleHandleW(kDll) != nullptr ? "loaded" : "gone";
}

// The service reads from a pipe of this process until the pipe is disconnected.
void Unload() {
    constexpr wchar_t kPipe[] = L"\\\\.\\pipe\\kitunload";
    const HMODULE dll = LoadLibraryW(kDll);
    const auto read = reinterpret_cast<decltype(&TesselReadDocument)>(
        reinterpret_cast<void*>(GetProcAddress(dll, "TesselReadDocument")));
    const HANDLE pipe =
        CreateNamedPipeW(kPipe, PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 4096, 4096, 0, nullptr);
    TesselReply reply = {};
    reply.size = sizeof(reply);
    read(kPipe, 0, 2000, &reply);
    FreeLibrary(dll);
    std::printf("outcome %d, sent %d, %s", reply.outcome, reply.sent, Place());
    DisconnectNamedPipe(pipe);
    CloseHandle(pipe);
    for (int i = 0; i < 100 && GetModuleHandleW(kDll) != nullptr; ++i) {
        Sleep(100);
    }
    std::printf(", then %s\n", Place());
}

}  // namespace

int main() {
    Unload();
    Unload();
    return 0;
}
