// Finds the help texts of commands.
#pragma once

#include <string>

#include "command/commandhelp.h"

// The length of the padding, in UTF-16 units: longer than any identity of a modem.
inline constexpr std::size_t kPaddingLength = 64;

// Returns the help of `command`, compared exactly. Null if the service does not have the command.
const CommandHelp* FindCommandHelp(std::wstring_view command);
