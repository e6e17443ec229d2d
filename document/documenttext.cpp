#include "document/documenttext.h"

#include <windows.h>

#include <string>

#include "text/widetext.h"
#include "win32/uniquehandle.h"

namespace {

// Kept: a file that cannot be opened counts as empty. Bytes that were read before an error stay.
std::string ReadBytes(const wchar_t* path) {
    // The caller chooses the path, which may name a pipe of another process: that process must not
    // get the identity of the service.
    const FileHandle file(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                      nullptr, OPEN_EXISTING,
                                      SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS, nullptr));
    std::string bytes;
    if (!file) {
        return bytes;
    }
    constexpr DWORD kPiece = 65536;
    // Stays 0 for a pipe.
    LARGE_INTEGER size = {};
    GetFileSizeEx(file.get(), &size);
    bytes.reserve(static_cast<std::size_t>(size.QuadPart) + kPiece);
    std::size_t length = 0;
    DWORD count = 0;
    do {
        length += count;
        bytes.resize(length + kPiece);
    } while (ReadFile(file.get(), &bytes[length], kPiece, &count, nullptr) && count > 0);
    bytes.resize(length);
    return bytes;
}

}  // namespace

std::unique_ptr<wchar_t[]> ReadDocumentText(const wchar_t* path) {
    return WideText(ReadBytes(path));
}
