// How an answer is shown. Nothing here needs Windows.
#pragma once

#include <string>
#include <string_view>

// `text` as a JSON string with its quotes, which people can read as well.
std::wstring JsonText(std::wstring_view text);

// How answers are printed: a line for people, or a line of JSON.
enum class AnswerFormat { kPlain, kJson };

// One answer as a line without its end, in UTF-16.
std::wstring FormatAnswer(AnswerFormat format,
                          std::wstring_view room,
                          std::wstring_view command,
                          bool flag,
                          long number,
                          std::wstring_view text);
