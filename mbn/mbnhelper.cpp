#include "mbn/mbnhelper.h"

#include <cwchar>

#include "mbn/mbninterface.h"
#include "mbn/mbnprofile.h"
#include "win32/uniquehandle.h"

namespace {

// Puts `read` over the request's text, whose own terminator tells all the room there is. Null
// changes nothing.
void CopyOver(wchar_t* text, const wchar_t* read) {
    if (read == nullptr) {
        return;
    }
    const size_t room = wcslen(text);
    size_t length = 0;
    while (length < room && read[length] != L'\0') {
        text[length] = read[length];
        ++length;
    }
    text[length] = L'\0';
}

void QueryReadyState(Answer& answer) {
    answer.number = ReadReadyState();
}

template <Bstr HomeProvider::*text>
void QueryHomeProvider(Answer& answer) {
    CopyOver(answer.text, (ReadHomeProvider().*text).get());
}

template <Bstr (*read)()>
void QueryText(Answer& answer) {
    CopyOver(answer.text, read().get());
}

void Connect(Answer& /*answer*/) {
    ConnectWithProfile();
}

void Disconnect(Answer& /*answer*/) {
    DisconnectAllConnections();
}

void CreateProfile(Answer& answer) {
    // Kept: all of them, whoever made them, before it is known whether the new one can be made.
    DeleteAllConnectionProfiles();
    // Kept: the answer's text is what is left of the request's: its first field.
    CreateProfileFromRequest(answer.text);
}

void DeleteProfile(Answer& /*answer*/) {
    DisconnectAllConnections();
    DeleteAllConnectionProfiles();
}

// Kept: answered with the request's own values, without a word to the modem.
void Acknowledge(Answer& /*answer*/) {}

constexpr Command kCommands[] = {
    {L"MBNHELPER_GETNETWORKMODE", Acknowledge},
    {L"MBNHELPER_SETNETWORKMODE", Acknowledge},
    {L"MBNHELPER_CHECKINTERFACE", QueryReadyState},
    {L"MBNHELPER_CHECKSIMSTATUS", QueryReadyState},
    {L"MBNHELPER_GETHOMEPROVIDERID", QueryHomeProvider<&HomeProvider::id>},
    {L"MBNHELPER_CONNECT", Connect},
    {L"MBNHELPER_DISCONNECT", Disconnect},
    {L"MBNHELPER_GETHOMEPROVIDERNAME", QueryHomeProvider<&HomeProvider::name>},
    {L"MBNHELPER_GETSUBSCRIBERID", QueryText<ReadSubscriberId>},
    {L"MBNHELPER_GETSIMICCID", QueryText<ReadSimIccId>},
    {L"MBNHELPER_GETRECOMMENDPROFILE", Acknowledge},
    {L"MBNHELPER_CREATEPROFILE", CreateProfile},
    {L"MBNHELPER_DELETEPROFILE", DeleteProfile},
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
