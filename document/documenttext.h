// The text of a document file.
#pragma once

#include <string>

// The whole file, read in the C runtime's text mode (CR LF pairs become LF, Ctrl-Z ends the text)
// and shared with whoever has it open; a last line without a break gets one. Each byte is widened
// with sign extension. A file that cannot be opened gives an empty text; one too large for memory
// throws std::bad_alloc or std::length_error. Holds the text once, plus a small buffer. Calls
// _wfsopen.
std::wstring ReadDocumentText(const wchar_t* path);
