// A handle of the service control manager.
#pragma once

#include <windows.h>
#include <winsvc.h>

#include "win32/uniqueresource.h"

struct ServiceHandleTraits {
    using Type = SC_HANDLE;
    static Type Empty() { return nullptr; }
    static void Close(Type handle) { CloseServiceHandle(handle); }
};

// A manager or service handle from OpenSCManagerW, OpenServiceW or CreateServiceW, closed with
// CloseServiceHandle.
using ServiceHandle = UniqueResource<ServiceHandleTraits>;
