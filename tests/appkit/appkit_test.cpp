// The functions of tesselclient.dll and the class on them, over stubs of the test's own.
#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "appkit/tesselclient.h"
#include "interface/tesselservice.h"
#include "mbn/mbnprofiletext.h"

namespace {

using tessel::Client;
using tessel::Outcome;

// What the stubs do, and what they have seen.
struct Service {
    DWORD open_raises = 0;
    int failing_opens = 0;
    bool no_context = false;
    DWORD request_raises = 0;
    // Changes the values of the request into those of the answer. Null: no answer.
    std::function<void(bool& flag, long& number, std::wstring& text)> answer;
    // Requests with these commands wait.
    std::map<std::wstring, bool> held;

    int contexts = 0;
    std::vector<int> contexts_at_open;
    std::vector<std::wstring> commands;
    bool flag = false;
    long number = 0;
    std::wstring text;
};
Service g_service;
std::mutex g_mutex;
std::condition_variable g_changed;

void Hold(const wchar_t* command, bool held) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_service.held[command] = held;
    g_changed.notify_all();
}

// Waits up to ten seconds until `count` requests have arrived.
bool Arrived(std::size_t count) {
    std::unique_lock<std::mutex> lock(g_mutex);
    return g_changed.wait_for(lock, std::chrono::seconds(10),
                              [=] { return g_service.commands.size() >= count; });
}

// Answers on another thread, and answers a command that was not sent. Not inlined into frames that
// exceptions pass.
__attribute__((noinline)) void Answer(const wchar_t* command,
                                      bool flag,
                                      long number,
                                      std::wstring text) {
    g_service.answer(flag, number, text);
    std::wstring name = command;
    std::thread(ReportResult, name.data(), static_cast<boolean>(flag), number, text.data()).join();
    ReportResult(text.data(), 0, 0, name.data());
}

__attribute__((noinline)) void Receive(const wchar_t* command,
                                       bool flag,
                                       long number,
                                       const wchar_t* text) {
    std::unique_lock<std::mutex> lock(g_mutex);
    g_service.commands.emplace_back(command);
    g_service.flag = flag;
    g_service.number = number;
    g_service.text = text;
    g_changed.notify_all();
    g_changed.wait(lock, [=] { return !g_service.held[command]; });
    lock.unlock();
    if (g_service.answer) {
        Answer(command, flag, number, text);
    }
}

void Reset() {
    Client::Disconnect();
    g_service = {};
}

void AnswerWith(bool flag, long number, const wchar_t* text = L"") {
    Reset();
    g_service.answer = [=](bool& f, long& n, std::wstring& t) {
        f = flag;
        n = number;
        t = text;
    };
}

void Echo() {
    Reset();
    g_service.answer = [](bool&, long&, std::wstring&) {};
}

TEST(AppKit, TellsWhatCameOfARequest) {
    for (const DWORD code : {1722UL, 1726UL, 0x20474343UL, 0x21474343UL, 0xE06D7363UL}) {
        Echo();
        g_service.open_raises = code;
        g_service.failing_opens = 2;
        tessel::Reply reply = Client().Request(L"COMMAND");
        EXPECT_TRUE(reply.outcome == Outcome::kFailed && reply.error == code && !reply.sent);
        EXPECT_TRUE(g_service.commands.empty());
        Reset();
        g_service.request_raises = code;
        reply = Client().Request(L"COMMAND");
        EXPECT_TRUE(reply.outcome == Outcome::kFailed && reply.error == code && reply.sent);
        EXPECT_EQ(g_service.commands.size(), 1U) << "sent once";
        AnswerWith(true, 7, L"text");
        g_service.request_raises = code;
        reply = Client().Request(L"COMMAND");
        EXPECT_TRUE(reply.Ok() && reply.error == 0) << "the answer came before the failure";
        EXPECT_TRUE(reply.flag && reply.number == 7 && reply.text == L"text");
    }
    Reset();
    const tessel::Reply reply = Client().Request(L"COMMAND");
    EXPECT_TRUE(reply.outcome == Outcome::kNoAnswer && reply.sent && reply.error == 0);
    Client::Disconnect();
    g_service.open_raises = 1726;
    g_service.failing_opens = 1;
    EXPECT_TRUE(Client::Connect() == 0 && g_service.contexts == 0) << "at the second attempt";
    g_service.no_context = true;
    EXPECT_EQ(Client::Connect(), 14U);
    EXPECT_EQ(Client().Request(L"A", false, 0, std::wstring(1, L'\0')).error, 87U);
}

