// The answers of a run: counted, and handed on as they come.
#pragma once

// What is done with an answer, on whichever thread it comes. The texts live until it returns.
using AnswerHandler = void (*)(const wchar_t* command, bool flag, long number, const wchar_t* text);

// Hands every answer to `handler` from now on; null, as at the start, only counts them.
void HandleAnswers(AnswerHandler handler);

// Answers received since the program started.
long AnswerCount();
