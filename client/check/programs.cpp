#include "client/check/programs.h"

#include <iterator>
#include <vector>

#include "win32/uniquehandle.h"

std::wstring FileVersion(const std::wstring& path) {
    std::vector<BYTE> info(GetFileVersionInfoSizeW(path.c_str(), nullptr));
    void* found = nullptr;
    UINT size = 0;
    if (info.empty() ||
        !GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(info.size()), info.data()) ||
        !VerQueryValueW(info.data(), L"\\", &found, &size)) {
        return {};
    }
    const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(found);
    return std::to_wstring(HIWORD(fixed->dwFileVersionMS)) + L"." +
           std::to_wstring(LOWORD(fixed->dwFileVersionMS)) + L"." +
           std::to_wstring(HIWORD(fixed->dwFileVersionLS));
}

std::wstring OwnPath() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, std::size(path));
    return path;
}

std::wstring FolderOf(const std::wstring& path) {
    return path.substr(0, path.find_last_of(L'\\'));
}

std::optional<ProcessFacts> ReadProcess(DWORD process) {
    const Handle opened(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
    wchar_t image[MAX_PATH] = {};
    DWORD units = std::size(image);
    ProcessFacts facts = {};
    FILETIME ended;
    FILETIME kernel;
    FILETIME user;
    if (!opened || !QueryFullProcessImageNameW(opened.get(), 0, image, &units) ||
        !GetProcessTimes(opened.get(), &facts.started, &ended, &kernel, &user)) {
        return std::nullopt;
    }
    facts.image = image;
    return facts;
}
