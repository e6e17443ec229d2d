// The "BLEHELPER_" command family: reads and sets the switch of the control device.
#pragma once

#include "rpc/command.h"

extern const std::span<const Command> kBleHelperCommands;
CommandHandler BleHelperCommand;
