#include "document/pathexists.h"

#include <cwchar>

#include "win32/lowbytes.h"

// The function and its structure have the same name, as in the header of the C runtime.
#pragma GCC diagnostic ignored "-Wshadow"

// Imported from the C runtime. The inline function of this name in mingw's <sys/stat.h> calls
// _stat64, which does not fail for a large file.
extern "C"
    __declspec(dllimport) int __cdecl _stat64i32(const char* path, struct _stat64i32* status);
static_assert(sizeof(struct _stat64i32) == 48);

bool PathExists(const wchar_t* path) {
    // Kept: the narrow function with 32-bit sizes, which fails for a file of 2 GB or more.
    struct _stat64i32 status;
    return _stat64i32(LowBytes(path).c_str(), &status) == 0;
}
