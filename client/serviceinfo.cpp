#include "client/serviceinfo.h"

#include <iterator>

#include "interface/serviceidentity.h"

ServiceHandle OpenRegistration(DWORD access) {
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    return ServiceHandle(manager ? OpenServiceW(manager.get(), kServiceName, access) : nullptr);
}

std::vector<BYTE> QueryConfig(SC_HANDLE service, DWORD level) {
    // The service control manager never returns more.
    std::vector<BYTE> answer(8192);
    DWORD needed = 0;
    if (!QueryServiceConfig2W(service, level, answer.data(), static_cast<DWORD>(answer.size()),
                              &needed)) {
        answer.clear();
    }
    return answer;
}

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
