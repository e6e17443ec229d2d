/* The wide entry point for a C runtime that starts only main: calls wmain with the arguments as
 * wide texts. */
#include <stdlib.h>
#include <wchar.h>

int wmain(int argc, wchar_t** argv);
int __wgetmainargs(int* argc,
                   wchar_t*** argv,
                   wchar_t*** environment,
                   int wildcards,
                   int* new_mode);

int main(void) {
    int argc = 0;
    wchar_t** argv = NULL;
    wchar_t** environment = NULL;
    int new_mode = 0;
    if (__wgetmainargs(&argc, &argv, &environment, 0, &new_mode) < 0) {
        return 255;
    }
    return wmain(argc, argv);
}
