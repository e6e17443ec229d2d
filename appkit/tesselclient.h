// Copyright (c) 2026 Bramble Electronics. SPDX-License-Identifier: MIT
// The client of Tessel Service for apps: tesselclient.dll, in C11 and in C++17. Link
// tesselclient.lib and ship the DLL with the app. The first part is the interface of the DLL, in C.
// The second part is the class tessel::Client, which has a function for every command that the
// service answers.
//
// Every call blocks until the service is done, because Windows has no time limit for such a call.
// So do not call from the thread of the user interface. A call may have a deadline. If it passes,
// the call returns and the request goes on: nothing can take back a request that was sent.
//
// Any number of threads may call. Requests with the same command are sent one after the other,
// because only the command of an answer identifies its request. A request is never sent twice.
#pragma once

#include <stdint.h>
#include <wchar.h>

#if defined(__cplusplus) && !defined(TESSEL_C_ONLY)
#include <algorithm>
#include <chrono>
#include <new>
#include <string>
#include <utility>
#endif

#ifdef __cplusplus
extern "C" {
#endif

// The commands of the service, in its own spelling, which has misspellings. The service knows no
// others. A constant for each follows: TESSEL_REGISTRYHELPER_GETSCREENMODE and so on.
#define TESSEL_COMMANDS(COMMAND)                      \
    COMMAND(REGISTRYHELPER_CHECKADDTIONALPENSETTING)  \
    COMMAND(REGISTRYHELPER_GETPENSETTING)             \
    COMMAND(REGISTRYHELPER_SETPENSETTING)             \
    COMMAND(REGISTRYHELPER_GETPENCLICKSETTING)        \
    COMMAND(REGISTRYHELPER_SETPENCLICKSETTING)        \
    COMMAND(REGISTRYHELPER_GETPENPRESSURESENSITIVITY) \
    COMMAND(REGISTRYHELPER_SETPENPRESSURESENSITIVITY) \
    COMMAND(REGISTRYHELPER_SETSCREENMODE)             \
    COMMAND(REGISTRYHELPER_GETSCREENMODE)             \
    COMMAND(REGISTRYHELPER_SETDIMMINGTIME)            \
    COMMAND(REGISTRYHELPER_GETDIMMINGTIME)            \
    COMMAND(REGISTRYHELPER_ISSMARTDIMMINGSUPPORT)     \
    COMMAND(REGISTRYHELPER_ISVZWQ)                    \
    COMMAND(COMMONHELPER_ISFILE_EXISTS)               \
    COMMAND(COMMONHELPER_READEULADOCUMENT)            \
    COMMAND(MBNHELPER_GETNETWORKMODE)                 \
    COMMAND(MBNHELPER_SETNETWORKMODE)                 \
    COMMAND(MBNHELPER_CHECKINTERFACE)                 \
    COMMAND(MBNHELPER_CHECKSIMSTATUS)                 \
    COMMAND(MBNHELPER_GETHOMEPROVIDERID)              \
    COMMAND(MBNHELPER_CONNECT)                        \
    COMMAND(MBNHELPER_DISCONNECT)                     \
    COMMAND(MBNHELPER_GETHOMEPROVIDERNAME)            \
    COMMAND(MBNHELPER_GETSUBSCRIBERID)                \
    COMMAND(MBNHELPER_GETSIMICCID)                    \
    COMMAND(MBNHELPER_GETRECOMMENDPROFILE)            \
    COMMAND(MBNHELPER_CREATEPROFILE)                  \
    COMMAND(MBNHELPER_DELETEPROFILE)                  \
    COMMAND(MBNHELPER_QEURYPROFILE)                   \
    COMMAND(MBNHELPER_UPDATEPROFILE)                  \
    COMMAND(MBNHELPER_CREATEAPNDB)                    \
    COMMAND(BLEHELPER_GETBLE)                         \
    COMMAND(BLEHELPER_SETBLE)                         \
    COMMAND(BLEHELPER_ISBLESUPPORT)                   \
    COMMAND(USBPATHCHANGER_SMGETMUICSTATUS)           \
    COMMAND(USBPATHCHANGER_CHANGEUSBPATHTOCP)         \
    COMMAND(USBPATHCHANGER_CHANGEUSBPATHTOAP)

#define TESSEL_COMMAND_CONSTANT(NAME) static const wchar_t TESSEL_##NAME[] = L"" #NAME;
TESSEL_COMMANDS(TESSEL_COMMAND_CONSTANT)
#undef TESSEL_COMMAND_CONSTANT

// What came of a call.
enum {
    TESSEL_ANSWERED = 0,   // the service has answered; what the answer has to say about it is good
    TESSEL_NOT_DONE = 1,   // the service has answered, and the answer shows that it was not done
    TESSEL_NO_ANSWER = 2,  // the service has received the request, but never answers this command
    TESSEL_FAILED = 3,     // a Windows error; see TesselReply.error
    TESSEL_TIMED_OUT = 4   // the deadline has passed; if the request was sent, it goes on
};

// A deadline that never passes. All deadlines are in milliseconds from the call.
#define TESSEL_NO_DEADLINE 0xFFFFFFFFu

// What a call gives. Set `size` before the call: a later DLL may fill more members, but never
// writes after `size`. Call TesselFreeReply afterwards, whatever came of the call.
typedef struct TesselReply {
    uint32_t size;         // sizeof(TesselReply)
    int32_t outcome;       // also the result of the call
    uint32_t error;        // the Windows error of TESSEL_FAILED, otherwise 0
    int32_t sent;          // whether the service may have carried the request out, or will do it
    int32_t flag;          // the values of the answer; their meaning depends on the command
    int32_t number;        //
    uint32_t text_length;  // without the terminator
    uint32_t byte_count;   //
    wchar_t* text;         // ends with U+0000. Null if there is none
    uint8_t* bytes;        // TesselReadDocument: the bytes of the document. Null if there are none
} TesselReply;

// Returns the version of the DLL: 0x010203 is 1.2.3.
uint32_t TesselVersion(void);

// Tests whether the service can be reached and admits this process: opens a context and closes it.
// Returns 0 or the Windows error. It has no deadline. The other calls do not need it.
uint32_t TesselConnect(void);

// Closes the connection that the DLL keeps between requests, if it keeps one. Call it before you
// unload the DLL. The next request connects again.
void TesselDisconnect(void);

// Sends a request and receives its answer. `command` and `text` must not be null. If there is no
// memory for the answer, the error is 14 (RPC_S_OUT_OF_MEMORY).
int32_t TesselRequest(const wchar_t* command,
                      int32_t flag,
                      int32_t number,
                      const wchar_t* text,
                      uint32_t deadline,
                      TesselReply* reply);

// Reads an identity of the modem with one of the four commands MBNHELPER_GETHOMEPROVIDERID,
// ..._GETHOMEPROVIDERNAME, ..._GETSUBSCRIBERID and ..._GETSIMICCID. It is the text of the reply,
// and may be empty: the modem has no such value now. TESSEL_NOT_DONE: none was read, because there
// is no modem, Windows is still looking for one, or (for the home provider) the modem is not ready.
int32_t TesselIdentity(const wchar_t* command, uint32_t deadline, TesselReply* reply);

// Reads a file with the service's account. `path` is a full path. The reply has the bytes of the
// file as far as the service sends them: CR LF is LF, the last line ends with LF, and the first
// zero byte ends the text. With `utf8`, the reply also has their text. TESSEL_NOT_DONE: the answer
// is empty, because the file cannot be opened or is empty. With `utf8`, it also means that the
// bytes are not UTF-8; then the reply has only the bytes.
int32_t TesselReadDocument(const wchar_t* path,
                           int32_t utf8,
                           uint32_t deadline,
                           TesselReply* reply);

// The values that Windows permits in a profile.
enum {
    TESSEL_AUTH_NONE,
    TESSEL_AUTH_PAP,
    TESSEL_AUTH_CHAP,
    TESSEL_AUTH_MSCHAPV2,
    TESSEL_AUTH_AUTO
};
enum { TESSEL_IP_DEFAULT, TESSEL_IP_V4, TESSEL_IP_V6, TESSEL_IP_V4V6, TESSEL_IP_XLAT };
enum { TESSEL_COMPRESSION_DISABLE, TESSEL_COMPRESSION_ENABLE };

// The access point of a mobile connection. A null text counts as empty.
typedef struct TesselProfile {
    uint32_t size;                 // sizeof(TesselProfile)
    int32_t authentication;        // TESSEL_AUTH_...
    int32_t ip_type;               // TESSEL_IP_...
    int32_t compression;           // TESSEL_COMPRESSION_...
    const wchar_t* description;    //
    const wchar_t* access_string;  // the APN
    const wchar_t* user_name;      // must be empty with TESSEL_AUTH_NONE, otherwise must not
    const wchar_t* password;       // the same
} TesselProfile;

// The member that TesselCreateProfile refuses.
enum {
    TESSEL_PROFILE_DESCRIPTION = 1,
    TESSEL_PROFILE_ACCESS_STRING,
    TESSEL_PROFILE_AUTHENTICATION,
    TESSEL_PROFILE_USER_NAME,
    TESSEL_PROFILE_PASSWORD,
    TESSEL_PROFILE_IP_TYPE,
    TESSEL_PROFILE_COMPRESSION,
    TESSEL_PROFILE_WHOLE  // each member is good, but together they are too long
};

// Replaces all profiles of the modem, also those of others, by this one. Escapes &, < and >.
// Refuses what the service would cut or drop, and what Windows would not accept, with the error 87
// (ERROR_INVALID_PARAMETER): then nothing was sent, and the number of the reply is
// TESSEL_PROFILE_.... The answer does not show whether Windows has created the profile.
int32_t TesselCreateProfile(const TesselProfile* profile, uint32_t deadline, TesselReply* reply);

// Frees the text and the bytes of a reply, and sets them to null.
void TesselFreeReply(TesselReply* reply);

// Writes what a reply means for a caller of this service, as a sentence without a full stop, cut to
// `capacity` characters with the terminator.
void TesselMeaning(int32_t outcome, uint32_t error, wchar_t* text, uint32_t capacity);

#ifdef __cplusplus
}  // extern "C"
#endif

