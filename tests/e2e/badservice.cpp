// A service that does something wrong for each item of the acceptance program, so that every item
// is seen to find a fault. The linker puts these functions before those of the service, which they
// call. Compiled without C++ exceptions, as all functions that are on the stack during an answer.
#include <windows.h>
#include <evntprov.h>

#include <cstddef>
#include <cstring>
#include <cwchar>

#include "connection/guardedcall.h"
#include "interface/tesselservice.h"
#include "server/requestcontext.h"
#include "tests/support/interposed.h"

extern "C" {
void __real_RemoteOpen(handle_t binding, REQUEST_CONTEXT_HANDLE* context);
void __real_RemoteRequest(REQUEST_CONTEXT_HANDLE context,
                          const wchar_t* command,
                          boolean flag,
                          long number,
                          wchar_t* text);
void __real_RemoteClose(REQUEST_CONTEXT_HANDLE* context);
}

namespace {

void Leak() {
    constexpr std::size_t kSize = 16384;
    std::memset(HeapAlloc(GetProcessHeap(), 0, kSize), 1, kSize);
}

// Whether there was a request on the context.
std::byte* UseOf(REQUEST_CONTEXT_HANDLE context) {
    return static_cast<RequestContext*>(context)->slots[0].get();
}

bool Is(const wchar_t* command, const wchar_t* name) {
    return std::wcscmp(command, name) == 0;
}

ULONG WINAPI TraceNothing(REGHANDLE /*provider*/,
                          UCHAR /*level*/,
                          ULONGLONG /*keyword*/,
                          PCWSTR /*text*/) {
    return ERROR_SUCCESS;
}

// Every stop looks like a failure.
BOOL WINAPI ReportWrongly(SERVICE_STATUS_HANDLE handle, LPSERVICE_STATUS status) {
    SERVICE_STATUS wrong = *status;
    wrong.dwWin32ExitCode = wrong.dwCurrentState == SERVICE_STOPPED ? ERROR_INVALID_FUNCTION : 0;
    return CallWindows<decltype(SetServiceStatus)>("SetServiceStatus", handle, &wrong);
}

LSTATUS WINAPI StoreNothing(HKEY /*key*/,
                            LPCWSTR /*name*/,
                            DWORD /*reserved*/,
                            DWORD /*type*/,
                            const BYTE* /*data*/,
                            DWORD /*size*/) {
    return ERROR_SUCCESS;
}

}  // namespace

REPLACE_IMPORT(EventWriteString, TraceNothing);
REPLACE_IMPORT(SetServiceStatus, ReportWrongly);
REPLACE_IMPORT(RegSetValueExW, StoreNothing);

extern "C" void __wrap_RemoteOpen(handle_t binding, REQUEST_CONTEXT_HANDLE* context) {
    Leak();
    __real_RemoteOpen(binding, context);
    *UseOf(*context) = std::byte{0};
}

// Of the contexts without a request, keeps the first one open and refuses to close the others, with
// a status of the runtime: after others, Wine breaks the connection.
extern "C" void __wrap_RemoteClose(REQUEST_CONTEXT_HANDLE* context) {
    static volatile LONG closes = 0;
    const LONG number = *UseOf(*context) == std::byte{0} ? InterlockedIncrement(&closes) : 0;
    if (number > 1) {
        RpcRaiseException(RPC_X_SS_CONTEXT_MISMATCH);
    }
    if (number == 0) {
        __real_RemoteClose(context);
    }
}

extern "C" void __wrap_RemoteRequest(REQUEST_CONTEXT_HANDLE context,
                                     const wchar_t* command,
                                     boolean flag,
                                     long number,
                                     wchar_t* text) {
    static volatile LONG files = 0;
    static volatile LONG checks = 0;
    Leak();
    *UseOf(context) = std::byte{1};
    if (std::wcsspn(command, L"ABCDEFGHIJKLMNOPQRSTUVWXYZ_") != std::wcslen(command)) {
        RpcRaiseException(ERROR_NOACCESS);
    }
    const bool is_lost =
        Is(command, L"MBNHELPER_CHECKINTERFACE") && InterlockedIncrement(&checks) % 2 != 0;
    if (is_lost || Is(command, L"BLEHELPER_SETBLE")) {
        return;
    }
    const std::size_t units = std::wcslen(text);
    // Wrong for one echo of each item, not for those that only ask whether the service answers.
    const bool wrong = number == 5 || units == 249 || units == 1000000 ||
                       (number == 7 && std::wcscmp(text, L"#0#") == 0);
    flag = wrong ? flag == 0 : flag;
    if (Is(command, L"COMMONHELPER_ISFILE_EXISTS") && InterlockedIncrement(&files) % 2 != 0) {
        text[0] = L'?';
    }
    // A client whose callback has failed is told of success.
    StatusOf([&] { __real_RemoteRequest(context, command, flag, number, text); });
}
