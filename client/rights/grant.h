// tesselctl --grant and --revoke.
#pragma once

// Gives the service its own SID, restart after a crash, and full control of its registry keys for
// that SID alone, making the topmost ones that are missing; prints a line for each. What is so
// already, and every other entry of an access list, stays. How many of the changes failed. Calls
// ChangeServiceConfig2W, RegCreateKeyExW and RegSetKeySecurity. Needs an administrator.
int Grant(bool json);

// Takes just that away again; keys stay.
int Revoke(bool json);
