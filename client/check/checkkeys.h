// Whether the service may do with its registry keys what it does.
#pragma once

#include <windows.h>

#include <string>

#include "client/check/checkservice.h"
#include "client/finding.h"

// What there is to say about one key.
struct Judgement {
    Status status;
    std::wstring found;
    std::wstring advice;
};

// Of a key whose access list withholds these rights from a process of NT AUTHORITY\LocalService,
// and from one that has the service's own SID as well.
Judgement JudgeRights(ACCESS_MASK account_lacks,
                      ACCESS_MASK service_lacks,
                      const ServiceSidType& sid_type);

// Adds one finding per key of the service's tables: whether it is there, whether its access list
// gives NT AUTHORITY\LocalService, or the service's own SID if `sid_type` says that the process has
// it, all access, and whether the values have their types. Only reads.
void CheckKeys(Findings& findings, const ServiceSidType& sid_type);
