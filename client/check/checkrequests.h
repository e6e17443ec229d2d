// What the service answers about itself, the modem and the control device.
#pragma once

#include "client/finding.h"
#include "client/options.h"

// Connects, sends only requests that change nothing, and adds what came of them. `stopped` says
// that the service manager shows no service that runs; what `without` names is not asked for. The
// requests have a thread of their own, which is left alone after half a minute without an answer.
// A call to the service that fails on any thread stops that thread for good. False if the service
// was not reached.
bool CheckRequests(Findings& findings, bool stopped, const Without& without);
