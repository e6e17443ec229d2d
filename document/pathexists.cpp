#include "document/pathexists.h"

#include <cwchar>

#include "text/lowbytes.h"

// The function has the name of its structure, as in the runtime's own header.
#pragma GCC diagnostic ignored "-Wshadow"

// Imported from ucrtbase.dll. <sys/stat.h> has an inline function of this name that calls msvcrt,
// which gives other answers.
extern "C" __declspec(dllimport) int __cdecl _stat64i32(const char* path,
                                                        struct _stat64i32* status);
static_assert(sizeof(struct _stat64i32) == 48);

bool PathExists(const wchar_t* path) {
    // Kept: the narrow function with 32-bit sizes, which fails for a file of 2 GB or more.
    struct _stat64i32 status;
    return _stat64i32(LowBytes(path).c_str(), &status) == 0;
}
