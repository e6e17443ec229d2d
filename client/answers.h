// The answers of a run: counted, and handed on as they come.
#pragma once

#include <string>

#include "client/answerformat.h"

// What is done with an answer, on whichever thread it comes. The texts live until it returns.
using AnswerHandler = void (*)(const wchar_t* command, bool flag, long number, const wchar_t* text);

// Hands every answer to `handler` from now on; null, as at the start, only counts them.
void HandleAnswers(AnswerHandler handler);

// Prints every answer from now on. `room` is the padding that a request sent to make room for its
// answer: an answer that is still the padding is shown as unread.
void PrintAnswersAs(AnswerFormat format, std::wstring room);

// Answers received since the program started.
long AnswerCount();
