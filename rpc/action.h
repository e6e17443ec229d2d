// The part of the command engine that may throw and catch. Nothing of it is on the stack while an
// answer is sent.
#pragma once

#include "rpc/command.h"

// Frees what the thread's last answer may have left and runs the action. Ends whatever it throws.
void RunAction(const Command& command, Answer& answer);

// Frees the text that the calling thread's answer owns, if any.
void FreeText();
