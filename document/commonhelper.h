// The "COMMONHELPER_" command family: answers queries about files.
#pragma once

#include "command/command.h"

extern const std::span<const Command> kCommonHelperCommands;
CommandHandler CommonHelperCommand;
