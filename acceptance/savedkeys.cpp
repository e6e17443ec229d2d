#include "acceptance/savedkeys.h"

#include <algorithm>

#include "client/rights/servicekeys.h"
#include "win32/uniquehandle.h"

namespace {

// The longest name of a value, with its terminator.
constexpr DWORD kNameUnits = 16384;

bool Exists(const std::wstring& key) {
    RegistryKey opened;
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, opened.put()) !=
           ERROR_FILE_NOT_FOUND;
}

}  // namespace

SavedKeys::SavedKeys() {
    for (const ServiceKey& key : ServiceKeys()) {
        m_keys[key.path] = Read(key.path);
        // The longest part that exists ends before `end`.
        std::size_t end = 0;
        std::wstring part;
        do {
            end = key.path.find(L'\\', end + 1);
            part = key.path.substr(0, end);
        } while (end != std::wstring::npos && Exists(part));
        if (!Exists(part)) {
            m_missing.push_back(part);
        }
    }
}

DWORD SavedKeys::Restore() const {
    LSTATUS first = ERROR_SUCCESS;
    const auto note = [&](LSTATUS error) { first = first == ERROR_SUCCESS ? error : first; };
    for (const std::wstring& key : m_missing) {
        if (Exists(key)) {
            note(RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str()));
        }
    }
    for (const auto& [key, values] : m_keys) {
        const Values present = Read(key);
        for (const auto& [name, value] : present) {
            if (!values.contains(name)) {
                note(RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name.c_str()));
            }
        }
        for (const auto& [name, value] : values) {
            const auto found = present.find(name);
            if (found == present.end() || found->second != value) {
                note(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name.c_str(), value.first,
                                     value.second.data(), static_cast<DWORD>(value.second.size())));
            }
        }
    }
    return static_cast<DWORD>(first);
}

SavedKeys::Values SavedKeys::Read(const std::wstring& key) {
    Values values;
    RegistryKey opened;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, opened.put());
    std::vector<wchar_t> name(kNameUnits);
    std::vector<BYTE> data(65536);
    for (DWORD i = 0;; ++i) {
        DWORD units = kNameUnits;
        DWORD type = REG_NONE;
        auto size = static_cast<DWORD>(data.size());
        if (RegEnumValueW(opened.get(), i, name.data(), &units, nullptr, &type, data.data(),
                          &size) != ERROR_SUCCESS) {
            return values;
        }
        values[name.data()] = {type, {data.begin(), data.begin() + size}};
    }
}
