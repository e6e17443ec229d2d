// How the service is registered, whether it runs, and who may change its programs.
#pragma once

#include <windows.h>

#include <optional>

#include "client/serviceinfo.h"
#include "client/finding.h"

// Whether the service's process has the service's own SID: the type is set (SERVICE_SID_TYPE_*),
// and the registration was last changed before the process started. Without a process, whether the
// next one will have it. Nothing if a time that counts is not known.
std::optional<bool> HasOwnSid(DWORD type,
                              bool running,
                              const std::optional<FILETIME>& started,
                              const std::optional<FILETIME>& changed);

struct Registration {
    // Whether the service manager says that the service is stopped or not registered.
    bool stopped = false;
    std::optional<bool> has_own_sid = {};
    // The service's process, if there is one that can be looked at.
    std::optional<ProcessFacts> process = {};
};

// Adds what the service manager knows and what the files of the programs say. Calls
// QueryServiceConfigW, QueryServiceConfig2W and QueryServiceStatusEx.
Registration CheckRegistration(Findings& findings);
