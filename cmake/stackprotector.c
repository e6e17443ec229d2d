/* GCC's stack protector for x64. Its own library loads three more of Windows' DLLs at each start,
 * for its random number, and ends a damaged program without a crash report. */
#define _CRT_RAND_S
#include <stdint.h>
#include <stdlib.h>
#include <windows.h>

/* What functions put between their buffers and their return address. The name is the compiler's. */
uintptr_t __stack_chk_guard = 0xDEADBEEFDEADBEEF;

/* Before every other function of the program that has the guard on its stack. */
__attribute__((constructor(101))) static void Init(void) {
    unsigned int random[2];
    if (rand_s(&random[0]) == 0 && rand_s(&random[1]) == 0) {
        __stack_chk_guard = (uintptr_t)random[0] << 32 | random[1];
    }
}

/* Ends the program at once, with the crash report of a damaged stack (0xC0000409): __fastfail,
 * which these headers lack. */
__attribute__((noreturn)) void __stack_chk_fail(void) {
    __asm__ volatile("int $0x29" : : "c"(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE));
    __builtin_unreachable();
}
