// A reference to a COM object.
#pragma once

#include <windows.h>
#include <unknwn.h>

#include "win32/uniqueresource.h"

template <typename Interface>
struct ComTraits {
    using Type = Interface*;
    static Type Empty() { return nullptr; }
    static void Close(Type object) { object->Release(); }
};

// One counted reference, given up with Release. Its own Release() hands the reference over instead.
template <typename Interface>
using ComPtr = UniqueResource<ComTraits<Interface>>;

// The form in which CoCreateInstance and QueryInterface take the place for a new reference.
template <typename Interface>
void** ReceiveUntyped(ComPtr<Interface>& object) {
    return reinterpret_cast<void**>(object.Receive());
}
