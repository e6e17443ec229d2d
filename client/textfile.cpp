#include "client/textfile.h"

#include <windows.h>

#include <cstring>

#include "win32/uniquehandle.h"

std::optional<std::string> ReadBytes(const std::wstring& path) {
    FileHandle file;
    if (path != L"-") {
        file.reset(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                               0, nullptr));
        if (!file) {
            return std::nullopt;
        }
    }
    HANDLE input = file ? file.get() : GetStdHandle(STD_INPUT_HANDLE);
    std::string bytes;
    char piece[4096];
    DWORD read = 0;
    // At the end of a pipe ReadFile fails with ERROR_BROKEN_PIPE.
    while (ReadFile(input, piece, sizeof(piece), &read, nullptr) && read > 0) {
        bytes.append(piece, read);
    }
    return bytes;
}

std::optional<std::wstring> ReadTextFile(const std::wstring& path) {
    std::string bytes = ReadBytes(path).value_or("\xFF");
    std::wstring text;
    if (bytes.starts_with("\xFF\xFE")) {
        text.resize((bytes.size() - 2) / sizeof(wchar_t));
        std::memcpy(text.data(), bytes.data() + 2, text.size() * sizeof(wchar_t));
    } else {
        bytes.erase(0, bytes.starts_with("\xEF\xBB\xBF") ? 3 : 0);
        const int size = static_cast<int>(bytes.size());
        text.resize(static_cast<std::size_t>(
            MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), size, nullptr, 0)));
        if (text.empty() && size > 0) {
            return std::nullopt;
        }
        MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, text.data(),
                            static_cast<int>(text.size()));
    }
    for (const wchar_t end : {L'\n', L'\r'}) {
        if (text.ends_with(end)) {
            text.pop_back();
        }
    }
    return text;
}
