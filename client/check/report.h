// tesselctl --report.
#pragma once

#include <string>

#include "client/options.h"

// Writes a text file for whoever helps with a device: the check without what `without` names, the
// system, the files of the programs, the service's registration and process, the last events that
// name the programs, and crash dumps. It holds no number of a SIM and no text of a request.
// False if the file cannot be written. Calls EvtQuery.
bool Report(const std::wstring& path, const Without& without);