TEST(AppKit, KeepsOneConnection) {
    Echo();
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(Client().Request(L"A").Ok() && g_service.contexts == 1);
    }
    Client::Disconnect();
    EXPECT_EQ(g_service.contexts, 0);
    // After a restart of the service the old connection is given up.
    EXPECT_TRUE(Client().Request(L"A").Ok());
    g_service.open_raises = 1726;
    g_service.failing_opens = 1;
    g_service.contexts_at_open = {};
    EXPECT_TRUE(Client().Request(L"A").Ok());
    EXPECT_EQ(g_service.contexts_at_open, (std::vector<int>{1, 0}));
    EXPECT_EQ(g_service.contexts, 1);
    // A connection over which a request failed is not kept.
    Client::Disconnect();
    g_service.request_raises = 1726;
    Client().Request(L"A");
    EXPECT_EQ(g_service.contexts, 0);
}

// Every call of the class: what it sends, and what good and bad answers make of it.
TEST(AppKit, EveryCommandHasACall) {
    const Client client;
    // Flag and number of an answer that is a failure, and of one that only looks like one.
    struct Answers {
        std::optional<std::pair<bool, long>> bad = {};
        std::pair<bool, long> good = {false, -1};
    };
    const auto check = [&](const wchar_t* command, auto call, const Answers& answers = {}) {
        AnswerWith(answers.good.first, answers.good.second);
        EXPECT_TRUE(call(client).Ok()) << command;
        EXPECT_EQ(g_service.commands, std::vector<std::wstring>{command});
        if (answers.bad) {
            AnswerWith(answers.bad->first, answers.bad->second);
            EXPECT_EQ(call(client).outcome, Outcome::kNotDone) << command;
        }
        Reset();
        g_service.request_raises = 1726;
        EXPECT_EQ(call(client).error, 1726U) << command;
    };
    const Answers flag = {{{false, 0}}, {true, -1}};
    const Answers minus_1 = {{{true, -1}}, {false, -100}};
    const Answers minus_100 = {{{true, -100}}, {false, -1}};
    // clang-format off
    check(TESSEL_REGISTRYHELPER_CHECKADDTIONALPENSETTING, [](const Client& c) { return c.CheckAdditionalPenSetting(); }, flag);
    check(TESSEL_REGISTRYHELPER_GETPENSETTING, [](const Client& c) { return c.GetPenSetting(); }, minus_1);
    check(TESSEL_REGISTRYHELPER_SETPENSETTING, [](const Client& c) { return c.SetPenSetting(4); }, flag);
    check(TESSEL_REGISTRYHELPER_GETPENCLICKSETTING, [](const Client& c) { return c.GetPenClickSetting(); }, minus_100);
    check(TESSEL_REGISTRYHELPER_SETPENCLICKSETTING, [](const Client& c) { return c.SetPenClickSetting(4); }, flag);
    check(TESSEL_REGISTRYHELPER_GETPENPRESSURESENSITIVITY, [](const Client& c) { return c.GetPenPressureSensitivity(); }, minus_1);
    check(TESSEL_REGISTRYHELPER_SETPENPRESSURESENSITIVITY, [](const Client& c) { return c.SetPenPressureSensitivity(4); });
    check(TESSEL_REGISTRYHELPER_GETSCREENMODE, [](const Client& c) { return c.GetScreenMode(); });
    check(TESSEL_REGISTRYHELPER_SETSCREENMODE, [](const Client& c) { return c.SetScreenMode(4); }, flag);
    check(TESSEL_REGISTRYHELPER_ISVZWQ, [](const Client& c) { return c.IsVzwq(); });
    check(TESSEL_COMMONHELPER_ISFILE_EXISTS, [](const Client& c) { return c.IsFileExists(L"C:"); });
    check(TESSEL_MBNHELPER_GETNETWORKMODE, [](const Client& c) { return c.GetNetworkMode(); });
    check(TESSEL_MBNHELPER_SETNETWORKMODE, [](const Client& c) { return c.SetNetworkMode(); });
    check(TESSEL_MBNHELPER_CHECKINTERFACE, [](const Client& c) { return c.CheckInterface(); });
    check(TESSEL_MBNHELPER_CHECKSIMSTATUS, [](const Client& c) { return c.CheckSimStatus(); });
    check(TESSEL_MBNHELPER_GETHOMEPROVIDERID, [](const Client& c) { return c.GetHomeProviderId(); });
    check(TESSEL_MBNHELPER_GETHOMEPROVIDERNAME, [](const Client& c) { return c.GetHomeProviderName(); });
    check(TESSEL_MBNHELPER_GETSUBSCRIBERID, [](const Client& c) { return c.GetSubscriberId(); });
    check(TESSEL_MBNHELPER_GETSIMICCID, [](const Client& c) { return c.GetSimIccId(); });
    check(TESSEL_MBNHELPER_CONNECT, [](const Client& c) { return c.ConnectModem(); });
    check(TESSEL_MBNHELPER_DISCONNECT, [](const Client& c) { return c.DisconnectModem(); });
    check(TESSEL_MBNHELPER_GETRECOMMENDPROFILE, [](const Client& c) { return c.GetRecommendProfile(); });
    check(TESSEL_MBNHELPER_DELETEPROFILE, [](const Client& c) { return c.DeleteProfile(); });
    check(TESSEL_MBNHELPER_QEURYPROFILE, [](const Client& c) { return c.QueryProfile(); });
    check(TESSEL_MBNHELPER_UPDATEPROFILE, [](const Client& c) { return c.UpdateProfile(); });
    check(TESSEL_MBNHELPER_CREATEAPNDB, [](const Client& c) { return c.CreateApnDb(); });
    check(TESSEL_BLEHELPER_GETBLE, [](const Client& c) { return c.GetBle(); });
    check(TESSEL_BLEHELPER_SETBLE, [](const Client& c) { return c.SetBle(true); });
    check(TESSEL_BLEHELPER_ISBLESUPPORT, [](const Client& c) { return c.IsBleSupport(); });
    check(TESSEL_USBPATHCHANGER_SMGETMUICSTATUS, [](const Client& c) { return c.SmGetMuicStatus(); });
    check(TESSEL_USBPATHCHANGER_CHANGEUSBPATHTOCP, [](const Client& c) { return c.ChangeUsbPathToCp(); });
    check(TESSEL_USBPATHCHANGER_CHANGEUSBPATHTOAP, [](const Client& c) { return c.ChangeUsbPathToAp(); });
    // clang-format on

    // The values that they send and give.
    AnswerWith(true, 85);
    EXPECT_TRUE(client.SetScreenMode(4).Ok() && g_service.number == 4);
    EXPECT_TRUE(client.SetBle(true).Ok() && g_service.flag);
    EXPECT_TRUE(client.SetBle(false).Ok() && !g_service.flag);
    EXPECT_TRUE(client.GetBle().value && !client.IsBleSupport().value);
    EXPECT_EQ(client.GetScreenMode().value, 85);
    AnswerWith(false, 1);
    EXPECT_TRUE(!client.GetBle().value && client.IsBleSupport().value);
    EXPECT_EQ(client.CheckInterface().value, tessel::ReadyState::kReady);
    EXPECT_FALSE(client.IsFileExists(L"C:\\a").value);
    EXPECT_EQ(g_service.text, L"C:\\a");
    EXPECT_EQ(client.IsFileExists(L"C:\\\u00e9").error, 87U);
}

