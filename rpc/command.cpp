// Compiled without C++ exceptions, like everything that is on the stack while an answer is sent. A
// client's callback can fail with an exception code of its choice; a frame with a handler or a
// destructor would take some of these codes for C++ exceptions.
#include "rpc/command.h"

#include "rpc/action.h"
#include "rpc/stub/tesselservice.h"

namespace {

// The only place that answers. The declaration of ReportResult has no const, as the interface.
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
    const Command* known = FindCommand(commands, command);
    if (known == nullptr || known->action == nullptr) {
        return;
    }
    Answer answer = {flag, number, text};
    RunAction(*known, answer);
    Send(command, answer);
}
