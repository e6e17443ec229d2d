#include "client/output.h"

#include <windows.h>

#include <string>

namespace {

SRWLOCK g_lock = SRWLOCK_INIT;

void WriteAll(HANDLE output, std::wstring_view text) {
    DWORD mode = 0;
    DWORD written = 0;
    AcquireSRWLockExclusive(&g_lock);
    if (GetConsoleMode(output, &mode)) {
        WriteConsoleW(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    } else {
        const int units = static_cast<int>(text.size());
        std::string bytes(static_cast<std::size_t>(WideCharToMultiByte(
                              CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr)),
                          '\0');
        WideCharToMultiByte(CP_UTF8, 0, text.data(), units, bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr);
        WriteFile(output, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    }
    ReleaseSRWLockExclusive(&g_lock);
}

void WriteLine(DWORD stream, std::wstring_view line) {
    WriteAll(GetStdHandle(stream), std::wstring(line) + L"\n");
}

}  // namespace

void PrintLine(std::wstring_view line) {
    WriteLine(STD_OUTPUT_HANDLE, line);
}

void PrintErrorLine(std::wstring_view line) {
    WriteLine(STD_ERROR_HANDLE, line);
}
