// How an answer is shown. Nothing here needs Windows.
#pragma once

#include <string>
#include <string_view>

// `text` as a JSON string with its quotes, which people can read as well.
std::wstring JsonText(std::wstring_view text);

// How answers are printed: a line for people, or a line of JSON.
enum class AnswerFormat { kPlain, kJson };

// One answer as a line without its end, in UTF-16. A text that is still the request's `padding` is
// shown as one that was not read, unless the padding is empty.
std::wstring FormatAnswer(AnswerFormat format,
                          std::wstring_view padding,
                          std::wstring_view command,
                          bool flag,
                          long number,
                          std::wstring_view text);
