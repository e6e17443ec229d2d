// A loaded program file.
#pragma once

#include <windows.h>

#include "win32/uniqueresource.h"

struct ModuleTraits {
    using Type = HMODULE;
    static Type Empty() { return nullptr; }
    static void Close(Type module) { FreeLibrary(module); }
};

// A module from LoadLibraryExW, given back with FreeLibrary.
using Module = UniqueResource<ModuleTraits>;
