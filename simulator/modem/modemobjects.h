// The simulated modem's COM objects.
#pragma once

#include <windows.h>
#include <unknwn.h>

// Create one of the two objects that a client can create, and query it for `iid`.
HRESULT CreateInterfaceManager(REFIID iid, void** object);
HRESULT CreateProfileManager(REFIID iid, void** object);
