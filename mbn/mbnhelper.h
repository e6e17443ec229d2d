// The "MBNHELPER_" command family: asks and drives the modem.
#pragma once

#include "rpc/command.h"

extern const std::span<const Command> kMbnHelperCommands;
CommandHandler MbnHelperCommand;