TEST(AppKit, AnIdentityIsNotItsPadding) {
    Echo();
    tessel::Result<std::wstring> card = Client().GetSimIccId();
    EXPECT_TRUE(card.outcome == Outcome::kNotDone && card.value.empty());
    EXPECT_EQ(g_service.text, std::wstring(64, L' '));
    for (const wchar_t* identity : {L"", L"8949012345678901234"}) {
        AnswerWith(false, 0, identity);
        card = Client().GetSimIccId();
        EXPECT_TRUE(card.Ok() && card.value == identity);
    }
}

TEST(AppKit, ADocumentIsBytes) {
    const auto read = [](const wchar_t* sent) {
        AnswerWith(false, 0, sent);
        return std::pair(Client().ReadDocument(L"C:\\a"), Client().ReadDocumentText(L"C:\\a"));
    };
    // U+20AC and a character of two UTF-16 units, in UTF-8.
    auto [bytes, text] = read(L"a\xFFE2\xFF82\xFFAC\xFFF0\xFF9F\xFF98\xFF80\n");
    EXPECT_TRUE(bytes.Ok() && bytes.value == "a\xE2\x82\xAC\xF0\x9F\x98\x80\n");
    EXPECT_TRUE(text.Ok() && text.value == L"a\u20AC\U0001F600\n");
    std::tie(bytes, text) = read(L"\xFFEF\xFFBB\xFFBF");
    EXPECT_TRUE(bytes.Ok() && bytes.value == "\xEF\xBB\xBF");
    EXPECT_TRUE(text.Ok() && text.value.empty()) << "only a byte order mark";
    std::tie(bytes, text) = read(L"caf\xFFE9\n");
    EXPECT_TRUE(bytes.Ok() && bytes.value == "caf\xE9\n");
    EXPECT_TRUE(text.outcome == Outcome::kNotDone && text.value.empty()) << "not UTF-8";
    std::tie(bytes, text) = read(L"");
    EXPECT_TRUE(bytes.outcome == Outcome::kNotDone && text.outcome == Outcome::kNotDone);
    EXPECT_EQ(Client().ReadDocument(std::wstring(L"a\0b", 3)).error, 87U);
}