// The class needs C++ exceptions. Without them, define TESSEL_C_ONLY and use the first part.
#if defined(__cplusplus) && !defined(TESSEL_C_ONLY)

namespace tessel {

enum class Outcome : std::int32_t {
    kAnswered = TESSEL_ANSWERED,
    kNotDone = TESSEL_NOT_DONE,
    kNoAnswer = TESSEL_NO_ANSWER,
    kFailed = TESSEL_FAILED,
    kTimedOut = TESSEL_TIMED_OUT,
};

// What came of a call.
struct Status {
    Outcome outcome = Outcome::kFailed;
    std::uint32_t error = 0;  // the Windows error of kFailed, otherwise 0
    bool sent = false;        // the service may have carried the request out, or will do it

    bool Ok() const { return outcome == Outcome::kAnswered; }

    // What it means, as a sentence without a full stop.
    std::wstring Meaning() const {
        wchar_t text[256];
        TesselMeaning(static_cast<std::int32_t>(outcome), error, text, 256);
        return text;
    }
};

// The same with a value, which is valid only if Ok().
template <typename T>
struct Result : Status {
    T value = {};
};

// The same with all values of an answer; their meaning depends on the command.
struct Reply : Status {
    bool flag = false;
    std::int32_t number = 0;
    std::wstring text;
};

// The state of the modem. kOff also means that there is no modem.
enum class ReadyState : std::int32_t {
    kOff,
    kReady,
    kNoSim,
    kBadSim,
    kFailure,
    kNotActivated,
    kLocked,
    kBlocked,
    kNoEsimProfile,
};

enum class Authentication : std::int32_t {
    kNone = TESSEL_AUTH_NONE,
    kPap = TESSEL_AUTH_PAP,
    kChap = TESSEL_AUTH_CHAP,
    kMsChapV2 = TESSEL_AUTH_MSCHAPV2,
    kAuto = TESSEL_AUTH_AUTO,
};
enum class IpType : std::int32_t {
    kDefault = TESSEL_IP_DEFAULT,
    kV4 = TESSEL_IP_V4,
    kV6 = TESSEL_IP_V6,
    kV4V6 = TESSEL_IP_V4V6,
    kXlat = TESSEL_IP_XLAT,
};
enum class Compression : std::int32_t {
    kDisable = TESSEL_COMPRESSION_DISABLE,
    kEnable = TESSEL_COMPRESSION_ENABLE,
};

// As TesselProfile.
struct Profile {
    std::wstring description = {};
    std::wstring access_string = {};
    Authentication authentication = Authentication::kNone;
    std::wstring user_name = {};
    std::wstring password = {};
    IpType ip_type = IpType::kDefault;
    Compression compression = Compression::kDisable;
};

// Sends requests. Has a function for each command that the service answers. kNotDone means that the
// answer shows a failure. Where a function does not name one, the answer cannot show a failure.
// Only std::bad_alloc can leave a function, before anything is sent.
class Client {
 public:
    Client() = default;
    // Every call ends after this time at the latest, with kTimedOut. The request goes on.
    explicit Client(std::chrono::milliseconds deadline)
        : m_deadline(static_cast<std::uint32_t>(
              std::min<long long>(std::max<long long>(deadline.count(), 0),
                                  TESSEL_NO_DEADLINE - 1))) {}

