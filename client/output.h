// Output of tesselctl: UTF-16 to a console, UTF-8 to a file or pipe.
#pragma once

#include <string_view>

// Writes `line` and a line end to standard output, whole even when several threads write.
void PrintLine(std::wstring_view line);

// The same to standard error.
void PrintErrorLine(std::wstring_view line);
