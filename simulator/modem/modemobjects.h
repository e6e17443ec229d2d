// Creates the COM objects of the simulated modem.
#pragma once

#include <windows.h>
#include <unknwn.h>

// Create one of the two objects that a client can create, and return its interface `iid`.
HRESULT CreateInterfaceManager(REFIID iid, void** object);
HRESULT CreateProfileManager(REFIID iid, void** object);
