// The text log, which is off in the shipped program. The product writes through
// diagnostics/logline.h, whose functions do not throw.
#pragma once

#include <string>

// Whether the log is written. Set at build time in logswitch.cpp.
extern const bool g_logEnabled;

// Writes a line to the log file and flushes it: LogTimestamp, `message` and a line end. Does
// nothing if g_logEnabled is false. Ignores failures of the file. Throws std::bad_alloc.
void WriteLog(std::string message);

// Does the same with the low eight bits of each code unit of a wide text.
void WriteLog(std::wstring message);

// Returns the local time as "YYYYMMDD_HHMMSS : ", or an empty text if it cannot be formatted.
std::string LogTimestamp();
