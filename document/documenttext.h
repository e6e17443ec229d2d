// The text of a document file.
#pragma once

#include <memory>

// Reads a file into wide text, as text/widetext.h describes. Other processes may have the file open
// for reading and writing. A file that cannot be opened gives an empty text. Throws std::bad_alloc
// if there is not enough memory: two bytes for each byte of the file. Calls CreateFileW and
// ReadFile.
std::unique_ptr<wchar_t[]> ReadDocumentText(const wchar_t* path);
