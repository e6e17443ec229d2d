// How the service is registered and whether it runs.
#pragma once

#include <windows.h>

#include <optional>

#include "client/finding.h"

// What the service manager says of the SID type of the service.
struct ServiceSidType {
    // SERVICE_SID_TYPE_*; nothing when it could not be read.
    std::optional<DWORD> type;
    // Whether the process, once started, has the service's own SID.
    [[nodiscard]] bool IsSet() const { return type.value_or(SERVICE_SID_TYPE_NONE) != 0; }
};

// Adds what the service manager knows and what the program's file says; `version` is the client's.
// Calls QueryServiceConfigW, QueryServiceConfig2W and QueryServiceStatusEx.
ServiceSidType CheckRegistration(Findings& findings, const wchar_t* version);
