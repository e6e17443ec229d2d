// Registration of this program with the service control manager.
#pragma once

// The account that the service runs as.
inline constexpr wchar_t kServiceAccount[] = L"NT AUTHORITY\\LocalService";

// Registers the running program as the service: own process, automatic start, account
// "NT AUTHORITY\LocalService". Prints the outcome. Calls CreateServiceW.
void InstallService();

// Stops the service if it runs, waiting without limit while the stop is pending, and deletes it.
// Prints the outcome. Calls ControlService and DeleteService.
void RemoveService();
