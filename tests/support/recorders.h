// Records what the product logs and prints. A test that calls one of these functions links the
// recorder of it.
#pragma once

#include <string>
#include <vector>

// WriteLog: returns the lines since the last call, in order, of all threads.
std::vector<std::string> TakeLog();

// ConsolePrint: returns the text since the last call.
std::wstring TakePrinted();
