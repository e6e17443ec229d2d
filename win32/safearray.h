// An array of OLE automation.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include "win32/uniqueresource.h"

struct SafeArrayTraits {
    using Type = SAFEARRAY*;
    static Type Empty() { return nullptr; }
    static void Close(Type array) { SafeArrayDestroy(array); }
};

// An array that a COM call gave to its caller, destroyed together with the references it holds.
using SafeArray = UniqueResource<SafeArrayTraits>;
