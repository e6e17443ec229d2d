#include "client/answers.h"

#include <atomic>
#include <utility>

#include "client/output.h"
#include "rpc/stub/tesselservice.h"

namespace {

AnswerFormat g_format = AnswerFormat::kPlain;
std::wstring g_room;
std::atomic<long> g_count = 0;

}  // namespace

void PrintAnswersAs(AnswerFormat format, std::wstring room) {
    g_format = format;
    g_room = std::move(room);
}

long AnswerCount() {
    return g_count;
}

void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    ++g_count;
    PrintLine(FormatAnswer(g_format, g_room, command, flag != 0, number, text));
}
