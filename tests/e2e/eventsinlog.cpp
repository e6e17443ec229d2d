// Also writes each tracing event into the log, because Wine stores none: its level and its text.
#include <windows.h>
#include <evntprov.h>

#include <string>

#include "diagnostics/diagnosticlog.h"
#include "tests/support/interposed.h"
#include "win32/lowbytes.h"

namespace {

void Note(REGHANDLE, UCHAR level, ULONGLONG, const wchar_t* message) {
    WriteLog("[" + std::to_string(level) + "] " + LowBytes(message));
}

}  // namespace

INTERPOSE_NOTED(EventWriteString, kNone, Note);
