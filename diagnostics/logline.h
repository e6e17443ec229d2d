// Writes the lines of the diagnostic log. While the log is off, these functions only read its
// switch. They do not throw: if there is no memory for a line, the line is lost, and the caller
// continues. They call WriteLog.
#pragma once

// Writes `text`.
void LogLine(const char* text) noexcept;

// Writes `text` followed by `number` in decimal.
void LogLine(const char* text, long number) noexcept;

// Writes the line for one request, with the low eight bits of each code unit of its strings.
void LogRequest(const wchar_t* command, bool flag, long number, const wchar_t* text) noexcept;
