// Checks the answers of the service.
#pragma once

#include "client/finding.h"
#include "client/options.h"

// Sends requests that change nothing, and adds findings about the service, the modem and the
// control device. `stopped`: the service control manager shows no running service. If the service
// does not answer a request for 30 seconds, adds a fault; the thread that sends then waits until
// the program ends. Returns false if the service was not reached.
bool CheckRequests(Findings& findings, bool stopped, const Without& without);
