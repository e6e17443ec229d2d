// The "COMMONHELPER_" command family: answers queries about files.
#pragma once

#include "rpc/command.h"

extern const std::span<const Command> kCommonHelperCommands;
CommandHandler CommonHelperCommand;
