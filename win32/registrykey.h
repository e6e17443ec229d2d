// An open registry key.
#pragma once

#include <windows.h>

#include "win32/uniqueresource.h"

struct RegistryKeyTraits {
    using Type = HKEY;
    static Type Empty() { return nullptr; }
    static void Close(Type key) { RegCloseKey(key); }
};

// A key from RegOpenKeyExW or RegCreateKeyExW, closed with RegCloseKey.
using RegistryKey = UniqueResource<RegistryKeyTraits>;
