// Output of tesselctl: UTF-16 to a console, UTF-8 to a file or pipe.
#pragma once

#include <windows.h>

#include <string_view>

// Makes PrintLine write every later line to `file`, in UTF-8: too, or only there. Null ends it. The
// caller keeps and closes `file`.
void KeepLinesIn(HANDLE file, bool only_there = false);

// Write `line` and a line end to standard output or standard error. Lines of several threads do not
// mix.
void PrintLine(std::wstring_view line);
void PrintErrorLine(std::wstring_view line);
