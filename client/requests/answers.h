// The answers of a run: counted, and handed on as they come.
#pragma once

#include <string>

#include "client/requests/answerformat.h"

// What is done with an answer, on whichever thread it comes. The texts live until it returns.
using AnswerHandler = void (*)(const wchar_t* command, bool flag, long number, const wchar_t* text);

// Hands every answer to `handler` from now on; null, as at the start, only counts them.
void HandleAnswers(AnswerHandler handler);

// Prints every answer from now on. `padding` is the text that the requests send to make room for
// the answer's; see FormatAnswer.
void PrintAnswersAs(AnswerFormat format, std::wstring padding);

// Answers received since the program started.
long AnswerCount();
