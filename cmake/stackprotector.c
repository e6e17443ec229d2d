/* The stack protector of GCC for x64. GCC's own library loads three more DLLs of Windows at each
 * start, for its random number, and ends a damaged program without a crash report. */
#define _CRT_RAND_S
#include <stdint.h>
#include <stdlib.h>
#include <windows.h>

/* Functions put this value between their buffers and their return address. The compiler gives the
 * name. */
uintptr_t __stack_chk_guard = 0xDEADBEEFDEADBEEF;

/* Runs before every other function of the program that uses the guard. */
__attribute__((constructor(101))) static void Init(void) {
    unsigned int random[2];
    if (rand_s(&random[0]) == 0 && rand_s(&random[1]) == 0) {
        __stack_chk_guard = (uintptr_t)random[0] << 32 | random[1];
    }
}

/* Ends the program with the crash report of a damaged stack (0xC0000409), as __fastfail does, which
 * these headers lack. */
__attribute__((noreturn)) void __stack_chk_fail(void) {
    __asm__ volatile("int $0x29" : : "c"(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE));
    __builtin_unreachable();
}
