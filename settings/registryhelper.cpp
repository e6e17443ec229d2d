#include "settings/registryhelper.h"

#include <atomic>
#include <cstdint>

#include "diagnostics/logline.h"
#include "settings/registryaccess.h"
#include "settings/settingsvalues.h"

namespace {

constexpr std::int32_t kScreenModeDefault = 99;
constexpr std::int32_t kColorProfileDefault = 3;

// The number that most commands report if a read fails.
constexpr std::int32_t kNothingRead = -1;

// The colour profile that was last read or written; -1 after a failed read. Kept: the service never
// reads it. Atomic because requests run at the same time.
std::atomic<std::int32_t> LastColorProfile = kNothingRead;

std::int32_t Read(const RegistryValue& value) {
    return RegistryReadDword(value.key, value.name);
}

bool Write(const RegistryValue& value, std::int32_t number) {
    return RegistryWriteDword(value.key, value.name, number) == 1;
}

void GetPenSetting(Answer& answer) {
    answer.number = Read(kButtonAction);
    if (answer.number == kRegistryReadError) {
        answer.number = kNothingRead;
    } else {
        LogLine("GetPenSetting Success");
    }
}

void GetPenPressureSensitivity(Answer& answer) {
    answer.number = Read(kPressureThreshold);
    if (answer.number == kRegistryReadError) {
        answer.number = kNothingRead;
    }
    LogLine("GetPenPressureSensitivity : ", answer.number);
}

// Kept: reports success even if the write fails.
void SetPenPressureSensitivity(Answer& answer) {
    answer.flag = true;
    Write(kPressureThreshold, answer.number);
}

void SetScreenMode(Answer& answer) {
    answer.flag = Write(kScreenMode, answer.number);
    const std::int32_t profile =
        answer.number == kScreenModeDefault ? kColorProfileDefault : answer.number;
    // Kept: the result of this write is not reported.
    Write(kColorProfile, profile);
    LastColorProfile = profile;
    LogLine(answer.flag ? "Set Screen Mode Success" : "Set Screen Mode Failure");
}

void RepairScreenMode() {
    Write(kScreenMode, kScreenModeDefault);
    Write(kColorProfile, kColorProfileDefault);
}

// Kept: the mode depends on the colour profile alone; the stored ScreenMode is not read.
std::int32_t ScreenModeOf(std::int32_t profile) {
    switch (profile) {
        case kRegistryReadError:
        case kNothingRead:
        // Kept: 3, 4 and 6, not 5.
        case kColorProfileDefault:
        case 4:
        case 6:
            return kScreenModeDefault;
        default:
            return profile;
    }
}

void GetScreenMode(Answer& answer) {
    const std::int32_t profile = Read(kColorProfile);
    const bool unusable = profile == kRegistryReadError || profile == kNothingRead;
    LastColorProfile = unusable ? kNothingRead : profile;
    if (unusable) {
        RepairScreenMode();
    }
    answer.number = ScreenModeOf(profile);
    LogLine("GetScreenMode : ", answer.number);
}

constexpr Command kCommands[] = {
    // Kept: ADDTIONAL, as the settings app sends it.
    {L"REGISTRYHELPER_CHECKADDTIONALPENSETTING",
     [](Answer& answer) { answer.flag = EnsurePenCustomProtocol(); }},
    {L"REGISTRYHELPER_GETPENSETTING", GetPenSetting},
    {L"REGISTRYHELPER_SETPENSETTING",
     [](Answer& answer) { answer.flag = Write(kButtonAction, answer.number); }},
    // Kept: reports -100 if the read fails, and does not log a success.
    {L"REGISTRYHELPER_GETPENCLICKSETTING",
     [](Answer& answer) { answer.number = Read(kClickAction); }},
    {L"REGISTRYHELPER_SETPENCLICKSETTING",
     [](Answer& answer) { answer.flag = Write(kClickAction, answer.number); }},
    {L"REGISTRYHELPER_GETPENPRESSURESENSITIVITY", GetPenPressureSensitivity},
    {L"REGISTRYHELPER_SETPENPRESSURESENSITIVITY", SetPenPressureSensitivity},
    {L"REGISTRYHELPER_SETSCREENMODE", SetScreenMode},
    {L"REGISTRYHELPER_GETSCREENMODE", GetScreenMode},
    // Kept: these three are accepted and never answered.
    {L"REGISTRYHELPER_SETDIMMINGTIME", nullptr},
    {L"REGISTRYHELPER_GETDIMMINGTIME", nullptr},
    {L"REGISTRYHELPER_ISSMARTDIMMINGSUPPORT", nullptr},
    // Kept: does nothing.
    {L"REGISTRYHELPER_ISVZWQ", [](Answer&) {}},
    // Kept: not routed, and the name is not used.
    {L"REGISTRYHELPER_GETDEVICENAME",
     [](Answer&) { RegistryReadString(kProductName.key, kProductName.name); }, /*routed=*/false},
};
static_assert(SameCommands<kCommands, kRegistryHelperHelp>());

}  // namespace

constinit const std::span<const Command> kRegistryHelperCommands = kCommands;

void RegistryHelperCommand(handle_t /*binding*/,
                           const wchar_t* command,
                           bool data_bool,
                           long data_int,
                           wchar_t* data_string) {
    AnswerCommand(kCommands, command, data_bool, data_int, data_string);
}
