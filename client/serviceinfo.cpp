#include "client/serviceinfo.h"

#include <algorithm>
#include <iterator>

#include "client/rights/servicesid.h"
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

std::wstring SystemText() {
    constexpr wchar_t kKey[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
    std::wstring text;
    for (const wchar_t* name : {L"ProductName", L"DisplayVersion", L"CurrentBuild"}) {
        wchar_t value[128] = {};
        DWORD size = sizeof(value);
        RegGetValueW(HKEY_LOCAL_MACHINE, kKey, name, RRF_RT_REG_SZ, nullptr, value, &size);
        text += value + std::wstring(*value == L'\0' ? L"" : L" ");
    }
    DWORD revision = 0;
    DWORD size = sizeof(revision);
    RegGetValueW(HKEY_LOCAL_MACHINE, kKey, L"UBR", RRF_RT_REG_DWORD, nullptr, &revision, &size);
    return text + L"revision " + std::to_wstring(revision);
}

std::optional<bool> ProcessHasSid(DWORD process, const std::wstring& sid) {
    const Handle opened(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
    Handle token;
    DWORD size = 0;
    if (!opened || !OpenProcessToken(opened.get(), TOKEN_QUERY, token.put())) {
        return std::nullopt;
    }
    GetTokenInformation(token.get(), TokenGroups, nullptr, 0, &size);
    std::vector<BYTE> buffer(size);
    if (!GetTokenInformation(token.get(), TokenGroups, buffer.data(), size, &size)) {
        return std::nullopt;
    }
    const auto* groups = reinterpret_cast<const TOKEN_GROUPS*>(buffer.data());
    return std::any_of(groups->Groups, groups->Groups + groups->GroupCount,
                       [&](const SID_AND_ATTRIBUTES& group) { return SidText(group.Sid) == sid; });
}

bool IsElevated() {
    Handle token;
    TOKEN_ELEVATION elevation = {};
    DWORD size = 0;
    return OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.put()) &&
           GetTokenInformation(token.get(), TokenElevation, &elevation, sizeof(elevation), &size) &&
           elevation.TokenIsElevated != 0;
}
