// Registration of this program with the service control manager.
#pragma once

// Registers the running program as the service: own process, automatic start, kServiceAccount.
// Prints the outcome. Calls CreateServiceW.
void InstallService();

// Stops the service if it runs, waiting without limit while the stop is pending, and deletes it.
// Prints the outcome. Calls ControlService and DeleteService.
void RemoveService();
