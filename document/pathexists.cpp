#include "document/pathexists.h"

#include <cwchar>

#include "text/lowbytes.h"

// Of ucrtbase.dll. The one of <sys/stat.h> is an inline that calls msvcrt, whose answers are
// others.
extern "C" __declspec(dllimport) int __cdecl _stat64i32(const char* path,
                                                        struct _stat64i32* status);
static_assert(sizeof(struct _stat64i32) == 48);

bool PathExists(const wchar_t* path) {
    // Kept: the narrow function, which knows no file of 2 GB or more.
    struct _stat64i32 status;
    return _stat64i32(LowBytes(path).c_str(), &status) == 0;
}
