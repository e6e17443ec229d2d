// A string of OLE automation.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include "win32/uniqueresource.h"

struct BstrTraits {
    using Type = BSTR;
    static Type Empty() { return nullptr; }
    static void Close(Type text) { SysFreeString(text); }
};

// A string that a COM call gave to its caller, freed with SysFreeString. Null reads as "no string".
using Bstr = UniqueResource<BstrTraits>;
