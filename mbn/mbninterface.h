// Queries of the modem, and its data connection. Each operation joins the multithreaded apartment,
// calls the Mobile Broadband API for every interface in turn, releases everything and leaves.
//
// The first failure prints its message with ConsolePrint. The HRESULT is that of the failure, or of
// the last call that was made. Kept: no command reads it; an answer shows a failure only by a value
// that was not read.
#pragma once

#include <windows.h>

#include <cstdint>

#include "mbn/mbnapi.h"
#include "win32/uniquehandle.h"

// The value to read, and its type.
enum class MbnQuerySelector : uint32_t {
    kReadyState = 0,    // MBN_READY_STATE
    kHomeProvider = 1,  // MBN_PROVIDER, only of an interface whose ready state is "initialized"
    kSimIccId = 2,      // BSTR
    kSubscriberId = 3,  // BSTR
};

// Reads the value from every interface into `out`, which the caller presets (strings to null). The
// value of the last interface that could be asked remains, also a null or an empty text. The caller
// frees the strings. With another selector nothing is read.
HRESULT QueryMbnInterface(MbnQuerySelector selector, void* out);

// QueryMbnInterface with storage of the right type, preset to OFF and to null texts. ReadText is
// for kSimIccId and kSubscriberId.
struct HomeProvider {
    Bstr id;
    Bstr name;
};
MBN_READY_STATE ReadReadyState();
HomeProvider ReadHomeProvider();
Bstr ReadText(MbnQuerySelector selector);

// Asks every interface whose connection is active to disconnect, and does not wait for it.
HRESULT DisconnectAllConnections();

// Asks every interface that is neither connected nor connecting to connect with the service's own
// profile, and does not wait for it. An interface that is disconnecting ends the loop: later ones
// are not connected.
HRESULT ConnectWithProfile();
