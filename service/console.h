// Output for the person at the console.
#pragma once

// Formatted output to standard output, adding no line end. A wide string argument is written "%ls".
// Failures (a service has no console) are ignored. Calls the C runtime's vwprintf.
void ConsolePrint(const wchar_t* format, ...);

// The same for a narrow format. Calls vprintf.
void ConsolePrintNarrow(const char* format, ...);
