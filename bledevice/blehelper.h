// The "BLEHELPER_" command family: reads and writes the switch of the control device.
#pragma once

#include "command/command.h"

extern const std::span<const Command> kBleHelperCommands;
CommandHandler BleHelperCommand;
