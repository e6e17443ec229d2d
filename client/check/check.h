// tesselctl --check.
#pragma once

#include <optional>

#include "client/serviceinfo.h"
#include "client/options.h"

struct CheckResult {
    // Whether the service was reached.
    bool reached;
    int faults;
    std::optional<ProcessFacts> process;
};

// Checks everything that the service needs, except what --without names, and prints a line for each
// item. Changes nothing.
CheckResult Check(const Options& options);
