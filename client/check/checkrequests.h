// What the service answers about itself, the modem and the control device.
#pragma once

#include "client/finding.h"

// Connects, sends only requests that change nothing, and adds what came of it. Each exchange runs
// on a thread of its own, where a failure of the transport ends it, and is given up after half a
// minute. From the first call on, a failed call on any thread ends that thread. False when the
// service was not reached.
bool CheckRequests(Findings& findings);
