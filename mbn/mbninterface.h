// Questions to the modem, and the data connection. Each operation is complete in itself: it joins
// the multithreaded apartment, goes through all mobile broadband interfaces, gives everything back
// and leaves. Calls the Mobile Broadband API.
//
// The first thing that fails prints its message with ConsolePrint. An HRESULT that is returned is
// that of the failure, otherwise of the last thing done. Kept: no command reads it, an answer shows
// a failure only by a value that was not read.
#pragma once

#include <cstdint>

#include <windows.h>

#include "mbn/mbnapi.h"
#include "win32/uniquehandle.h"

// The texts of a SIM's home provider, null where there is none.
struct HomeProvider {
    Bstr id;
    Bstr name;
};

// Each asks every interface for its value. That of the last one which could be asked remains, also
// when it is a null text; if none could, it is OFF or null. The home provider is asked for only
// where the ready state is "initialized".
MBN_READY_STATE ReadReadyState();
HomeProvider ReadHomeProvider();
Bstr ReadSimIccId();
Bstr ReadSubscriberId();

// What to read, and the storage that it is read into: an MBN_READY_STATE, an MBN_PROVIDER, a BSTR,
// a BSTR.
enum class MbnQuerySelector : uint32_t {
    kReadyState = 0,
    kHomeProvider = 1,
    kSimIccId = 2,
    kSubscriberId = 3,
};

// Kept: called by no command. The same by selector, into storage that the caller presets (strings
// to null) and that stays so if nothing could be read. Strings that it holds afterwards are the
// caller's to free. Other selectors walk and read nothing.
HRESULT QueryMbnInterface(MbnQuerySelector selector, void* out);

// Asks every interface whose connection is active to disconnect, and does not wait for it.
HRESULT DisconnectAllConnections();

// Asks every interface that is neither connected nor connecting to connect with the service's own
// profile, and does not wait for it. An interface that is disconnecting ends the walk: the modem is
// about to change under it.
HRESULT ConnectWithProfile();