    // As TesselConnect.
    static std::uint32_t Connect() { return TesselConnect(); }
    // As TesselDisconnect.
    static void Disconnect() { TesselDisconnect(); }

    // As TesselRequest. A text with U+0000 is not sent: error 87 (ERROR_INVALID_PARAMETER).
    Reply Request(const std::wstring& command,
                  bool flag = false,
                  std::int32_t number = 0,
                  const std::wstring& text = {}) const {
        if (HasZero(command) || HasZero(text)) {
            return {Refused(), false, 0, {}};
        }
        Raw raw;
        TesselRequest(command.c_str(), flag ? 1 : 0, number, text.c_str(), m_deadline, &raw.reply);
        Result<std::wstring> answer = raw.With<std::wstring>(raw.reply.text, raw.reply.text_length);
        return {answer, raw.reply.flag != 0, raw.reply.number, std::move(answer.value)};
    }

    // Registers the settings app for the pen click, unless something is registered already.
    // kNotDone: it could not be registered.
    Status CheckAdditionalPenSetting() const {
        return DoneIfFlag(TESSEL_REGISTRYHELPER_CHECKADDTIONALPENSETTING, 0);
    }

    // The action of the pen's side button. kNotDone: it cannot be read, or it is -1.
    Result<int> GetPenSetting() const { return Number(TESSEL_REGISTRYHELPER_GETPENSETTING, -1); }
    // kNotDone: it could not be stored.
    Status SetPenSetting(int action) const {
        return DoneIfFlag(TESSEL_REGISTRYHELPER_SETPENSETTING, action);
    }

