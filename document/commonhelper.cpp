#include "document/commonhelper.h"

#include <utility>

#include "document/documenttext.h"
#include "document/pathexists.h"

namespace {

// Returns the text of the request, which is a path, and makes the text of the answer empty.
const wchar_t* TakePath(Answer& answer) {
    static wchar_t no_text[] = L"";
    return std::exchange(answer.text, no_text);
}

constexpr Command kCommands[] = {
    {L"COMMONHELPER_ISFILE_EXISTS",
     [](Answer& answer) {
         answer.flag = false;
         answer.flag = PathExists(TakePath(answer));
     }},
    {L"COMMONHELPER_READEULADOCUMENT",
     [](Answer& answer) { SetText(answer, ReadDocumentText(TakePath(answer))); }},
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
