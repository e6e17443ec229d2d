// What each command does, in one line, for the person at the console.
#pragma once

#include <span>
#include <string_view>

struct CommandHelp {
    const wchar_t* command;
    const wchar_t* help;
    // Whether the answer's text is written over the request's own, so that a request needs a text
    // as long as what it asks for.
    bool needs_padding = false;
};

// The length of the padding that is sent for it: more than any identity that a modem gives.
inline constexpr std::size_t kPaddingLength = 64;

// Every command that the service routes, in the order in which it compares them.
std::span<const CommandHelp> AllCommandHelp();

// The row of `command`, compared exactly; null for a command that the service does not know.
const CommandHelp* FindCommandHelp(std::wstring_view command);
