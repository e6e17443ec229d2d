// Checks the service's registration, its state and the access to its program files.
#pragma once

#include <windows.h>

#include <optional>

#include "client/finding.h"
#include "client/serviceinfo.h"

struct Registration {
    // Whether the service is stopped or not registered.
    bool stopped = false;
    // Whether the service's process has the service's own SID, or the next one will have it.
    std::optional<bool> has_own_sid = {};
    // The service's process, if there is one and it can be opened.
    std::optional<ProcessFacts> process = {};
};

// Adds the findings about the registration, the process and the program files. Calls
// QueryServiceConfigW, QueryServiceConfig2W and QueryServiceStatusEx.
Registration CheckRegistration(Findings& findings);
