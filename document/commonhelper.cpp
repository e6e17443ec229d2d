#include "document/commonhelper.h"

#include <utility>

#include "document/documenttext.h"
#include "document/pathexists.h"

namespace {

// The request's text is a path in both commands and is in neither answer.
const wchar_t* TakePath(Answer& answer) {
    static wchar_t no_text[] = L"";
    return std::exchange(answer.text, no_text);
}

void IsFileExists(Answer& answer) {
    answer.flag = false;
    answer.flag = PathExists(TakePath(answer));
}

void ReadDocument(Answer& answer) {
    SetText(answer, ReadDocumentText(TakePath(answer)));
}

constexpr Command kCommands[] = {
    {L"COMMONHELPER_ISFILE_EXISTS", IsFileExists},
    {L"COMMONHELPER_READEULADOCUMENT", ReadDocument},
};
static_assert(SameCommands<kCommands, kCommonHelperHelp>());

}  // namespace

constinit const std::span<const Command> kCommonHelperCommands = kCommands;

void CommonHelperCommand(handle_t /*binding*/,
                         const wchar_t* command,
                         bool data_bool,
                         long data_int,
                         wchar_t* data_string) {
    AnswerCommand(kCommands, command, data_bool, data_int, data_string);
}
