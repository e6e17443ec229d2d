#include "mbn/mbnhelper.h"

#include <cwchar>

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
    data_int = ReadReadyState();
}

template <Bstr HomeProvider::*text>
void QueryHomeProvider(long& /*data_int*/, wchar_t* data_string) {
    CopyOver(data_string, (ReadHomeProvider().*text).Get());
}

template <Bstr (*read)()>
void QueryText(long& /*data_int*/, wchar_t* data_string) {
    CopyOver(data_string, read().Get());
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
    {L"MBNHELPER_GETHOMEPROVIDERID", QueryHomeProvider<&HomeProvider::id>},
    {L"MBNHELPER_CONNECT", Connect},
    {L"MBNHELPER_DISCONNECT", Disconnect},
    {L"MBNHELPER_GETHOMEPROVIDERNAME", QueryHomeProvider<&HomeProvider::name>},
    {L"MBNHELPER_GETSUBSCRIBERID", QueryText<ReadSubscriberId>},
    {L"MBNHELPER_GETSIMICCID", QueryText<ReadSimIccId>},
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
