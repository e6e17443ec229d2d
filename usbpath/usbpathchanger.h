// The "USBPATHCHANGER_" command family: routes the USB port to the modem or back.
#pragma once

#include <windows.h>
#include <rpc.h>

// Carries out `command`, compared whole and case-sensitively, and answers with ReportResult on the
// calling thread. `binding` is not used. The strings are the request's own. A command that the
// family does not know does nothing and gets no answer; failures are folded into the answer, none
// is thrown.
void UsbPathChangerCommand(handle_t binding,
                           const wchar_t* command,
                           bool data_bool,
                           long data_int,
                           wchar_t* data_string);
