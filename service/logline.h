// The lines of the diagnostic log. None of these functions throws: a line for which there is no
// memory is lost, and the work that it reports goes on. Each calls WriteLog.
#pragma once

// Writes `text`.
void LogLine(const char* text) noexcept;

// Writes `text` followed by `number` in decimal.
void LogLine(const char* text, long number) noexcept;

// Writes the line of one request, with its strings reduced to their low bytes.
void LogRequest(const wchar_t* command, bool flag, long number, const wchar_t* text) noexcept;