    // The action of the pen click. kNotDone: it cannot be read, or it is -100.
    Result<int> GetPenClickSetting() const {
        return Number(TESSEL_REGISTRYHELPER_GETPENCLICKSETTING, -100);
    }
    // kNotDone: it could not be stored.
    Status SetPenClickSetting(int action) const {
        return DoneIfFlag(TESSEL_REGISTRYHELPER_SETPENCLICKSETTING, action);
    }

    // The pressure threshold. kNotDone: it cannot be read, or it is -1.
    Result<int> GetPenPressureSensitivity() const {
        return Number(TESSEL_REGISTRYHELPER_GETPENPRESSURESENSITIVITY, -1);
    }
    // The answer does not show whether it was stored: read it.
    Status SetPenPressureSensitivity(int threshold) const {
        return Send(TESSEL_REGISTRYHELPER_SETPENPRESSURESENSITIVITY, false, threshold);
    }

    // The screen mode. 99 is the default; it also means that none can be read.
    Result<int> GetScreenMode() const {
        const Reply reply = Send(TESSEL_REGISTRYHELPER_GETSCREENMODE);
        return {reply, reply.number};
    }
    // kNotDone: it could not be stored.
    Status SetScreenMode(int mode) const {
        return DoneIfFlag(TESSEL_REGISTRYHELPER_SETSCREENMODE, mode);
    }

