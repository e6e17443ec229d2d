// The "MBNHELPER_" command family: queries and controls the modem.
#pragma once

#include "command/command.h"

extern const std::span<const Command> kMbnHelperCommands;
CommandHandler MbnHelperCommand;
