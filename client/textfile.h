// A text out of a file.
#pragma once

#include <optional>
#include <string>

// The text of a file, or of standard input for "-": UTF-8, or UTF-16 with a byte order mark, as
// PowerShell writes it. One line end at the end does not belong to it. Nothing if the file cannot
// be read or is neither of the two. Calls CreateFileW and ReadFile.
std::optional<std::wstring> ReadTextFile(const std::wstring& path);
