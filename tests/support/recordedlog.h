// WriteLog that keeps the lines instead of writing them. Including this and calling LoggedLines
// links it.
#pragma once

#include <string>
#include <vector>

// The lines passed to WriteLog since the last clear, in order. Safe to fill from several threads.
std::vector<std::string> LoggedLines();

void ClearLoggedLines();
