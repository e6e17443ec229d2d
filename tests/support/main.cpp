// The entry of every test program.
#include <gtest/gtest.h>

#include <windows.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const int code = RUN_ALL_TESTS();
    // GoogleTest starts a thread to watch the others. A program that ends before the thread has
    // begun crashes in ARM64 Wine now and then.
    constexpr DWORD kThreadBeginsMilliseconds = 200;
    Sleep(kThreadBeginsMilliseconds);
    return code;
}
