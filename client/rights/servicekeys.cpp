#include "client/rights/servicekeys.h"

#include <algorithm>

#include "settings/settingsvalues.h"
#include "usbpath/usbfnvalues.h"

namespace {

ServiceKey& KeyOf(std::vector<ServiceKey>& keys, const wchar_t* path) {
    const auto place = std::ranges::find(keys, path, &ServiceKey::path);
    return place != keys.end() ? *place : keys.emplace_back(ServiceKey{path});
}

void AddValue(std::vector<ServiceKey>& keys, const wchar_t* path, const KeyValue& value) {
    ServiceKey& key = KeyOf(keys, path);
    key.made_by_service = true;
    if (std::ranges::find(key.values, value.name, &KeyValue::name) == key.values.end()) {
        key.values.push_back(value);
    }
}

void AddStep(std::vector<ServiceKey>& keys, const UsbfnStep& step) {
    // By UsbfnAction.
    constexpr DWORD kTypes[] = {REG_NONE, REG_DWORD, REG_SZ, REG_MULTI_SZ, REG_BINARY};
    KeyOf(keys, step.key_path).usb = true;
    if (step.action != UsbfnAction::kDelete) {
        const DWORD type = kTypes[static_cast<std::size_t>(step.action)];
        AddValue(keys, step.key_path, {step.value_name, type});
    }
}

}  // namespace

std::vector<ServiceKey> ServiceKeys() {
    std::vector<ServiceKey> keys;
    for (const RegistryValue& value : kSettingsValues) {
        AddValue(keys, value.key, {value.name, value.type});
    }
    for (const UsbfnStep& step : kCpSequence) {
        AddStep(keys, step);
    }
    for (const UsbfnStep& step : kApSequence) {
        AddStep(keys, step);
    }
    std::ranges::sort(keys, {}, &ServiceKey::path);
    for (ServiceKey& key : keys) {
        key.top = std::ranges::none_of(keys, [&](const ServiceKey& other) {
            return key.path.starts_with(other.path + L"\\");
        });
    }
    return keys;
}
