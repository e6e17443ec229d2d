// tesselctl --grant and --revoke.
#pragma once

// Gives the service its own SID, a restart after a crash, and full control of its registry keys for
// that SID alone, without `with_usb` of those keys only that the USB route does not use; makes the
// topmost keys that are missing; prints a line for each change. What is so already stays, and so do
// the entries of other SIDs in the access lists. Returns how many of the changes failed. Calls
// ChangeServiceConfig2W, RegCreateKeyExW and RegSetKeySecurity. Needs an administrator.
int Grant(bool json, bool with_usb);

// Takes these rights, the SID and the restart away again; keys stay.
int Revoke(bool json);