// The document that the service makes of a request, with the longest identities.
std::wstring DocumentOf(std::wstring text) {
    ApnFields fields;
    SplitApnFields(text.data(), fields);
    const std::wstring digits(20, L'9');
    SimIdentity sim = {};
    sim.subscriber_id = digits.c_str() + 5;
    sim.icc_id = digits.c_str();
    sim.home_provider_name = digits.c_str();
    return AssembleProfileDocument(fields, sim).text;
}

// Sends a profile. Returns the refused member, or 0 if the service keeps everything of it.
int Keeps(const tessel::Profile& profile, std::initializer_list<std::wstring> values) {
    Echo();
    const tessel::Result<int> created = Client().CreateProfile(profile);
    if (!created.Ok()) {
        EXPECT_TRUE(created.error == 87 && !created.sent && g_service.commands.empty());
        return created.value;
    }
    const std::wstring document = DocumentOf(g_service.text);
    EXPECT_TRUE(document.ends_with(L"</MBNProfileExt>")) << document.size();
    for (const std::wstring& value : values) {
        EXPECT_NE(document.find(L">" + value + L"</"), document.npos) << value.c_str();
    }
    return 0;
}

TEST(AppKit, AProfileThatIsSentIsKept) {
    tessel::Profile profile = {L"A & B", L"<apn>"};
    EXPECT_EQ(Keeps(profile, {L"A &amp; B", L"&lt;apn&gt;", L"NONE", L"Default", L"DISABLE"}), 0);
    profile = {L"d",
               L"apn",
               tessel::Authentication::kMsChapV2,
               L"user",
               L"word",
               tessel::IpType::kXlat,
               tessel::Compression::kEnable};
    EXPECT_EQ(Keeps(profile, {L"user", L"word", L"MsCHAPv2", L"XLAT", L"ENABLE"}), 0);

    // One character more than the service keeps is refused.
    const auto with = [&](auto member, std::size_t length, wchar_t unit) {
        tessel::Profile changed = profile;
        changed.*member = std::wstring(length, unit);
        return Keeps(changed, {});
    };
    using tessel::Profile;
    EXPECT_EQ(with(&Profile::description, 228, L'd'), 0);
    EXPECT_EQ(with(&Profile::description, 229, L'd'), TESSEL_PROFILE_DESCRIPTION);
    EXPECT_EQ(with(&Profile::description, 45, L'&'), 0);
    EXPECT_EQ(with(&Profile::description, 46, L'&'), TESSEL_PROFILE_DESCRIPTION);
    EXPECT_EQ(with(&Profile::access_string, 100, L'a'), 0);
    EXPECT_EQ(with(&Profile::access_string, 101, L'a'), TESSEL_PROFILE_ACCESS_STRING);
    EXPECT_EQ(with(&Profile::user_name, 234, L'u'), 0);
    EXPECT_EQ(with(&Profile::user_name, 235, L'u'), TESSEL_PROFILE_USER_NAME);
    EXPECT_EQ(with(&Profile::password, 235, L'p'), TESSEL_PROFILE_PASSWORD);
    for (const wchar_t unit : {L'|', L'\n', L'\0', L'\x1F'}) {
        EXPECT_EQ(with(&Profile::password, 1, unit), TESSEL_PROFILE_PASSWORD) << int{unit};
        EXPECT_EQ(with(&Profile::description, 1, unit), TESSEL_PROFILE_DESCRIPTION) << int{unit};
    }
    for (const auto [member, refused] :
         {std::pair(&Profile::description, TESSEL_PROFILE_DESCRIPTION),
          {&Profile::access_string, TESSEL_PROFILE_ACCESS_STRING},
          {&Profile::user_name, TESSEL_PROFILE_USER_NAME},
          {&Profile::password, TESSEL_PROFILE_PASSWORD}}) {
        EXPECT_EQ(with(member, 0, L' '), refused) << "empty";
    }
    profile.authentication = tessel::Authentication::kNone;
    EXPECT_EQ(Keeps(profile, {}), TESSEL_PROFILE_USER_NAME) << "the service would drop it";
    profile.user_name.clear();
    EXPECT_EQ(Keeps(profile, {}), TESSEL_PROFILE_PASSWORD);
    profile.password.clear();
    profile.ip_type = static_cast<tessel::IpType>(5);
    EXPECT_EQ(Keeps(profile, {}), TESSEL_PROFILE_IP_TYPE);

    // The longest document, without a user and with one.
    profile = {std::wstring(228, L'd'), std::wstring(100, L'a')};
    EXPECT_EQ(Keeps(profile, {profile.description, profile.access_string}), 0);
    profile.authentication = tessel::Authentication::kPap;
    for (int length = 1; length < 40; ++length) {
        profile.user_name = std::wstring(length, L'u');
        profile.password = L"p";
        const int refused = Keeps(profile, {profile.user_name, L"p"});
        EXPECT_TRUE(refused == 0 || refused == TESSEL_PROFILE_WHOLE);
        EXPECT_EQ(refused == 0, DocumentOf(profile.description + L"|" + profile.access_string +
                                           L"|PAP|" + profile.user_name + L"|p|Default|DISABLE")
                                    .ends_with(L"</MBNProfileExt>"))
            << length;
    }
}

