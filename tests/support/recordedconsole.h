// ConsolePrint that keeps the text instead of printing it. Calling PrintedText links it.
#pragma once

#include <string>

// Everything passed to ConsolePrint and ConsolePrintNarrow since the last clear, formatted, in
// order.
std::wstring PrintedText();

void ClearPrintedText();
