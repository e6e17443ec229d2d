#include "client/rights/servicekeys.h"

#include <algorithm>

#include "settings/settingsvalues.h"
#include "usbpath/usbfnvalues.h"

std::vector<ServiceKey> ServiceKeys() {
    // By UsbfnAction.
    constexpr DWORD kTypes[] = {REG_NONE, REG_DWORD, REG_SZ, REG_MULTI_SZ, REG_BINARY};
    std::map<std::wstring, ServiceKey> found;
    for (const RegistryValue& value : kSettingsValues) {
        found[value.key].values.emplace(value.name, value.type);
    }
    for (const auto& sequence : {kCpSequence, kApSequence}) {
        for (const UsbfnStep& step : sequence) {
            ServiceKey& key = found[step.key_path];
            key.usb = true;
            if (step.action != UsbfnAction::kDelete) {
                key.values.emplace(step.value_name, kTypes[static_cast<std::size_t>(step.action)]);
            }
        }
    }
    std::vector<ServiceKey> keys;
    for (auto& [path, key] : found) {
        key.path = path;
        key.top = std::ranges::none_of(found, [&own = path](const auto& other) {
            return own.starts_with(other.first + L"\\");
        });
        keys.push_back(key);
    }
    return keys;
}
