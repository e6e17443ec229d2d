// The answers of a run: counted and printed as they come.
#pragma once

#include <string>
#include <string_view>

// How answers are printed: a line for people, or a line of JSON.
enum class AnswerFormat { kPlain, kJson };

// Sets how ReportResult prints from now on. `room` is the padding that a request sent to make room
// for its answer: an answer that is still the padding is shown as unread.
void PrintAnswersAs(AnswerFormat format, std::wstring room);

// Answers received since the program started.
long AnswerCount();

// One answer as a line without its end, in UTF-16.
std::wstring FormatAnswer(AnswerFormat format,
                          std::wstring_view room,
                          std::wstring_view command,
                          bool flag,
                          long number,
                          std::wstring_view text);
