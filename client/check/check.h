// tesselctl --check and --report.
#pragma once

#include <optional>

#include "client/options.h"
#include "client/serviceinfo.h"

struct CheckResult {
    // Whether the service was reached.
    bool reached;
    int faults;
    std::optional<ProcessFacts> process;
};

// Checks everything that the service needs, except what --without names, and prints a line for each
// item. Changes nothing.
CheckResult Check(const Options& options);

// Writes a text file for the developers: the check, the system, the program files, the service's
// registration and process, the last events that name the programs, and the crash dumps. The file
// contains no number of a SIM and no text of a request. Returns false if it cannot be written.
// Calls EvtQuery.
bool Report(const Options& options);
