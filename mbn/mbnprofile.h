// The modem's connection profiles. What fails first prints its message with ConsolePrint and gives
// the returned HRESULT; otherwise it is that of the last thing done. Calls the Mobile Broadband
// API, in the multithreaded apartment for the length of each operation.
#pragma once

#include <windows.h>

#include "mbn/mbnprofiletext.h"

// Deletes every connection profile of every mobile broadband interface, whoever made it. A profile
// that cannot be deleted is passed over.
HRESULT DeleteAllConnectionProfiles();

// The profile document made of the fields in the request's text and the SIM's identity, as far as
// it can be read. Splits `text` in place: it ends at its first token afterwards. Each token past
// the last field prints "fail over".
ProfileDocument BuildProfileXml(wchar_t* text);

// Creates the profile that BuildProfileXml describes.
HRESULT CreateProfileFromRequest(wchar_t* text);
