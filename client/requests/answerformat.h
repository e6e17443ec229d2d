// Formats answers.
#pragma once

#include <string>
#include <string_view>

#include "connection/connection.h"

// Returns `text` as a JSON string, with its quotation marks.
std::wstring JsonText(std::wstring_view text);

enum class AnswerFormat { kPlain, kJson };

// Returns one answer as a line without a line end. `padding` is the text that the request sent as
// padding, or empty. With padding, an answer with the same text is shown as "nothing was read", and
// an answer with an empty text as "there is none".
std::wstring FormatAnswer(AnswerFormat format,
                          std::wstring_view padding,
                          const RequestValues& answer);
