// The help texts of the commands, as tesselctl looks them up.
#pragma once

#include <string>

#include "rpc/commandhelp.h"

// The length of the text that is sent for a command that needs padding: longer than any identity
// that a modem gives.
inline constexpr std::size_t kPaddingLength = 64;

// The line of `command`, compared exactly; null if the service does not have the command.
const CommandHelp* FindCommandHelp(std::wstring_view command);

// The command whose name is nearest to `command`; empty if none is near. Capitals do not count.
std::wstring NearestCommand(std::wstring_view command);
