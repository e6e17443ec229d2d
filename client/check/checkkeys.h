// Checks the access to the service's registry keys.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "client/finding.h"

// The result for one key. Keys without advice share one line.
struct KeyFinding {
    Status status;
    std::wstring found;
    std::wstring advice = {};
};

// Returns the result for a key. `account_lacks`: the rights that a process of
// NT AUTHORITY\LocalService does not have. `service_lacks`: the same for a process that also has
// the service's own SID. `has_own_sid`: whether the service's process has this SID, if known.
KeyFinding RightsFinding(ACCESS_MASK account_lacks,
                         ACCESS_MASK service_lacks,
                         std::optional<bool> has_own_sid);

// Checks for each key of the service's tables that it exists, that its access list gives the
// service all access, and that its values have the right types. Leaves out the keys of the USB
// route if `with_usb` is false. Adds one finding for all correct keys, and one for each other key.
void CheckKeys(Findings& findings, std::optional<bool> has_own_sid, bool with_usb);
