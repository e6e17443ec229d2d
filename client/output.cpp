#include "client/output.h"

#include <windows.h>

#include <algorithm>
#include <string>

namespace {

SRWLOCK g_lock = SRWLOCK_INIT;
HANDLE g_kept = nullptr;
bool g_onlyKept = false;

// Old consoles copy the text through a shared buffer of 64 KB, and a longer text fails.
constexpr std::size_t kConsolePieceUnits = 8192;

void WriteToConsole(HANDLE console, std::wstring_view text) {
    while (!text.empty()) {
        std::size_t piece = std::min(text.size(), kConsolePieceUnits);
        // Keeps a surrogate pair together.
        if (piece < text.size() && IS_HIGH_SURROGATE(text[piece - 1])) {
            --piece;
        }
        DWORD written = 0;
        if (!WriteConsoleW(console, text.data(), static_cast<DWORD>(piece), &written, nullptr) ||
            written == 0) {
            return;
        }
        text.remove_prefix(written);
    }
}

void WriteLine(HANDLE output, std::wstring_view line) {
    const std::wstring text = std::wstring(line) + L"\n";
    DWORD mode = 0;
    AcquireSRWLockExclusive(&g_lock);
    if (GetConsoleMode(output, &mode)) {
        WriteToConsole(output, text);
    } else {
        const int units = static_cast<int>(text.size());
        std::string bytes(static_cast<std::size_t>(WideCharToMultiByte(
                              CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr)),
                          '\0');
        WideCharToMultiByte(CP_UTF8, 0, text.data(), units, bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr);
        DWORD written = 0;
        WriteFile(output, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    }
    ReleaseSRWLockExclusive(&g_lock);
}

}  // namespace

void KeepLinesIn(HANDLE file, bool only_there) {
    g_kept = file;
    g_onlyKept = only_there;
}

void PrintLine(std::wstring_view line) {
    if (!g_onlyKept) {
        WriteLine(GetStdHandle(STD_OUTPUT_HANDLE), line);
    }
    if (g_kept != nullptr) {
        WriteLine(g_kept, line);
    }
}

void PrintErrorLine(std::wstring_view line) {
    WriteLine(GetStdHandle(STD_ERROR_HANDLE), line);
}
