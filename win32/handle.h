// A kernel object or file handle.
#pragma once

#include <windows.h>

#include "win32/uniqueresource.h"

struct HandleTraits {
    using Type = HANDLE;
    static Type Empty() { return nullptr; }
    static void Close(Type handle) { CloseHandle(handle); }
};

// A handle whose maker returns null on failure (CreateEventW), closed with CloseHandle.
using Handle = UniqueResource<HandleTraits>;

struct FileHandleTraits {
    using Type = HANDLE;
    static Type Empty() { return INVALID_HANDLE_VALUE; }
    static void Close(Type handle) { CloseHandle(handle); }
};

// A handle from CreateFileW, which returns INVALID_HANDLE_VALUE on failure, closed with
// CloseHandle.
using FileHandle = UniqueResource<FileHandleTraits>;
