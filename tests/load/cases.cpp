#include "tests/load/cases.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "rpc/commandlists.h"

namespace {

constexpr Case kUnlikeTheRest[] = {
    {L"REGISTRYHELPER_CHECKADDTIONALPENSETTING", 1, Flag::kTrue},
    {L"REGISTRYHELPER_GETPENSETTING", 1, Flag::kSame, Number::kSetting},
    {L"REGISTRYHELPER_SETPENSETTING", 1, Flag::kTrue},
    {L"REGISTRYHELPER_GETPENCLICKSETTING", 1, Flag::kSame, Number::kSetting},
    {L"REGISTRYHELPER_SETPENCLICKSETTING", 1, Flag::kTrue},
    {L"REGISTRYHELPER_GETPENPRESSURESENSITIVITY", 1, Flag::kSame, Number::kSetting},
    {L"REGISTRYHELPER_SETPENPRESSURESENSITIVITY", 1, Flag::kTrue},
    {L"REGISTRYHELPER_SETSCREENMODE", 1, Flag::kTrue},
    {L"REGISTRYHELPER_GETSCREENMODE", 1, Flag::kSame, Number::kSetting},
    {L"REGISTRYHELPER_SETDIMMINGTIME", 0},
    {L"REGISTRYHELPER_GETDIMMINGTIME", 0},
    {L"REGISTRYHELPER_ISSMARTDIMMINGSUPPORT", 0},
    {L"COMMONHELPER_ISFILE_EXISTS", 1, Flag::kTrue, Number::kSame, L"", L"C:\\windows"},
    {L"COMMONHELPER_READEULADOCUMENT", 1, Flag::kSame, Number::kSame, L"one\ntwo\n",
     L"C:\\Tessel\\load.txt"},
    {L"MBNHELPER_CHECKINTERFACE", 1, Flag::kSame, Number::kOne},
    {L"MBNHELPER_CHECKSIMSTATUS", 1, Flag::kSame, Number::kOne},
    {L"MBNHELPER_GETHOMEPROVIDERID", 1, Flag::kSame, Number::kSame, L"26201"},
    {L"MBNHELPER_GETHOMEPROVIDERNAME", 1, Flag::kSame, Number::kSame, L"Bramble Mobile"},
    {L"MBNHELPER_GETSUBSCRIBERID", 1, Flag::kSame, Number::kSame, L"262011234567890"},
    {L"MBNHELPER_GETSIMICCID", 1, Flag::kSame, Number::kSame, L"8949012345678901234"},
    {L"MBNHELPER_CREATEPROFILE", 1, Flag::kSame, Number::kSame, nullptr, nullptr, true},
    {L"BLEHELPER_GETBLE", 1, Flag::kOn, Number::kSwitch},
    {L"BLEHELPER_ISBLESUPPORT", 1, Flag::kSame, Number::kOne},
    // The other answers of two commands, and what is not known.
    {L"COMMONHELPER_ISFILE_EXISTS", 1, Flag::kFalse, Number::kSame, L""},
    {L"COMMONHELPER_READEULADOCUMENT", 1, Flag::kSame, Number::kSame, L""},
    {L"REGISTRYHELPER_GETDEVICENAME", 0},
    {L"registryhelper_getpensetting", 0},
    {L"MBNHELPER_QUERYPROFILE", 0},
    {L"BLEHELPER_GETBLE ", 0},
    {L"", 0},
};

std::vector<Case> MakeCases() {
    std::vector<Case> cases(std::begin(kUnlikeTheRest), std::end(kUnlikeTheRest));
    const auto add = [&](const auto& commands) {
        for (const wchar_t* command : commands) {
            if (std::ranges::none_of(kUnlikeTheRest, [=](const Case& row) {
                    return std::wcscmp(row.command, command) == 0;
                })) {
                cases.push_back({command});
            }
        }
    };
    add(kRegistryHelperCommands);
    add(kCommonHelperCommands);
    add(kMbnHelperCommands);
    add(kBleHelperCommands);
    add(kUsbPathChangerCommands);
    return cases;
}

bool NumberFits(const Request& request, long number) {
    switch (request.sent->number) {
        case Number::kSame:
            return number == request.number;
        case Number::kSetting:
            // What any client has set, or the value of none.
            return number >= kTagsPerProcess || number == -1 || number == -100 || number == 99;
        case Number::kSwitch:
            return number == 0 || number == 85;
        case Number::kOne:
            return number == 1;
    }
    return false;
}

bool FlagFits(const Request& request, bool flag, long number) {
    switch (request.sent->flag) {
        case Flag::kSame:
            return flag == request.flag;
        case Flag::kTrue:
            return flag;
        case Flag::kFalse:
            return !flag;
        case Flag::kOn:
            return flag == (number == 85);
    }
    return false;
}

std::wstring TextDue(const Request& request) {
    if (request.sent->first_token) {
        constexpr wchar_t kDelimiters[] = L"|\n";
        const size_t token = request.text.find_first_not_of(kDelimiters);
        return request.text.substr(0, request.text.find_first_of(kDelimiters, token));
    }
    return request.sent->text != nullptr ? request.sent->text : request.text;
}

}  // namespace

const std::vector<Case>& AllCases() {
    static const std::vector<Case> cases = MakeCases();
    return cases;
}

bool AnswerFits(const Request& request,
                const wchar_t* command,
                bool flag,
                long number,
                const wchar_t* text) {
    return std::wcscmp(command, request.sent->command) == 0 && NumberFits(request, number) &&
           FlagFits(request, flag, number) && text == TextDue(request);
}
