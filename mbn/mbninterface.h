// Reads values of the modem, and controls its data connection. Each operation joins the
// multithreaded apartment, calls the Mobile Broadband API for each interface, releases everything
// and leaves the apartment.
//
// If the list of interfaces cannot be read, a message is printed with ConsolePrint. The functions
// return the HRESULT of the last call for the last interface; DisconnectAllConnections and
// ConnectWithProfile that of GetConnection. Kept: no command uses it.
#pragma once

#include <windows.h>

#include <cstdint>

#include "mbn/mbnapi.h"
#include "win32/uniquehandle.h"

// The value to read; the comment names its type.
enum class MbnQuerySelector : uint32_t {
    kReadyState = 0,    // MBN_READY_STATE
    kHomeProvider = 1,  // MBN_PROVIDER, only of an interface whose ready state is "initialized"
    kSimIccId = 2,      // BSTR
    kSubscriberId = 3,  // BSTR
};

// Reads the value of each interface into `out`. The value of the last interface that has one
// remains, also if it is a null or an empty text. The caller initialises `out` (strings to null)
// and frees the strings. With any other selector nothing is read.
HRESULT QueryMbnInterface(MbnQuerySelector selector, void* out);

struct HomeProvider {
    Bstr id;
    Bstr name;
};

// Return the result of QueryMbnInterface. Without a value it is OFF, or a null text. ReadText is
// for kSimIccId and kSubscriberId.
MBN_READY_STATE ReadReadyState();
HomeProvider ReadHomeProvider();
Bstr ReadText(MbnQuerySelector selector);

// Starts to disconnect each interface with an active connection. Returns before it is disconnected.
HRESULT DisconnectAllConnections();

// Starts to connect each interface that is neither connected nor connecting with the service's own
// profile. Returns before it is connected. Ends at an interface that is disconnecting: later ones
// are not connected.
HRESULT ConnectWithProfile();
