// Reads document files.
#pragma once

#include <memory>

// Reads a file into wide text, as document/widetext.h describes. Other processes may have the file
// open for reading and writing. Returns an empty text if the file cannot be opened. Needs two bytes
// of memory for each byte of the file, and throws std::bad_alloc if there is not enough. Calls
// CreateFileW and ReadFile.
std::unique_ptr<wchar_t[]> ReadDocumentText(const wchar_t* path);
