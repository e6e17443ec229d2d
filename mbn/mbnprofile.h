// Starts to delete, and creates, the modem's connection profiles. Each operation calls the Mobile
// Broadband API in the multithreaded apartment. The functions return the HRESULT of the last call.
// They print a message with ConsolePrint for a failure that is not skipped.
#pragma once

#include <windows.h>

#include "mbn/mbnprofiletext.h"

// Starts to delete each connection profile that Windows lists for a mobile broadband interface,
// also profiles that the service did not create. Windows lists those of the present subscriber, and
// fails if the interface is not ready. Skips a profile that cannot be deleted. Ends at an interface
// whose profiles cannot be listed.
HRESULT DeleteAllConnectionProfiles();

// Builds the profile document from the fields in `text` and the identity of the SIM. A value that
// cannot be read is empty. Splits `text` in place: it then ends after its first token. Prints "fail
// over" for each token after the last field.
ProfileDocument BuildProfileXml(wchar_t* text);

// Creates the profile that BuildProfileXml describes.
HRESULT CreateProfileFromRequest(wchar_t* text);
