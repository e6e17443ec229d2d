// Reads whole files.
#pragma once

#include <optional>
#include <string>

// Reads a file, or standard input if `path` is "-". Returns nothing if it cannot be opened, with
// the error in GetLastError.
std::optional<std::string> ReadBytes(const std::wstring& path);

// Reads a text from a file, or from standard input if `path` is "-": UTF-8, or UTF-16 with a byte
// order mark, as PowerShell writes it. Removes one line end at the end of the text. Returns nothing
// if the file cannot be read or has another encoding.
std::optional<std::wstring> ReadTextFile(const std::wstring& path);
