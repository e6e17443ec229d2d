// The trace of the request channel in the diagnostic log. None of these throws: a line is lost when
// there is no memory for it, the call that it tells of is not.
#pragma once

// A fixed line.
void LogLine(const char* text);

// The line of one request, its texts in their low bytes.
void LogRequest(const wchar_t* command, bool flag, long number, const wchar_t* text);
