// The "BLEHELPER_" command family: reads and sets the switch of the control device.
#pragma once

#include <windows.h>
#include <rpc.h>

// Carries out `command` and answers it with ReportResult on the calling thread, by AnswerCommand of
// rpc/command.h. `binding` is not used. The strings are the request's own. A command that the family
// does not know does nothing and gets no answer; failures are folded into the answer. Only a failed
// callback leaves this function, as the RPC runtime's structured exception.
void BleHelperCommand(handle_t binding,
                      const wchar_t* command,
                      bool data_bool,
                      long data_int,
                      wchar_t* data_string);
