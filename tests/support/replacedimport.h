// Replaces a Windows function in one test program. The program defines the import pointer itself,
// so the linker does not take that of the import library, and every call goes to the replacement.
#pragma once

// At namespace scope: REPLACE_IMPORT(CreateEventW, FailingCreateEvent);
#define REPLACE_IMPORT(function, replacement)                                                     \
    extern "C" {                                                                                  \
    extern void* const __imp_##function;                                                          \
    __attribute__((used)) void* const __imp_##function = reinterpret_cast<void*>(&(replacement)); \
    }                                                                                             \
    static_assert(true)
