// One line of help for each command. The compiler compares each family's table of commands with the
// list here. Nothing here needs Windows.
#pragma once

#include <span>
#include <string_view>

// The value that a request for the command needs. kPadding: the answer overwrites the text of the
// request, which must be at least as long as the text of the answer.
enum class Needs { kNothing, kFlag, kNumber, kText, kPadding };

struct CommandHelp {
    const wchar_t* name;
    const wchar_t* help;
    Needs needs = Needs::kNothing;
};

inline constexpr CommandHelp kRegistryHelperHelp[] = {
    {L"REGISTRYHELPER_CHECKADDTIONALPENSETTING",
     L"register the settings app for the pen click, unless a value of up to 200 bytes is there; "
     L"flag = registered"},
    {L"REGISTRYHELPER_GETPENSETTING", L"action of the pen's side button; number, -1 if unset"},
    {L"REGISTRYHELPER_SETPENSETTING", L"set the side button's action to --int; flag = stored",
     Needs::kNumber},
    {L"REGISTRYHELPER_GETPENCLICKSETTING", L"action of the pen click; number, -100 if unset"},
    {L"REGISTRYHELPER_SETPENCLICKSETTING", L"set the pen click's action to --int; flag = stored",
     Needs::kNumber},
    {L"REGISTRYHELPER_GETPENPRESSURESENSITIVITY", L"pen pressure threshold; number, -1 if unset"},
    {L"REGISTRYHELPER_SETPENPRESSURESENSITIVITY",
     L"set the pressure threshold to --int; flag is always true", Needs::kNumber},
    {L"REGISTRYHELPER_SETSCREENMODE", L"set the screen mode to --int (99 = default); flag = stored",
     Needs::kNumber},
    {L"REGISTRYHELPER_GETSCREENMODE", L"screen mode; number; stores 99 if unset"},
    {L"REGISTRYHELPER_SETDIMMINGTIME", L"accepted, never answered"},
    {L"REGISTRYHELPER_GETDIMMINGTIME", L"accepted, never answered"},
    {L"REGISTRYHELPER_ISSMARTDIMMINGSUPPORT", L"accepted, never answered"},
    {L"REGISTRYHELPER_ISVZWQ", L"answers with the request's own values"},
};

inline constexpr CommandHelp kCommonHelperHelp[] = {
    {L"COMMONHELPER_ISFILE_EXISTS", L"whether the path --text exists; flag", Needs::kText},
    {L"COMMONHELPER_READEULADOCUMENT", L"read the text file --text; text, empty if unreadable",
     Needs::kText},
};

inline constexpr CommandHelp kMbnHelperHelp[] = {
    {L"MBNHELPER_GETNETWORKMODE", L"answers with the request's own values"},
    {L"MBNHELPER_SETNETWORKMODE", L"answers with the request's own values"},
    {L"MBNHELPER_CHECKINTERFACE",
     L"ready state of the modem; number: 0 off, 1 ready, 2 no SIM, 3 bad SIM, ..."},
    {L"MBNHELPER_CHECKSIMSTATUS", L"the same as MBNHELPER_CHECKINTERFACE"},
    {L"MBNHELPER_GETHOMEPROVIDERID", L"id of the home provider; text", Needs::kPadding},
    {L"MBNHELPER_CONNECT", L"start to connect with the profile \"Bramble Profile\""},
    {L"MBNHELPER_DISCONNECT", L"start to disconnect every connection"},
    {L"MBNHELPER_GETHOMEPROVIDERNAME", L"name of the home provider; text", Needs::kPadding},
    {L"MBNHELPER_GETSUBSCRIBERID", L"subscriber id (IMSI) of the SIM; text", Needs::kPadding},
    {L"MBNHELPER_GETSIMICCID", L"number of the SIM card (ICCID); text", Needs::kPadding},
    {L"MBNHELPER_GETRECOMMENDPROFILE", L"answers with the request's own values"},
    {L"MBNHELPER_CREATEPROFILE",
     L"replace this SIM's profiles by --text; tesselctl --help shows its fields", Needs::kText},
    {L"MBNHELPER_DELETEPROFILE", L"start to disconnect and to delete every profile of this SIM"},
    {L"MBNHELPER_QEURYPROFILE", L"answers with the request's own values"},
    {L"MBNHELPER_UPDATEPROFILE", L"answers with the request's own values"},
    {L"MBNHELPER_CREATEAPNDB", L"answers with the request's own values"},
};

inline constexpr CommandHelp kBleHelperHelp[] = {
    {L"BLEHELPER_GETBLE", L"the device's switch; flag = on, number = its value (85 on, 0 off)"},
    {L"BLEHELPER_SETBLE", L"turn the device's switch on or off with --bool", Needs::kFlag},
    {L"BLEHELPER_ISBLESUPPORT", L"whether the device has a switch; number, 1 = yes"},
};

inline constexpr CommandHelp kUsbPathChangerHelp[] = {
    {L"USBPATHCHANGER_SMGETMUICSTATUS", L"answers with the request's own values"},
    {L"USBPATHCHANGER_CHANGEUSBPATHTOCP", L"route the USB port to the modem"},
    {L"USBPATHCHANGER_CHANGEUSBPATHTOAP", L"route the USB port back to Windows"},
};

// Every command that the service routes, by family.
inline constexpr std::span<const CommandHelp> kCommandHelp[] = {
    kRegistryHelperHelp, kCommonHelperHelp, kMbnHelperHelp, kBleHelperHelp, kUsbPathChangerHelp,
};
