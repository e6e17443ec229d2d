// Tests what the examples do not do.
//
//   kitclient       sends a request, stops the service, sends one, starts the service, sends one
//   kitclient N     sends N requests from each of eight threads
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "tesselclient.h"

namespace {

using tessel::Client;

// Commands that return what they were sent.
constexpr const wchar_t* kEchoes[] = {TESSEL_REGISTRYHELPER_ISVZWQ, TESSEL_MBNHELPER_QEURYPROFILE,
                                      TESSEL_MBNHELPER_GETNETWORKMODE,
                                      TESSEL_MBNHELPER_SETNETWORKMODE};
std::atomic<long> g_right = 0;

void Ask(long number) {
    const tessel::Reply reply = Client().Request(kEchoes[0], true, number);
    std::printf("%d %ls\n", reply.number, reply.Meaning().c_str());
}

void Restart() {
    Ask(1);
    std::system("net stop \"Tessel Service\" >nul");
    Ask(2);
    std::system("net start \"Tessel Service\" >nul");
    for (int i = 0; i < 100 && Client::Connect() != 0; ++i) {
        Sleep(100);
    }
    Ask(3);
}

// Every second thread uses deadlines.
void Send(long first, long count) {
    const Client client = first / count % 2 == 0 ? Client() : Client(std::chrono::seconds(60));
    for (long i = first; i < first + count; ++i) {
        const std::wstring text = std::to_wstring(i);
        const auto reply = client.Request(kEchoes[first / count % 4], i % 2 == 0, i, text);
        g_right +=
            reply.Ok() && reply.flag == (i % 2 == 0) && reply.number == i && reply.text == text;
    }
}

void SendFromEightThreads(long count) {
    std::thread threads[8];
    for (long i = 0; i < 8; ++i) {
        threads[i] = std::thread(Send, i * count, count);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::printf("%ld answers are wrong\n", 8 * count - g_right.load());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        Restart();
    } else {
        SendFromEightThreads(std::atol(argv[1]));
    }
    return 0;
}
