// Compiled without C++ exceptions, like all functions that are on the stack while an answer is
// sent. A client's callback can fail with any exception code. A frame with a handler or a
// destructor would treat some of these codes as C++ exceptions.
#include "command/command.h"

#include "command/action.h"
#include "interface/tesselservice.h"

namespace {

// The only function that sends answers. ReportResult has no const because the interface has none.
void Send(const wchar_t* command, const Answer& answer) {
    ReportResult(const_cast<wchar_t*>(command), static_cast<boolean>(answer.flag), answer.number,
                 answer.text);
    FreeText();
}

}  // namespace

void AnswerCommand(std::span<const Command> commands,
                   const wchar_t* command,
                   bool flag,
                   long number,
                   // Actions overwrite it. NOLINTNEXTLINE(readability-non-const-parameter)
                   wchar_t* text) {
    const Command* known = FindCommand(commands, NameOf(command));
    if (known == nullptr || known->action == nullptr) {
        return;
    }
    Answer answer = {flag, number, text};
    RunAction(*known, answer);
    Send(command, answer);
}
