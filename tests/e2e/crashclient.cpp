// A client that dies at the worst moment: crashclient answer|context, in the middle of a request
// whose answer it is taking, or with a context open. Ends with exit code 7.
#include <windows.h>
#include <rpc.h>

#include <cwchar>

#include "rpc/stub/tesselservice.h"

void ReportResult(wchar_t* /*command*/, boolean /*flag*/, long /*number*/, wchar_t* /*text*/) {
    TerminateProcess(GetCurrentProcess(), 7);
}

int wmain(int argc, wchar_t** argv) {
    wchar_t address[] = L"ncalrpc:[TesselRpcEndpoint]";
    RPC_BINDING_HANDLE binding = nullptr;
    REQUEST_CONTEXT_HANDLE context = nullptr;
    RpcBindingFromStringBindingW(reinterpret_cast<RPC_WSTR>(address), &binding);
    RemoteOpen(binding, &context);
    if (argc > 1 && std::wcscmp(argv[1], L"answer") == 0) {
        wchar_t text[] = L"dying";
        RemoteRequest(context, L"REGISTRYHELPER_ISVZWQ", 1, 7, text);
        return 1;
    }
    TerminateProcess(GetCurrentProcess(), 7);
    return 1;
}
