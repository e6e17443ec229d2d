// Checks the service's registration, its state and the access to its program files.
#pragma once

#include <windows.h>

#include <optional>

#include "client/finding.h"
#include "client/serviceinfo.h"

// Returns whether the service's process has the service's own SID: `type` is not
// SERVICE_SID_TYPE_NONE, and the registration was last changed before the process started. If there
// is no process, returns whether the next one will have the SID. Nothing if a time is not known.
std::optional<bool> HasOwnSid(DWORD type,
                              bool running,
                              const std::optional<FILETIME>& started,
                              const std::optional<FILETIME>& changed);

struct Registration {
    // Whether the service is stopped or not registered.
    bool stopped = false;
    std::optional<bool> has_own_sid = {};
    // The service's process, if there is one and it can be opened.
    std::optional<ProcessFacts> process = {};
};

// Adds the findings about the registration, the process and the program files. Calls
// QueryServiceConfigW, QueryServiceConfig2W and QueryServiceStatusEx.
Registration CheckRegistration(Findings& findings);
