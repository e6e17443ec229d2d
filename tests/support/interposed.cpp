#include "tests/support/interposed.h"

#include <cstring>
#include <initializer_list>

Watch g_watch;

bool CountedCallFails(const char* function) {
    return g_watch.on && std::strcmp(function, g_watch.fault.function) == 0 &&
           ++g_watch.calls == g_watch.fault.call;
}

void* WindowsFunction(const char* name) {
    for (const wchar_t* library :
         {L"kernel32", L"advapi32", L"ole32", L"oleaut32", L"rpcrt4", L"msvcrt", L"ucrtbase"}) {
        if (const FARPROC function = GetProcAddress(LoadLibraryW(library), name)) {
            return reinterpret_cast<void*>(function);
        }
    }
    return nullptr;
}
