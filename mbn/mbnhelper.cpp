#include "mbn/mbnhelper.h"

#include <algorithm>
#include <cwchar>

#include "mbn/mbninterface.h"
#include "mbn/mbnprofile.h"

namespace {

// Overwrites `text` in place with `value`, cut to the current length of `text`. A null `value`
// changes nothing.
void Overwrite(wchar_t* text, const Bstr& value) {
    if (value) {
        const size_t length = std::min(std::wcslen(text), std::wcslen(value.get()));
        std::wmemcpy(text, value.get(), length);
        text[length] = L'\0';
    }
}

void AnswerReadyState(Answer& answer) {
    answer.number = ReadReadyState();
}

// Kept: the answer has the values of the request; the modem is not called.
void Acknowledge(Answer& /*answer*/) {}

constexpr Command kCommands[] = {
    {L"MBNHELPER_GETNETWORKMODE", Acknowledge},
    {L"MBNHELPER_SETNETWORKMODE", Acknowledge},
    {L"MBNHELPER_CHECKINTERFACE", AnswerReadyState},
    {L"MBNHELPER_CHECKSIMSTATUS", AnswerReadyState},
    {L"MBNHELPER_GETHOMEPROVIDERID",
     [](Answer& answer) { Overwrite(answer.text, ReadHomeProvider().id); }},
    {L"MBNHELPER_CONNECT", [](Answer&) { ConnectWithProfile(); }},
    {L"MBNHELPER_DISCONNECT", [](Answer&) { DisconnectAllConnections(); }},
    {L"MBNHELPER_GETHOMEPROVIDERNAME",
     [](Answer& answer) { Overwrite(answer.text, ReadHomeProvider().name); }},
    {L"MBNHELPER_GETSUBSCRIBERID",
     [](Answer& answer) { Overwrite(answer.text, ReadSubscriberId()); }},
    {L"MBNHELPER_GETSIMICCID", [](Answer& answer) { Overwrite(answer.text, ReadSimIccId()); }},
    {L"MBNHELPER_GETRECOMMENDPROFILE", Acknowledge},
    {L"MBNHELPER_CREATEPROFILE",
     [](Answer& answer) {
         // Kept: deletes all profiles, before it is known whether the new one can be created.
         DeleteAllConnectionProfiles();
         // Kept: the answer has the first field of the request's text.
         CreateProfileFromRequest(answer.text);
     }},
    {L"MBNHELPER_DELETEPROFILE",
     [](Answer&) {
         DisconnectAllConnections();
         DeleteAllConnectionProfiles();
     }},
    // Kept: QEURY, as the settings app sends it.
    {L"MBNHELPER_QEURYPROFILE", Acknowledge},
    {L"MBNHELPER_UPDATEPROFILE", Acknowledge},
    {L"MBNHELPER_CREATEAPNDB", Acknowledge},
};
static_assert(SameCommands<kCommands, kMbnHelperHelp>());

}  // namespace

constinit const std::span<const Command> kMbnHelperCommands = kCommands;

void MbnHelperCommand(handle_t /*binding*/,
                      const wchar_t* command,
                      bool data_bool,
                      long data_int,
                      wchar_t* data_string) {
    AnswerCommand(kCommands, command, data_bool, data_int, data_string);
}
