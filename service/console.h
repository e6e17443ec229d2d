// Messages to standard output.
#pragma once

// Formats and prints without adding a line end. A wide string argument needs "%ls". Ignores
// failures: a service has no console. Calls vwprintf of the C runtime.
void ConsolePrint(const wchar_t* format, ...);

// The same for a narrow format. Calls vprintf.
void ConsolePrintNarrow(const char* format, ...);
