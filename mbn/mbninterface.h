// Questions to the modem, and the data connection. Each operation is complete in itself: it joins
// the multithreaded apartment, goes through all mobile broadband interfaces, gives everything back
// and leaves. The first thing that fails prints its message with ConsolePrint, and its HRESULT is
// returned; otherwise it is that of the last thing done. Stands on the Mobile Broadband API.
#pragma once

#include <cstdint>

#include <windows.h>

// What to read, and the storage that it is read into: an MBN_READY_STATE, an MBN_PROVIDER, a BSTR,
// a BSTR. The home provider is read only from an interface whose ready state is "initialized".
enum class MbnQuerySelector : uint32_t {
    kReadyState = 0,
    kHomeProvider = 1,
    kSimIccId = 2,
    kSubscriberId = 3,
};

// Reads the selected value of every interface into `out`, so that the last interface that gives one
// prevails. The caller presets `out` (strings to null) and it stays so if nothing could be read;
// strings that it holds afterwards are the caller's, those of earlier interfaces are freed here.
// Other selectors walk and read nothing.
HRESULT QueryMbnInterface(MbnQuerySelector selector, void* out);

// Asks every interface whose connection is active to disconnect, and does not wait for it.
HRESULT DisconnectAllConnections();

// Asks every interface that is neither connected nor connecting to connect with the service's own
// profile, and does not wait for it. An interface that is disconnecting ends the walk: the modem is
// about to change under it.
HRESULT ConnectWithProfile();
