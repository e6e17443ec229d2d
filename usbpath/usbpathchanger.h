// The "USBPATHCHANGER_" command family: routes the USB port to the modem or back.
#pragma once

#include "command/command.h"

extern const std::span<const Command> kUsbPathChangerCommands;
CommandHandler UsbPathChangerCommand;