    // The ready state of the modem. The two commands are the same.
    Result<ReadyState> CheckInterface() const { return State(TESSEL_MBNHELPER_CHECKINTERFACE); }
    Result<ReadyState> CheckSimStatus() const { return State(TESSEL_MBNHELPER_CHECKSIMSTATUS); }

    // Identities of the modem, as TesselIdentity. Empty: the modem has no such value now.
    // kNotDone: none was read.
    Result<std::wstring> GetHomeProviderId() const {
        return Identity(TESSEL_MBNHELPER_GETHOMEPROVIDERID);
    }
    Result<std::wstring> GetHomeProviderName() const {
        return Identity(TESSEL_MBNHELPER_GETHOMEPROVIDERNAME);
    }
    Result<std::wstring> GetSubscriberId() const {
        return Identity(TESSEL_MBNHELPER_GETSUBSCRIBERID);
    }
    Result<std::wstring> GetSimIccId() const { return Identity(TESSEL_MBNHELPER_GETSIMICCID); }

    // Start to connect with the profile that CreateProfile has made, and to disconnect. The answer
    // comes when Windows has taken or refused the request. It does not show which.
    Status ConnectModem() const { return Send(TESSEL_MBNHELPER_CONNECT); }
    Status DisconnectModem() const { return Send(TESSEL_MBNHELPER_DISCONNECT); }

    // As TesselCreateProfile. With the error 87, the value is the member that was refused
    // (TESSEL_PROFILE_...). The answer does not show whether Windows has created the profile.
    Result<int> CreateProfile(const Profile& profile) const {
        const int refused = HasZero(profile.description)     ? TESSEL_PROFILE_DESCRIPTION
                            : HasZero(profile.access_string) ? TESSEL_PROFILE_ACCESS_STRING
                            : HasZero(profile.user_name)     ? TESSEL_PROFILE_USER_NAME
                            : HasZero(profile.password)      ? TESSEL_PROFILE_PASSWORD
                                                             : 0;
        if (refused != 0) {
            return {Refused(), refused};
        }
        const TesselProfile plain = {sizeof(TesselProfile),
                                     static_cast<std::int32_t>(profile.authentication),
                                     static_cast<std::int32_t>(profile.ip_type),
                                     static_cast<std::int32_t>(profile.compression),
                                     profile.description.c_str(),
                                     profile.access_string.c_str(),
                                     profile.user_name.c_str(),
                                     profile.password.c_str()};
        Raw raw;
        TesselCreateProfile(&plain, m_deadline, &raw.reply);
        return {raw.ToStatus(), raw.reply.number};
    }
    // Disconnects, then deletes all profiles of the modem, also those of others.
    Status DeleteProfile() const { return Send(TESSEL_MBNHELPER_DELETEPROFILE); }

    // Route the USB port to the modem, and back to Windows.
    Status ChangeUsbPathToCp() const { return Send(TESSEL_USBPATHCHANGER_CHANGEUSBPATHTOCP); }
    Status ChangeUsbPathToAp() const { return Send(TESSEL_USBPATHCHANGER_CHANGEUSBPATHTOAP); }

    // The switch of the control device. false also means that it cannot be read.
    Result<bool> GetBle() const {
        const Reply reply = Send(TESSEL_BLEHELPER_GETBLE);
        return {reply, reply.flag};
    }
    // The answer does not show whether it was set: read it.
    Status SetBle(bool on) const { return Send(TESSEL_BLEHELPER_SETBLE, on); }
    // Whether there is a switch. false also means that the device cannot be asked.
    Result<bool> IsBleSupport() const {
        const Reply reply = Send(TESSEL_BLEHELPER_ISBLESUPPORT);
        return {reply, reply.number == 1};
    }

    // Whether a file or folder exists. false also means that the service may not examine it. The
    // service keeps only the low eight bits of each character of the path, so a path that is not
    // ASCII is refused with the error 87.
    Result<bool> IsFileExists(const std::wstring& path) const {
        if (std::any_of(path.begin(), path.end(), [](wchar_t unit) { return unit > 0x7F; })) {
            return {Refused(), false};
        }
        const Reply reply = Request(TESSEL_COMMONHELPER_ISFILE_EXISTS, false, 0, path);
        return {reply, reply.flag};
    }

