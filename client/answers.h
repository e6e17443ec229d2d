// The answers of a run: counted and printed as they come.
#pragma once

#include <string>

#include "client/answerformat.h"

// Sets how ReportResult prints from now on. `room` is the padding that a request sent to make room
// for its answer: an answer that is still the padding is shown as unread.
void PrintAnswersAs(AnswerFormat format, std::wstring room);

// Answers received since the program started.
long AnswerCount();
