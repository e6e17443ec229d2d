// What is in a file.
#pragma once

#include <optional>
#include <string>

// The bytes of a file, or of standard input for "-"; nothing if it cannot be opened, with the error
// in GetLastError. Calls CreateFileW and ReadFile.
std::optional<std::string> ReadBytes(const std::wstring& path);

// The text of a file, or of standard input for "-": UTF-8, or UTF-16 with a byte order mark, as
// PowerShell writes it. One line end at the end does not belong to it. Nothing if the file cannot
// be read or is neither of the two.
std::optional<std::wstring> ReadTextFile(const std::wstring& path);
