// Runs the action of a command. Only here may code throw: both functions return before the answer
// is sent.
#pragma once

#include "command/command.h"

// Frees the text of the thread's last answer, if it was not freed, and runs the action of
// `command`. Catches all exceptions.
void RunAction(const Command& command, Answer& answer);

// Frees the text of the calling thread's answer, if it has one.
void FreeText();
