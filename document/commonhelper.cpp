#include "document/commonhelper.h"

#include <cwchar>
#include <exception>

#include "document/documenttext.h"
#include "document/pathexists.h"
#include "rpc/reportresult.h"

namespace {

// False if memory does not hold the path.
bool Exists(const wchar_t* path) {
    try {
        return PathExists(path);
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
        ReportResult(command, Exists(data_string), data_int, L"");
    }
    if (std::wcscmp(command, L"COMMONHELPER_READEULADOCUMENT") == 0) {
        ReportResult(command, data_bool, data_int, DocumentText(data_string));
        // Not reached when the client has vanished.
        DropThreadText();
    }
}
