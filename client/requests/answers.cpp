#include "client/requests/answers.h"

#include <atomic>

#include "rpc/stub/tesselservice.h"

namespace {

AnswerHandler g_handler = nullptr;
std::atomic<long> g_count = 0;

}  // namespace

void HandleAnswers(AnswerHandler handler) {
    g_handler = handler;
}

long AnswerCount() {
    return g_count;
}

void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    ++g_count;
    if (g_handler != nullptr) {
        g_handler(command, flag != 0, number, text);
    }
}
