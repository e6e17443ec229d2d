// Whether the service may use its registry keys.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "client/finding.h"

// What is found of one key. Without advice it is one of the many that share a finding.
struct KeyFinding {
    Status status;
    std::wstring found;
    std::wstring advice = {};
};

// Of a key whose access list denies these rights to a process of NT AUTHORITY\LocalService, and to
// one that also has the service's own SID; `has_own_sid` says whether the service's process has it.
KeyFinding RightsFinding(ACCESS_MASK account_lacks,
                         ACCESS_MASK service_lacks,
                         std::optional<bool> has_own_sid);

// Looks at each key of the service's tables, without `with_usb` not at those of the USB route:
// whether it is there, whether its access list gives the service all access, and whether its values
// have their types. Adds one finding for all keys that are well, and one for each that is not. Only
// reads.
void CheckKeys(Findings& findings, std::optional<bool> has_own_sid, bool with_usb);
