// tesselctl --check.
#pragma once

#include <optional>

#include "client/serviceinfo.h"
#include "client/options.h"

// Checks everything that the service needs, except what `without` names, changes nothing, and
// prints a line for each item.
struct CheckResult {
    bool reached;
    int faults;
    std::optional<ProcessFacts> process;
};
CheckResult Check(bool json, const Without& without);
