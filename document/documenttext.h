// The text of a document file.
#pragma once

#include <memory>

// The whole file as WideText of text/widetext.h reads it. Other processes may have the file open
// for reading and writing. A file that cannot be opened gives an empty text. Throws std::bad_alloc
// or std::length_error if there is not enough memory: three bytes for each byte of the file. Calls
// CreateFileW and ReadFile.
std::unique_ptr<wchar_t[]> ReadDocumentText(const wchar_t* path);
