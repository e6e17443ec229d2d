// Tests what the example does not do. Without arguments: sends a request, stops the service, sends
// one, starts the service, sends one. With N: sends N requests from each of eight threads.
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "tesselclient.h"

namespace {

// Commands that return what they were sent.
constexpr const wchar_t* kEchoes[] = {L"REGISTRYHELPER_ISVZWQ", L"MBNHELPER_QEURYPROFILE",
                                      L"MBNHELPER_GETNETWORKMODE", L"MBNHELPER_SETNETWORKMODE"};
std::atomic<long> g_right = 0;

void Ask(long number) {
    const auto reply = tessel::Client::Request(kEchoes[0], true, number);
    std::printf("%ld %ls\n", reply.number, tessel::Meaning(reply.error).c_str());
}

void Send(long first, long count) {
    for (long i = first; i < first + count; ++i) {
        const std::wstring text = std::to_wstring(i);
        const auto reply = tessel::Client::Request(kEchoes[first / count % 4], i % 2 == 0, i, text);
        g_right += reply && reply.flag == (i % 2 == 0) && reply.number == i && reply.text == text;
    }
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 2) {
        Ask(1);
        std::system("net stop \"Tessel Service\" >nul");
        Ask(2);
        std::system("net start \"Tessel Service\" >nul");
        for (int i = 0; i < 100 && tessel::Client::Connect() != 0; ++i) {
            Sleep(100);
        }
        Ask(3);
        return 0;
    }
    const long count = _wtol(argv[1]);
    std::thread threads[8];
    for (long i = 0; i < 8; ++i) {
        threads[i] = std::thread(Send, i * count, count);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::printf("%ld answers are wrong\n", 8 * count - g_right.load());
    return 0;
}
