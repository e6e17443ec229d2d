// Every request that the load programs send, and the answer that is due to it. The modem, the
// control device and the document are as load.sh arranges them.
#pragma once

#include <string>
#include <vector>

// What an answer says when it is not simply the request's own value.
enum class Flag { kSame, kTrue, kFalse, kOn };
enum class Number { kSame, kSetting, kSwitch, kOne };

struct Case {
    const wchar_t* command;
    int answers = 1;
    Flag flag = Flag::kSame;
    Number number = Number::kSame;
    const wchar_t* text = nullptr;  // in the answer; null for the request's own
    const wchar_t* send = nullptr;  // in the request; null for any text, of 32 characters at least
    bool first_token = false;       // the answer's text ends with the request's first token
};

// The values of one request of a case.
struct Request {
    const Case* sent = nullptr;
    bool flag = false;
    long number = 0;
    std::wstring text;
};

// Tags are above every number that an answer gives for another reason.
inline constexpr long kTagsPerProcess = 1000000;

// Every command of the service, and some that it does not know.
const std::vector<Case>& AllCases();

// Whether the answer is the one that is due to the request.
bool AnswerFits(const Request& request,
                const wchar_t* command,
                bool flag,
                long number,
                const wchar_t* text);
