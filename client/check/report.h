// tesselctl --report.
#pragma once

#include "client/options.h"

// Writes a text file for the developers: the check, the system, the program files, the service's
// registration and process, the last events that name the programs, and the crash dumps. The file
// contains no number of a SIM and no text of a request. Returns false if it cannot be written.
// Calls EvtQuery.
bool Report(const Options& options);
