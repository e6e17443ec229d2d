// The registry values that requests change, as they were.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

// Reads all values of the service's keys. Only an administrator may write them back.
class SavedKeys {
 public:
    SavedKeys();
    // Writes back what differs: stores values with their types, deletes values and keys that did
    // not exist. Returns the first Win32 error, 0 for none. Calls RegSetKeyValueW,
    // RegDeleteKeyValueW and RegDeleteTreeW.
    [[nodiscard]] DWORD Restore() const;

 private:
    // By name: the type and the bytes.
    using Values = std::map<std::wstring, std::pair<DWORD, std::vector<BYTE>>>;
    static Values Read(const std::wstring& key);

    std::map<std::wstring, Values> m_keys;
    // The keys that did not exist, without their subkeys.
    std::vector<std::wstring> m_missing;
};
