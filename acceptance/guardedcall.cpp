#include "acceptance/exchange.h"

#if defined(__aarch64__)

DWORD CallGuarded(void (*function)(void*), void* argument) {
    DWORD code = 0;
    __try {
        function(argument);
    } __except (code = GetExceptionCode(), EXCEPTION_EXECUTE_HANDLER) {
    }
    return code;
}

#else

// This compiler has no __try. The function has the handler of Windows' own compilers and a scope
// table with one entry. The filter keeps the code of the exception in the frame, above the space
// for the call's arguments.
asm(R"(
    .text
    .globl CallGuarded
    .seh_proc CallGuarded
CallGuarded:
    subq $40, %rsp
    .seh_stackalloc 40
    .seh_endprologue
    movl $0, 32(%rsp)
    movq %rcx, %rax
    movq %rdx, %rcx
.Lguarded_begin:
    call *%rax
    nop
.Lguarded_end:
    movl 32(%rsp), %eax
    addq $40, %rsp
    ret
    .seh_handler __C_specific_handler, @except
    .seh_handlerdata
    .long 1
    .rva .Lguarded_begin, .Lguarded_end, .Lguarded_filter, .Lguarded_end
    .text
    .seh_endproc
.Lguarded_filter:
    movq (%rcx), %rax
    movl (%rax), %eax
    movl %eax, 32(%rdx)
    movl $1, %eax
    ret
)");

#endif
