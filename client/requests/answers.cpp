#include "client/requests/answers.h"

#include <atomic>
#include <utility>

#include "client/output.h"
#include "rpc/stub/tesselservice.h"

namespace {

AnswerHandler g_handler = nullptr;
AnswerFormat g_format = AnswerFormat::kPlain;
std::wstring g_padding;
std::atomic<long> g_count = 0;

void Print(const wchar_t* command, bool flag, long number, const wchar_t* text) {
    PrintLine(FormatAnswer(g_format, g_padding, command, flag, number, text));
}

}  // namespace

void HandleAnswers(AnswerHandler handler) {
    g_handler = handler;
}

void PrintAnswersAs(AnswerFormat format, std::wstring padding) {
    g_format = format;
    g_padding = std::move(padding);
    HandleAnswers(Print);
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
