#include "client/rights/servicekeys.h"

#include <algorithm>

#include "settings/settingsvalues.h"
#include "usbpath/usbfnvalues.h"

std::vector<ServiceKey> ServiceKeys() {
    std::map<std::wstring, ServiceKey> found;
    for (const RegistryValue& value : kSettingsValues) {
        found[value.key].values.emplace(value.name, value.type);
    }
    for (const auto& sequence : {kCpSequence, kApSequence}) {
        for (const UsbfnStep& step : sequence) {
            ServiceKey& key = found[step.key_path];
            key.usb = true;
            if (step.type != REG_NONE) {
                key.values.emplace(step.value_name, step.type);
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
