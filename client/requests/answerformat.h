// How an answer is shown. Nothing here needs Windows.
#pragma once

#include <string>
#include <string_view>

// `text` as a JSON string with its quotes, which people can read as well.
std::wstring JsonText(std::wstring_view text);

// How answers are printed: a line for people, or a line of JSON.
enum class AnswerFormat { kPlain, kJson };

// One answer as a line without its end, in UTF-16. `padding` is the text that the request sent to
// give the answer's text room. If it is not empty, an answer with the same text is shown as one
// that was not read, and an empty text as one that does not exist.
std::wstring FormatAnswer(AnswerFormat format,
                          std::wstring_view padding,
                          std::wstring_view command,
                          bool flag,
                          long number,
                          std::wstring_view text);
