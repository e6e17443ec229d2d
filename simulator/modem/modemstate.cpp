#include "simulator/modem/modemstate.h"

#include <algorithm>
#include <cwchar>
#include <mutex>
#include <string_view>

#include "win32/uniquehandle.h"

namespace {

// Values of ActivationState.
constexpr DWORD kActivated = 1;
constexpr DWORD kDeactivated = 3;

constexpr HRESULT kInvalidProfile = static_cast<HRESULT>(0x80548218);

std::mutex g_changeMutex;

std::wstring KeyPath(const std::wstring& place) {
    const std::wstring path = L"SOFTWARE\\Tessel Simulator\\Modem";
    return place.empty() ? path : path + L"\\" + place;
}

bool Exists(const std::wstring& place) {
    RegistryKey key;
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, KeyPath(place).c_str(), 0, KEY_READ, key.put()) ==
           ERROR_SUCCESS;
}

void WriteText(const std::wstring& place, const wchar_t* name, const std::wstring& text) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, KeyPath(place).c_str(), name, REG_SZ, text.c_str(),
                    static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

bool HasProfile(const std::wstring& mbn_interface, const std::wstring& name) {
    const std::vector<std::wstring> profiles = Profiles(mbn_interface);
    return std::any_of(profiles.begin(), profiles.end(), [&](const std::wstring& profile) {
        return ReadText(profile, L"Name") == name;
    });
}

std::wstring UnusedProfile(const std::wstring& mbn_interface) {
    for (int number = 0;; ++number) {
        std::wstring place = mbn_interface + L"\\Profiles\\" + std::to_wstring(number);
        if (!Exists(place)) {
            return place;
        }
    }
}

std::optional<std::wstring> NameIn(std::wstring_view document) {
    constexpr std::wstring_view kOpening = L"<Name>";
    size_t begin = document.find(kOpening);
    if (begin == std::wstring_view::npos) {
        return std::nullopt;
    }
    begin += kOpening.size();
    const size_t end = document.find(L"</Name>", begin);
    if (end == std::wstring_view::npos) {
        return std::nullopt;
    }
    return std::wstring(document.substr(begin, end - begin));
}

}  // namespace

std::vector<std::wstring> Interfaces() {
    std::vector<std::wstring> places;
    for (std::wstring place = L"0"; Exists(place); place = std::to_wstring(places.size())) {
        places.push_back(place);
    }
    return places;
}

std::vector<std::wstring> Profiles(const std::wstring& mbn_interface) {
    const std::wstring parent = mbn_interface + L"\\Profiles";
    std::vector<std::wstring> places;
    RegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, KeyPath(parent).c_str(), 0, KEY_READ, key.put()) !=
        ERROR_SUCCESS) {
        return places;
    }
    wchar_t name[256];
    for (DWORD index = 0;; ++index) {
        DWORD length = 256;
        if (RegEnumKeyExW(key.get(), index, name, &length, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            return places;
        }
        places.push_back(parent + L"\\" + name);
    }
}

std::optional<DWORD> ReadNumber(const std::wstring& place, const wchar_t* name) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, KeyPath(place).c_str(), name, RRF_RT_REG_DWORD, nullptr,
                     &value, &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::wstring> ReadText(const std::wstring& place, const wchar_t* name) {
    std::wstring text(255, L'\0');
    for (;;) {
        DWORD size = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
        const LSTATUS status = RegGetValueW(HKEY_LOCAL_MACHINE, KeyPath(place).c_str(), name,
                                            RRF_RT_REG_SZ, nullptr, text.data(), &size);
        if (status == ERROR_SUCCESS) {
            text.resize(wcslen(text.c_str()));
            return text;
        }
        if (status != ERROR_MORE_DATA) {
            return std::nullopt;
        }
        text.resize(text.size() * 2);
    }
}

void WriteNumber(const std::wstring& place, const wchar_t* name, DWORD value) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, KeyPath(place).c_str(), name, REG_DWORD, &value,
                    sizeof(value));
}

DWORD InheritedNumber(std::wstring place, const wchar_t* name) {
    for (;;) {
        const std::optional<DWORD> value = ReadNumber(place, name);
        if (value || place.empty()) {
            return value.value_or(0);
        }
        const size_t separator = place.rfind(L'\\');
        place.resize(separator == std::wstring::npos ? 0 : separator);
    }
}

HRESULT ConnectInterface(const std::wstring& mbn_interface, const wchar_t* profile_name) {
    const std::lock_guard lock(g_changeMutex);
    if (!HasProfile(mbn_interface, profile_name)) {
        return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
    }
    WriteText(mbn_interface, L"ActiveProfile", profile_name);
    WriteNumber(mbn_interface, L"ActivationState", kActivated);
    return S_OK;
}

HRESULT DisconnectInterface(const std::wstring& mbn_interface) {
    const std::lock_guard lock(g_changeMutex);
    WriteNumber(mbn_interface, L"ActivationState", kDeactivated);
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, KeyPath(mbn_interface).c_str(), L"ActiveProfile");
    return S_OK;
}

HRESULT CreateProfile(const wchar_t* document) {
    const std::optional<std::wstring> name = NameIn(document);
    if (!name) {
        return kInvalidProfile;
    }
    const std::lock_guard lock(g_changeMutex);
    const std::vector<std::wstring> interfaces = Interfaces();
    for (const std::wstring& mbn_interface : interfaces) {
        if (HasProfile(mbn_interface, *name)) {
            return HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);
        }
    }
    for (const std::wstring& mbn_interface : interfaces) {
        const std::wstring profile = UnusedProfile(mbn_interface);
        WriteText(profile, L"Name", *name);
        WriteText(profile, L"Document", document);
    }
    return S_OK;
}

HRESULT DeleteProfile(const std::wstring& profile) {
    const std::lock_guard lock(g_changeMutex);
    const LSTATUS status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, KeyPath(profile).c_str());
    return status == ERROR_FILE_NOT_FOUND ? HRESULT_FROM_WIN32(ERROR_NOT_FOUND)
                                          : HRESULT_FROM_WIN32(status);
}
