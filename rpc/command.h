// The command engine: how every family carries out a command and answers it.
#pragma once

#include <span>

#include "text/ownedtext.h"

// What a command answers with: at first the request's own values, which its action may change.
// `text` may be written over within its length; SetText gives it another.
struct Answer {
    bool flag;
    long number;
    wchar_t* text;
};

// A command of a family. The action has given back everything when it returns; whatever it throws,
// the answer goes out with the values that stand in it by then.
struct Command {
    const wchar_t* name;
    void (*action)(Answer& answer);
};

// Carries out the row of `commands` whose name is `command`, compared whole and case-sensitively,
// and sends its answer with ReportResult, which may leave this function as the RPC runtime's
// structured exception. A command without a row does nothing and gets no answer. The strings are
// the request's own; the four values are those of the request.
void AnswerCommand(std::span<const Command> commands,
                   const wchar_t* command,
                   bool flag,
                   long number,
                   wchar_t* text);

// For actions: makes `text` the answer's. It is freed behind the answer or, where an exception
// takes the thread out of its request, before the thread's next action or with the thread. Throws
// std::bad_alloc if the thread cannot keep it. Calls FlsSetValue.
void SetText(Answer& answer, OwnedText text);
