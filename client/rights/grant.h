// tesselctl --grant and --revoke.
#pragma once

#include "client/options.h"

// --grant: turns on the service's own SID and the restart after a crash, and gives this SID full
// control of the service's registry keys; with --without usb, not of the USB keys. Creates missing
// top keys. The entries of other SIDs in the access lists stay. --revoke: removes the rights, the
// SID and the restart; keys stay.
//
// Prints a line for each change and returns the number of failed changes. Needs an administrator.
// Calls ChangeServiceConfig2W, RegCreateKeyExW and RegSetKeySecurity.
int ChangeRights(const Options& options);