    // The bytes of a file, or its text if it is UTF-8, as TesselReadDocument. kNotDone: the file
    // cannot be opened or is empty; for the text also: it is not UTF-8.
    Result<std::string> ReadDocument(const std::wstring& path) const {
        Raw raw;
        Read(path, false, raw);
        return raw.With<std::string>(raw.reply.bytes, raw.reply.byte_count);
    }
    Result<std::wstring> ReadDocumentText(const std::wstring& path) const {
        Raw raw;
        Read(path, true, raw);
        return raw.With<std::wstring>(raw.reply.text, raw.reply.text_length);
    }

    // The service does nothing for these commands, and answers.
    Status IsVzwq() const { return Send(TESSEL_REGISTRYHELPER_ISVZWQ); }
    Status GetNetworkMode() const { return Send(TESSEL_MBNHELPER_GETNETWORKMODE); }
    Status SetNetworkMode() const { return Send(TESSEL_MBNHELPER_SETNETWORKMODE); }
    Status GetRecommendProfile() const { return Send(TESSEL_MBNHELPER_GETRECOMMENDPROFILE); }
    Status QueryProfile() const { return Send(TESSEL_MBNHELPER_QEURYPROFILE); }
    Status UpdateProfile() const { return Send(TESSEL_MBNHELPER_UPDATEPROFILE); }
    Status CreateApnDb() const { return Send(TESSEL_MBNHELPER_CREATEAPNDB); }
    Status SmGetMuicStatus() const { return Send(TESSEL_USBPATHCHANGER_SMGETMUICSTATUS); }

 private:
    // A reply of the DLL.
    struct Raw {
        TesselReply reply = {};

        Raw() { reply.size = sizeof(reply); }
        Raw(const Raw&) = delete;
        Raw& operator=(const Raw&) = delete;
        ~Raw() { TesselFreeReply(&reply); }

        Status ToStatus() const {
            return {static_cast<Outcome>(reply.outcome), reply.error, reply.sent != 0};
        }

        // Copies the text or the bytes of the reply. No exception may leave after a request.
        template <typename Text, typename Unit>
        Result<Text> With(const Unit* units, std::uint32_t count) const {
            try {
                return {ToStatus(), Text(units, units + count)};
            } catch (const std::bad_alloc&) {
                return {{Outcome::kFailed, 14 /* RPC_S_OUT_OF_MEMORY */, reply.sent != 0}, {}};
            }
        }
    };

    static bool HasZero(const std::wstring& text) { return text.find(L'\0') != text.npos; }

    // ERROR_INVALID_PARAMETER, before anything was sent.
    static Status Refused() { return {Outcome::kFailed, 87, false}; }

    Reply Send(const wchar_t* command, bool flag = false, std::int32_t number = 0) const {
        return Request(command, flag, number);
    }

    // The flag of the answer is false if it was not done.
    Status DoneIfFlag(const wchar_t* command, int number) const {
        Reply reply = Send(command, false, number);
        if (reply.Ok() && !reply.flag) {
            reply.outcome = Outcome::kNotDone;
        }
        return reply;
    }

    // The number of the answer is `failure` if there is none.
    Result<int> Number(const wchar_t* command, int failure) const {
        Reply reply = Send(command);
        if (reply.Ok() && reply.number == failure) {
            reply.outcome = Outcome::kNotDone;
        }
        return {reply, reply.number};
    }

    Result<ReadyState> State(const wchar_t* command) const {
        const Reply reply = Send(command);
        return {reply, static_cast<ReadyState>(reply.number)};
    }

    Result<std::wstring> Identity(const wchar_t* command) const {
        Raw raw;
        TesselIdentity(command, m_deadline, &raw.reply);
        return raw.With<std::wstring>(raw.reply.text, raw.reply.text_length);
    }

    void Read(const std::wstring& path, bool utf8, Raw& raw) const {
        if (HasZero(path)) {
            raw.reply.outcome = TESSEL_FAILED;
            raw.reply.error = Refused().error;
        } else {
            TesselReadDocument(path.c_str(), utf8 ? 1 : 0, m_deadline, &raw.reply);
        }
    }

    std::uint32_t m_deadline = TESSEL_NO_DEADLINE;
};

}  // namespace tessel
#endif
