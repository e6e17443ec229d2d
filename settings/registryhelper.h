// The "REGISTRYHELPER_" command family: reads and writes the pen and display settings.
#pragma once

#include "command/command.h"

extern const std::span<const Command> kRegistryHelperCommands;
CommandHandler RegistryHelperCommand;
