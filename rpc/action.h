// The part of answering a command that may throw and catch exceptions. None of these functions is
// on the stack while an answer is sent.
#pragma once

#include "rpc/command.h"

// Frees a text that the thread's last answer may have left, and runs the action of `command`.
// Catches all exceptions.
void RunAction(const Command& command, Answer& answer);

// Frees the text of the calling thread's answer, if it has one.
void FreeText();
