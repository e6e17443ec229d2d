// The name, account and tracing provider of the service.
#pragma once

#include <windows.h>

// The service name and display name.
inline constexpr wchar_t kServiceName[] = L"Tessel Service";

inline constexpr wchar_t kServiceAccount[] = L"NT AUTHORITY\\LocalService";

// {BE2E880E-F79F-4C30-9C95-09F003A0A7EA}
inline constexpr GUID kTracingProvider = {0xBE2E880E,
                                          0xF79F,
                                          0x4C30,
                                          {0x9C, 0x95, 0x09, 0xF0, 0x03, 0xA0, 0xA7, 0xEA}};
