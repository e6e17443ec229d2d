#include "bledevice/blehelper.h"

#include <cwchar>

#include "bledevice/controldevice.h"
#include "rpc/reportresult.h"

void BleHelperCommand(handle_t /*binding*/,
                      const wchar_t* command,
                      bool data_bool,
                      long data_int,
                      wchar_t* data_string) {
    if (std::wcscmp(command, L"BLEHELPER_GETBLE") == 0) {
        // Stays 0 when it cannot be read.
        std::uint32_t value = 0;
        ReadControlDeviceValue(&value);
        ReportResult(command, value == kControlDeviceOn, static_cast<long>(value), data_string);
    }
    if (std::wcscmp(command, L"BLEHELPER_SETBLE") == 0) {
        WriteControlDeviceValue(data_bool ? kControlDeviceOn : kControlDeviceOff);
        ReportResult(command, data_bool, data_int, data_string);
    }
    if (std::wcscmp(command, L"BLEHELPER_ISBLESUPPORT") == 0) {
        std::uint32_t supported = 0;
        QueryControlDeviceSupport(&supported);
        ReportResult(command, data_bool, static_cast<long>(supported), data_string);
    }
}
