// The modem's connection profiles. Each operation calls the Mobile Broadband API in the
// multithreaded apartment. The first failure prints its message with ConsolePrint. The HRESULT is
// that of the failure, or of the last call that was made.
#pragma once

#include <windows.h>

#include "mbn/mbnprofiletext.h"

// Deletes every connection profile of every mobile broadband interface, also those that the service
// did not create. A profile that cannot be deleted is skipped.
HRESULT DeleteAllConnectionProfiles();

// The profile document, made of the fields in `text` and of the SIM's identity; a value that cannot
// be read is empty. Splits `text` in place: afterwards it ends after its first token. Prints "fail
// over" for each token past the last field.
ProfileDocument BuildProfileXml(wchar_t* text);

// Creates the profile that BuildProfileXml describes.
HRESULT CreateProfileFromRequest(wchar_t* text);
