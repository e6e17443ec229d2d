// The entry point of every test program.
#include <gtest/gtest.h>

#include <windows.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const int code = RUN_ALL_TESTS();
    // GoogleTest starts a thread. If the program ends before that thread runs, it sometimes crashes
    // in Wine for ARM64.
    Sleep(200);
    return code;
}
