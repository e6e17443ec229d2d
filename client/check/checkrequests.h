// Checks the answers of the service.
#pragma once

#include "client/finding.h"
#include "client/options.h"

// Sends requests that change nothing, and adds findings about the service, the modem and the
// control device. `stopped`: the service control manager shows no running service. Sends the
// requests from a thread of its own, and stops waiting for it after 30 seconds without an answer.
// From then on, a call that fails in any thread suspends that thread forever. Returns false if the
// service was not reached.
bool CheckRequests(Findings& findings, bool stopped, const Without& without);
