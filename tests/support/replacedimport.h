// Replaces a Windows function in one test program, with the linker: the program defines the import
// pointer itself, so the import library's is never taken and every call of the product, and only in
// this program, goes to the replacement.
#pragma once

// At namespace scope: REPLACE_IMPORT(CreateEventW, FailingCreateEvent);
#define REPLACE_IMPORT(function, replacement)                                                   \
    extern "C" {                                                                                \
    extern void* const __imp_##function;                                                        \
    __attribute__((used)) void* const __imp_##function = reinterpret_cast<void*>(&replacement); \
    }                                                                                           \
    static_assert(true)
