#include "rpc/requestlog.h"

#include <exception>
#include <string>

#include "service/diagnosticlog.h"
#include "text/lowbytes.h"

void LogLine(const char* text) {
    try {
        WriteLog(std::string(text));
    } catch (const std::exception&) {
        // Out of memory.
    }
}

void LogRequest(const wchar_t* command, bool data_bool, long data_int, const wchar_t* data_string) {
    try {
        WriteLog("Data Recieved requestString : " + LowBytes(command) + " / data_bool : " +
                 (data_bool ? "true" : "false") + " / data_int : " + std::to_string(data_int) +
                 " / data_string : " + LowBytes(data_string));
    } catch (const std::exception&) {
        // Out of memory.
    }
}
