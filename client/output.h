// Output of tesselctl: UTF-16 to a console, UTF-8 to a file or pipe.
#pragma once

#include <windows.h>

#include <string_view>

// From now on every line that PrintLine writes also goes to `file`, in UTF-8. The file stays the
// caller's.
void KeepLinesIn(HANDLE file);

// Writes `line` and a line end to standard output, whole even when several threads write.
void PrintLine(std::wstring_view line);

// The same to standard error.
void PrintErrorLine(std::wstring_view line);
