// The text of a document file, and where it lives while it is being sent.
#pragma once

#include "text/ownedtext.h"

// The whole file as the C runtime reads it in text mode (CR LF becomes LF, Ctrl-Z ends the text),
// shared with whoever has it open; a last line without a break gets one. Each byte is widened with
// sign extension. A file that cannot be opened gives an empty text; one too large for memory throws
// std::bad_alloc. Holds the text once, plus a small buffer. Calls CreateFileW and ReadFile.
OwnedText ReadDocumentText(const wchar_t* path);

// Makes `text` the calling thread's and returns it; it stays until the thread's next call of this
// function or of DropThreadText, or until the thread ends. So it is freed even if an exception that
// runs no destructors takes the thread out of its caller. If the thread cannot keep it (out of
// memory), the result is an empty text. Calls FlsSetValue.
const wchar_t* KeepThreadText(OwnedText text);

// Frees the calling thread's text, if it has one.
void DropThreadText();
