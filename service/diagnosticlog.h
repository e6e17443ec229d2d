// The text log of the program, which ships switched off. The product writes through
// service/logline.h, whose functions do not throw.
#pragma once

#include <string>

// Whether the log is written. Set at build time; see logswitch.cpp.
extern const bool g_logEnabled;

// Appends a line to the log file and flushes it: the prefix of LogTimestamp, `message` and a line
// end. Does nothing if g_logEnabled is false. Ignores failures of the file. Throws std::bad_alloc.
void WriteLog(std::string message);

// The same for a wide text, of which each code unit is reduced to its low eight bits.
void WriteLog(std::wstring message);

// The local time as "YYYYMMDD_HHMMSS : ", or an empty text if it cannot be formatted.
std::string LogTimestamp();
