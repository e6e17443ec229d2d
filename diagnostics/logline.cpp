#include "diagnostics/logline.h"

#include <exception>
#include <string>

#include "diagnostics/diagnosticlog.h"
#include "win32/lowbytes.h"

namespace {

// Writes the text that `make_text` returns. Does not call it while the log is off.
template <typename MakeText>
void Log(MakeText make_text) noexcept {
    if (!g_logEnabled) {
        return;
    }
    try {
        WriteLog(std::string(make_text()));
    } catch (const std::exception&) {
        // Out of memory.
    }
}

}  // namespace

void LogLine(const char* text) noexcept {
    Log([=] { return text; });
}

void LogLine(const char* text, long number) noexcept {
    Log([=] { return text + std::to_string(number); });
}

void LogRequest(const wchar_t* command, bool flag, long number, const wchar_t* text) noexcept {
    Log([=] {
        // Kept: Recieved.
        return "Data Recieved requestString : " + LowBytes(command) +
               " / data_bool : " + (flag ? "true" : "false") +
               " / data_int : " + std::to_string(number) + " / data_string : " + LowBytes(text);
    });
}
