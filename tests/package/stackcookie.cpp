// Prints the value that functions compare before they return. With an argument, overwrites it
// first.
#include <cstdint>
#include <cstdio>
#include <cwchar>

extern "C" const std::uintptr_t __stack_chk_guard;

static void Overwrite(std::size_t size) {
    char buffer[16];
    for (volatile char* byte = buffer; byte < buffer + size; ++byte) {
        *byte = 'x';
    }
}

int wmain(int argc, wchar_t** argv) {
    if (argc > 1) {
        Overwrite(std::wcstoul(argv[1], nullptr, 10));
    }
    std::printf("%016llx\n", static_cast<unsigned long long>(__stack_chk_guard));
}
