// Whether the service may do with its registry keys what it does.
#pragma once

#include "client/checkservice.h"
#include "client/finding.h"

// Adds one finding per key of the service's tables: whether it is there, whether its access list
// gives NT AUTHORITY\LocalService, or the service's own SID if `sid_type` says that the process has
// it, all access, and whether the values have their types. Only reads.
void CheckKeys(Findings& findings, const ServiceSidType& sid_type);
