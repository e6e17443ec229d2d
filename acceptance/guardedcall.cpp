#include "acceptance/exchange.h"

DWORD CallGuarded(void (*function)(void*), void* argument) {
    DWORD code = 0;
    __try {
        function(argument);
    } __except (code = GetExceptionCode(), EXCEPTION_EXECUTE_HANDLER) {
    }
    return code;
}
