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

void LogRequest(const wchar_t* command, bool flag, long number, const wchar_t* text) {
    try {
        // Kept: Recieved.
        WriteLog("Data Recieved requestString : " + LowBytes(command) +
                 " / data_bool : " + (flag ? "true" : "false") +
                 " / data_int : " + std::to_string(number) + " / data_string : " + LowBytes(text));
    } catch (const std::exception&) {
        // Out of memory.
    }
}
