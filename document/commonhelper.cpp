#include "document/commonhelper.h"

#include <sys/stat.h>

#include <cwchar>
#include <exception>

#include "document/documenttext.h"
#include "rpc/reportresult.h"
#include "text/lowbytes.h"

namespace {

// Asks the C runtime for the path made of the low bytes of `path`; a directory exists too.
bool PathExists(const wchar_t* path) {
    try {
        struct _stat64i32 status;
        return _stat64i32(LowBytes(path).c_str(), &status) == 0;
    } catch (const std::exception&) {
        return false;
    }
}

// The text as the calling thread's; empty if memory does not hold it.
const wchar_t* DocumentText(const wchar_t* path) {
    // What a vanished client left behind must not add to this one.
    DropThreadText();
    try {
        return KeepThreadText(ReadDocumentText(path));
    } catch (const std::exception&) {
        return L"";
    }
}

}  // namespace

void CommonHelperCommand(handle_t /*binding*/,
                         const wchar_t* command,
                         bool data_bool,
                         long data_int,
                         wchar_t* data_string) {
    if (std::wcscmp(command, L"COMMONHELPER_ISFILE_EXISTS") == 0) {
        ReportResult(command, PathExists(data_string), data_int, L"");
    }
    if (std::wcscmp(command, L"COMMONHELPER_READEULADOCUMENT") == 0) {
        ReportResult(command, data_bool, data_int, DocumentText(data_string));
        // Not reached when the client has vanished.
        DropThreadText();
    }
}
