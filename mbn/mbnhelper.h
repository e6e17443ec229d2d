// The "MBNHELPER_" command family: asks and drives the modem.
#pragma once

#include <windows.h>
#include <rpc.h>

// The family's handler: carries out `command` and answers it on the calling thread, all as
// AnswerCommand of rpc/command.h does. `binding` is not used. The strings are the request's own.
void MbnHelperCommand(handle_t binding,
                      const wchar_t* command,
                      bool data_bool,
                      long data_int,
                      wchar_t* data_string);
