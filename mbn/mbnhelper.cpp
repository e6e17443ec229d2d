#include "mbn/mbnhelper.h"

#include <cwchar>

#include "mbn/homeprovider.h"
#include "mbn/mbnapi.h"
#include "mbn/mbninterface.h"
#include "mbn/mbnprofile.h"
#include "rpc/command.h"
#include "win32/bstr.h"

namespace {

// Puts `text` over `data_string`, whose own terminator tells all the room there is. Null changes
// nothing.
void CopyOver(wchar_t* data_string, const wchar_t* text) {
    if (text == nullptr) {
        return;
    }
    const size_t room = wcslen(data_string);
    size_t length = 0;
    while (length < room && text[length] != L'\0') {
        data_string[length] = text[length];
        ++length;
    }
    data_string[length] = L'\0';
}

void QueryReadyState(Answer& answer) {
    MBN_READY_STATE state = MBN_READY_STATE_OFF;
    QueryMbnInterface(MbnQuerySelector::kReadyState, &state);
    answer.number = state;
}

template <BSTR MBN_PROVIDER::*part>
void QueryHomeProvider(Answer& answer) {
    HomeProvider provider;
    QueryMbnInterface(MbnQuerySelector::kHomeProvider, static_cast<MBN_PROVIDER*>(&provider));
    CopyOver(answer.text, provider.*part);
}

template <MbnQuerySelector selector>
void QueryText(Answer& answer) {
    Bstr text;
    QueryMbnInterface(selector, text.Receive());
    CopyOver(answer.text, text.Get());
}

void Connect(Answer& /*answer*/) {
    ConnectWithProfile();
}

void Disconnect(Answer& /*answer*/) {
    DisconnectAllConnections();
}

void CreateProfile(Answer& answer) {
    DeleteAllConnectionProfiles();
    CreateProfileFromRequest(answer.text);
}

void DeleteProfile(Answer& /*answer*/) {
    DisconnectAllConnections();
    DeleteAllConnectionProfiles();
}

// Answered with the request's own values, without a word to the modem.
void Acknowledge(Answer& /*answer*/) {}

constexpr Command kCommands[] = {
    {L"MBNHELPER_GETNETWORKMODE", Acknowledge},
    {L"MBNHELPER_SETNETWORKMODE", Acknowledge},
    {L"MBNHELPER_CHECKINTERFACE", QueryReadyState},
    {L"MBNHELPER_CHECKSIMSTATUS", QueryReadyState},
    {L"MBNHELPER_GETHOMEPROVIDERID", QueryHomeProvider<&MBN_PROVIDER::providerID>},
    {L"MBNHELPER_CONNECT", Connect},
    {L"MBNHELPER_DISCONNECT", Disconnect},
    {L"MBNHELPER_GETHOMEPROVIDERNAME", QueryHomeProvider<&MBN_PROVIDER::providerName>},
    {L"MBNHELPER_GETSUBSCRIBERID", QueryText<MbnQuerySelector::kSubscriberId>},
    {L"MBNHELPER_GETSIMICCID", QueryText<MbnQuerySelector::kSimIccId>},
    {L"MBNHELPER_GETRECOMMENDPROFILE", Acknowledge},
    {L"MBNHELPER_CREATEPROFILE", CreateProfile},
    {L"MBNHELPER_DELETEPROFILE", DeleteProfile},
    {L"MBNHELPER_QEURYPROFILE", Acknowledge},
    {L"MBNHELPER_UPDATEPROFILE", Acknowledge},
    {L"MBNHELPER_CREATEAPNDB", Acknowledge},
};

}  // namespace

void MbnHelperCommand(handle_t /*binding*/,
                      const wchar_t* command,
                      bool data_bool,
                      long data_int,
                      wchar_t* data_string) {
    AnswerCommand(kCommands, command, data_bool, data_int, data_string);
}
