// The simulated modem's COM objects.
#pragma once

#include <windows.h>
#include <unknwn.h>

// Makes one of the two objects that a client creates, asks it for `iid` and stores what it answers.
HRESULT CreateInterfaceManager(REFIID iid, void** object);
HRESULT CreateProfileManager(REFIID iid, void** object);