// A request whose command becomes free is sent although others wait too.
TEST(AppKit, EachCommandHasItsOwnTurn) {
    Echo();
    Hold(L"X", true);
    Hold(L"Y", true);
    std::vector<std::thread> threads;
    for (const wchar_t* command : {L"X", L"Y", L"X", L"Y"}) {
        threads.emplace_back(
            [=] { EXPECT_EQ(Client().Request(command, false, 0, command).text, command); });
        // Two arrive, two wait for them.
        EXPECT_TRUE(Arrived(std::min<std::size_t>(threads.size(), 2)));
        Sleep(50);
    }
    EXPECT_EQ(g_service.commands, (std::vector<std::wstring>{L"X", L"Y"}));
    Hold(L"Y", false);
    EXPECT_TRUE(Arrived(3)) << "the second Y";
    Hold(L"X", false);
    EXPECT_TRUE(Arrived(4)) << "the second X";
    if (HasFailure()) {
        // Wakes a request that nothing has woken.
        Client().Request(L"Z");
        Client().Request(L"Z");
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(AppKit, ADeadlineEndsTheWaitAndNotTheRequest) {
    Echo();
    const Client soon{std::chrono::seconds(1)};
    const Client later{std::chrono::seconds(60)};
    EXPECT_EQ(later.Request(L"X", true, 3, L"text").text, L"text") << "in time";
    Hold(L"X", true);
    tessel::Reply reply = soon.Request(L"X", false, 1, L"first");
    EXPECT_TRUE(reply.outcome == Outcome::kTimedOut && reply.sent && reply.error == 0);
    // It still runs, so the next one is not sent.
    reply = soon.Request(L"X", false, 2, L"second");
    EXPECT_TRUE(reply.outcome == Outcome::kTimedOut && !reply.sent);
    EXPECT_EQ(later.Request(L"Y", false, 4, L"other").text, L"other");
    EXPECT_EQ(g_service.commands, (std::vector<std::wstring>{L"X", L"X", L"Y"}));
    Hold(L"X", false);
    EXPECT_EQ(later.Request(L"X", false, 0, L"third").text, L"third");
    EXPECT_EQ(g_service.contexts, 1) << "one is kept";
    EXPECT_EQ(later.Request(L"X", false, 0, std::wstring(100000, L'l')).text.size(), 100000U);
}

// An app may have a longer structure than the DLL, but not a shorter one.
TEST(AppKit, StructuresMayGrow) {
    AnswerWith(true, 7, L"text");
    struct {
        TesselReply reply = {};
        std::uint64_t later = 0x1234;
    } grown;
    grown.reply.size = sizeof(grown);
    EXPECT_EQ(TesselRequest(L"A", 0, 0, L"", TESSEL_NO_DEADLINE, &grown.reply), TESSEL_ANSWERED);
    EXPECT_TRUE(grown.reply.size == sizeof(grown) && grown.later == 0x1234);
    EXPECT_STREQ(grown.reply.text, L"text");
    TesselFreeReply(&grown.reply);
    TesselReply small = {};
    small.size = 40;
    EXPECT_EQ(TesselRequest(L"A", 0, 0, L"", TESSEL_NO_DEADLINE, &small), TESSEL_FAILED);
    EXPECT_EQ(small.text, nullptr);
    const TesselProfile profile = {40, 0, 0, 0, L"d", L"a", nullptr, nullptr};
    EXPECT_EQ(TesselCreateProfile(&profile, 0, &grown.reply), TESSEL_FAILED);
    EXPECT_EQ(TesselRequest(nullptr, 0, 0, L"", 0, &grown.reply), TESSEL_FAILED);
    EXPECT_EQ(grown.reply.error, 87U);
}

TEST(AppKit, SaysWhatAnErrorMeans) {
    const auto meaning = [](Outcome outcome, std::uint32_t error) {
        return tessel::Status{outcome, error, false}.Meaning();
    };
    EXPECT_EQ(meaning(Outcome::kFailed, 1722), L"the service is not running");
    EXPECT_EQ(meaning(Outcome::kNotDone, 0), L"the service could not do it");
    const std::wstring other = meaning(Outcome::kFailed, ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(!other.empty() && other.find_first_of(L".\r\n", other.size() - 1) == other.npos);
    std::wstring cut(40, L'x');
    TesselMeaning(TESSEL_FAILED, 1722, cut.data(), 8);
    EXPECT_EQ(cut, L"the ser" + std::wstring(1, L'\0') + std::wstring(32, L'x'));
}

}  // namespace

void RemoteOpen(handle_t /*binding*/, REQUEST_CONTEXT_HANDLE* context) {
    g_service.contexts_at_open.push_back(g_service.contexts);
    if (g_service.open_raises != 0 && g_service.failing_opens-- > 0) {
        RaiseException(g_service.open_raises, 0, 0, nullptr);
    }
    if (!g_service.no_context) {
        *context = &g_service.contexts;
        ++g_service.contexts;
    }
}
void RemoteClose(REQUEST_CONTEXT_HANDLE* context) {
    *context = nullptr;
    --g_service.contexts;
}
void RemoteRequest(REQUEST_CONTEXT_HANDLE,
                   const wchar_t* command,
                   boolean flag,
                   long number,
                   wchar_t* text) {
    Receive(command, flag != 0, number, text);
    if (g_service.request_raises != 0) {
        RaiseException(g_service.request_raises, 0, 0, nullptr);
    }
}
