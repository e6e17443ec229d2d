#include "document/documenttext.h"

#include <windows.h>

#include "document/widetext.h"
#include "win32/uniquehandle.h"

// Kept: a file that cannot be opened counts as empty. Bytes that were read before an error stay.
std::unique_ptr<wchar_t[]> ReadDocumentText(const wchar_t* path) {
    // The client chooses the path. It may name a pipe of another process, which must not get the
    // identity of the service.
    const FileHandle file(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, OPEN_EXISTING,
                                      SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS, nullptr));
    if (!file) {
        return WideText(0).Finish();
    }
    // The size of a pipe is 0.
    LARGE_INTEGER size = {};
    GetFileSizeEx(file.get(), &size);
    WideText text(static_cast<std::size_t>(size.QuadPart));
    char bytes[65536];
    DWORD count = 0;
    while (ReadFile(file.get(), bytes, sizeof(bytes), &count, nullptr) && count > 0 &&
           text.Append({bytes, count})) {
    }
    return text.Finish();
}
