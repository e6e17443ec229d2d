// Compiled without C++ exceptions, as all that is on the stack while an answer is sent: the code of
// a failing callback is the client's choice, and a frame with a handler or a destructor would take
// some codes for an exception of its own.
#include "rpc/command.h"

#include <cwchar>

#include "rpc/action.h"
#include "rpc/stub/tesselservice.h"

namespace {

// The one place that answers. The runtime's declaration wants what it only reads writable.
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
                   // Actions write over it. NOLINTNEXTLINE(readability-non-const-parameter)
                   wchar_t* text) {
    for (const Command& known : commands) {
        if (std::wcscmp(command, known.name) == 0) {
            Answer answer = {flag, number, text};
            RunAction(known, answer);
            Send(command, answer);
            return;
        }
    }
}
