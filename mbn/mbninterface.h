// Reads values of the modem, and controls its data connection. Each operation joins the
// multithreaded apartment, calls the Mobile Broadband API for each interface, releases everything
// and leaves the apartment.
//
// If the list of interfaces cannot be read, a message is printed with ConsolePrint. An HRESULT is
// that of the call that failed before the first interface, or of GetConnection for the last one,
// never that of Connect or Disconnect. Kept: no command uses it.
#pragma once

#include <windows.h>

#include "mbn/mbnapi.h"
#include "win32/uniquehandle.h"

struct HomeProvider {
    Bstr id;
    Bstr name;
};

// Read a value of each interface. The value of the last interface that has one remains, also if it
// is an empty text or null. Without a value the result is OFF or null. The home provider is only
// read of an interface whose ready state is "initialized".
MBN_READY_STATE ReadReadyState();
HomeProvider ReadHomeProvider();
Bstr ReadSimIccId();
Bstr ReadSubscriberId();

// Starts to disconnect each interface with an active connection. Returns before it is disconnected.
HRESULT DisconnectAllConnections();

// Starts to connect each interface with the service's own profile, and does not wait. Leaves out an
// interface that is connected or connecting. Ends at an interface that is disconnecting, and does
// not look at the interfaces after it.
HRESULT ConnectWithProfile();
