// Client halves of the interface that offer one transfer syntax each. What works over one of them
// has gone over that syntax.
#pragma once

#include <windows.h>
#include <rpc.h>
#include <rpcndr.h>

#include "acceptance/exchange.h"

// As an interface compiler makes it with /protocol dce.
extern const ClientHalf kNdr20Half;

// As one makes it with /protocol ndr64.
extern const ClientHalf kNdr64Half;

// The descriptor of kNdr20Half, for calls that are put together by hand.
extern const MIDL_STUB_DESC kNdr20Descriptor;
