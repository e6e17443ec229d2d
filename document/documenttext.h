// The text of a document file.
#pragma once

#include "text/ownedtext.h"

// The whole file as the C runtime reads it in text mode (CR LF becomes LF, Ctrl-Z ends the text),
// shared with whoever has it open; a last line without a break gets one. Each byte is widened with
// sign extension. A file that cannot be opened gives an empty text; one too large for memory throws
// std::bad_alloc. Holds the text once, plus a small buffer. Calls CreateFileW and ReadFile.
OwnedText ReadDocumentText(const wchar_t* path);
