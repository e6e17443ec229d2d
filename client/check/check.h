// tesselctl --check.
#pragma once

#include "client/options.h"

// Checks everything that the service needs, except what `without` names, changes nothing, and
// prints a line for each item. `version` is this program's.
struct CheckResult {
    bool reached;
    int faults;
};
CheckResult Check(bool json, const Without& without, const wchar_t* version);
