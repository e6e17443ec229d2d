// Registers and removes the service.
#pragma once

// Registers this program as the service, with automatic start and kServiceAccount. Prints the
// result. Calls CreateServiceW.
void InstallService();

// Stops the service and deletes it. Waits without limit while the stop is pending. Prints the
// result. Calls ControlService and DeleteService.
void RemoveService();
