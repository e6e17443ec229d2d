// The control device of the simulated notebook: a kernel driver for Wine that answers the three
// control codes on "\\.\TesselControl". Its state is in the registry, so that tests can set and
// check it.
//
// REG_DWORD values under "HKEY_LOCAL_MACHINE\SOFTWARE\Tessel Simulator\ControlDevice":
//   "Value"        the switch value; 0 if missing
//   "Support"      the answer to the support query; 1 if missing
//   "Fail"         not 0: every control code fails; 0 if missing
//   "OpenHandles"  the number of open handles, written by the driver
#include <ntddk.h>

#define STATE_KEY L"\\Registry\\Machine\\SOFTWARE\\Tessel Simulator\\ControlDevice"

#define CONTROL_CODE(function) CTL_CODE(0x5843, function, METHOD_BUFFERED, FILE_ANY_ACCESS)

enum {
    kQuerySupport = CONTROL_CODE(0x64),
    kReadValue = CONTROL_CODE(0x65),
    kWriteValue = CONTROL_CODE(0x66),
};

static UNICODE_STRING g_link_name = RTL_CONSTANT_STRING(L"\\DosDevices\\TesselControl");
static LONG g_open_handles;

static ULONG ReadState(PCWSTR name, ULONG missing) {
    ULONG value = missing;
    RTL_QUERY_REGISTRY_TABLE query[2] = {{0}};
    query[0].Flags = RTL_QUERY_REGISTRY_DIRECT;
    query[0].Name = (PWSTR)name;
    query[0].EntryContext = &value;
    query[0].DefaultType = REG_DWORD;
    query[0].DefaultData = &missing;
    query[0].DefaultLength = sizeof(missing);
    RtlQueryRegistryValues(RTL_REGISTRY_ABSOLUTE, STATE_KEY, query, NULL, NULL);
    return value;
}

static NTSTATUS WriteState(PCWSTR name, ULONG value) {
    return RtlWriteRegistryValue(RTL_REGISTRY_ABSOLUTE, STATE_KEY, name, REG_DWORD, &value,
                                 sizeof(value));
}

static NTSTATUS Complete(IRP* irp, NTSTATUS status, ULONG_PTR information) {
    irp->IoStatus.Status = status;
    irp->IoStatus.Information = information;
    IoCompleteRequest(irp, IO_NO_INCREMENT);
    return status;
}

static NTSTATUS NTAPI OpenDevice(DEVICE_OBJECT* device, IRP* irp) {
    (void)device;
    WriteState(L"OpenHandles", _InterlockedIncrement(&g_open_handles));
    return Complete(irp, STATUS_SUCCESS, 0);
}

static NTSTATUS NTAPI CloseDevice(DEVICE_OBJECT* device, IRP* irp) {
    (void)device;
    WriteState(L"OpenHandles", _InterlockedDecrement(&g_open_handles));
    return Complete(irp, STATUS_SUCCESS, 0);
}

static NTSTATUS NTAPI ControlDevice(DEVICE_OBJECT* device, IRP* irp) {
    (void)device;
    IO_STACK_LOCATION* call = IoGetCurrentIrpStackLocation(irp);
    ULONG code = call->Parameters.DeviceIoControl.IoControlCode;
    ULONG in_size = call->Parameters.DeviceIoControl.InputBufferLength;
    ULONG out_size = call->Parameters.DeviceIoControl.OutputBufferLength;
    ULONG* buffer = irp->AssociatedIrp.SystemBuffer;
    if (ReadState(L"Fail", 0) != 0) {
        return Complete(irp, STATUS_DEVICE_NOT_READY, 0);
    }
    switch (code) {
        case kQuerySupport:
        case kReadValue:
            if (out_size < sizeof(*buffer)) {
                return Complete(irp, STATUS_BUFFER_TOO_SMALL, 0);
            }
            *buffer = code == kReadValue ? ReadState(L"Value", 0) : ReadState(L"Support", 1);
            return Complete(irp, STATUS_SUCCESS, sizeof(*buffer));
        case kWriteValue:
            if (in_size < sizeof(*buffer)) {
                return Complete(irp, STATUS_INVALID_PARAMETER, 0);
            }
            return Complete(irp, WriteState(L"Value", *buffer), 0);
        default:
            return Complete(irp, STATUS_INVALID_DEVICE_REQUEST, 0);
    }
}

static VOID NTAPI Unload(DRIVER_OBJECT* driver) {
    IoDeleteSymbolicLink(&g_link_name);
    IoDeleteDevice(driver->DeviceObject);
}

NTSTATUS NTAPI DriverEntry(DRIVER_OBJECT* driver, UNICODE_STRING* registry_path) {
    (void)registry_path;
    UNICODE_STRING device_name = RTL_CONSTANT_STRING(L"\\Device\\TesselControl");
    DEVICE_OBJECT* device;
    NTSTATUS status =
        IoCreateDevice(driver, 0, &device_name, FILE_DEVICE_UNKNOWN, 0, FALSE, &device);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    status = IoCreateSymbolicLink(&g_link_name, &device_name);
    if (!NT_SUCCESS(status)) {
        IoDeleteDevice(device);
        return status;
    }
    driver->MajorFunction[IRP_MJ_CREATE] = OpenDevice;
    driver->MajorFunction[IRP_MJ_CLOSE] = CloseDevice;
    driver->MajorFunction[IRP_MJ_DEVICE_CONTROL] = ControlDevice;
    driver->DriverUnload = Unload;
    // Creates the key, and resets the number of handles.
    RtlCreateRegistryKey(RTL_REGISTRY_ABSOLUTE,
                         (PWSTR)L"\\Registry\\Machine\\SOFTWARE\\Tessel Simulator");
    RtlCreateRegistryKey(RTL_REGISTRY_ABSOLUTE, (PWSTR)STATE_KEY);
    WriteState(L"OpenHandles", 0);
    return STATUS_SUCCESS;
}
