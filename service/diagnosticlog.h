// The text log of the whole program, switched off as shipped.
#pragma once

#include <string>

// Whether the log is written at all. Fixed at build time; see logswitch.cpp.
extern const bool g_logEnabled;

// Appends one line, "%Y%m%d_%H%M%S : " in local time followed by `message`, to the log file and
// flushes it. Adds the line end itself. Does nothing while g_logEnabled is false; a failing file is
// ignored.
void WriteLog(std::string message);

// The same for a wide text, each code unit reduced to its low eight bits.
void WriteLog(std::wstring message);

// The time prefix of a line written now: "YYYYMMDD_HHMMSS : ", or an empty text if it cannot be
// formatted.
std::string LogTimestamp();
