// Registration of this program with the service control manager.
#pragma once

// Registers the running program as the service, with automatic start, under kServiceAccount. Prints
// the result. Calls CreateServiceW.
void InstallService();

// Stops the service if it runs and deletes it. Waits without limit while the stop is pending.
// Prints the result. Calls ControlService and DeleteService.
void RemoveService();
