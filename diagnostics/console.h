// Messages to standard output.
#pragma once

// Prints formatted text and adds no line end. A wide string argument needs "%ls". Ignores failures:
// a service has no console. Calls vwprintf of the C runtime.
void ConsolePrint(const wchar_t* format, ...);

// Does the same with a narrow format. Calls vprintf.
void ConsolePrintNarrow(const char* format, ...);
