#include "mbn/mbnhelper.h"

#include <cwchar>

#include "mbn/homeprovider.h"
#include "mbn/mbnapi.h"
#include "mbn/mbninterface.h"
#include "mbn/mbnprofile.h"
#include "rpc/reportresult.h"
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

void QueryReadyState(long& data_int, wchar_t* /*data_string*/) {
    MBN_READY_STATE state = MBN_READY_STATE_OFF;
    QueryMbnInterface(MbnQuerySelector::kReadyState, &state);
    data_int = state;
}

template <BSTR MBN_PROVIDER::*part>
void QueryHomeProvider(long& /*data_int*/, wchar_t* data_string) {
    HomeProvider provider;
    QueryMbnInterface(MbnQuerySelector::kHomeProvider, static_cast<MBN_PROVIDER*>(&provider));
    CopyOver(data_string, provider.*part);
}

template <MbnQuerySelector selector>
void QueryText(long& /*data_int*/, wchar_t* data_string) {
    Bstr text;
    QueryMbnInterface(selector, text.Receive());
    CopyOver(data_string, text.Get());
}

void Connect(long& /*data_int*/, wchar_t* /*data_string*/) {
    ConnectWithProfile();
}

void Disconnect(long& /*data_int*/, wchar_t* /*data_string*/) {
    DisconnectAllConnections();
}

void CreateProfile(long& /*data_int*/, wchar_t* data_string) {
    DeleteAllConnectionProfiles();
    CreateProfileFromRequest(data_string);
}

void DeleteProfile(long& /*data_int*/, wchar_t* /*data_string*/) {
    DisconnectAllConnections();
    DeleteAllConnectionProfiles();
}

// Answered with the request's own values, without a word to the modem.
void Acknowledge(long& /*data_int*/, wchar_t* /*data_string*/) {}

// An action may change the values that are reported. It holds nothing any more when it returns.
struct MbnCommand {
    const wchar_t* command;
    void (*action)(long& data_int, wchar_t* data_string);
};

constexpr MbnCommand kCommands[] = {
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
    for (const MbnCommand& known : kCommands) {
        if (wcscmp(command, known.command) == 0) {
            known.action(data_int, data_string);
            ReportResult(command, data_bool, data_int, data_string);
        }
    }
}
