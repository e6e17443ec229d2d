// The text of a document file, and where it lives while it is being sent.
#pragma once

#include <string>

// The whole file, read in the C runtime's text mode (CR LF pairs become LF, Ctrl-Z ends the text)
// and shared with whoever has it open; a last line without a break gets one. Each byte is widened
// with sign extension. A file that cannot be opened gives an empty text; one too large for memory
// throws std::bad_alloc or std::length_error. Holds the text once, plus a small buffer. Stands on
// _wfsopen.
std::wstring ReadDocumentText(const wchar_t* path);

// Makes `text` the calling thread's and returns it; it stays until the thread's next call of this
// function or of DropThreadText, or until the thread ends. So it is freed even if an exception that
// runs no destructors takes the thread out of its caller. If the thread cannot keep it (out of
// memory), the result is an empty text. Throws std::bad_alloc. Stands on FlsAlloc.
const wchar_t* KeepThreadText(std::wstring text);

// Frees the calling thread's text, if it has one.
void DropThreadText();
