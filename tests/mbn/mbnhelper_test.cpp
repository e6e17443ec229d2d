#include "mbn/mbnhelper.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "mbn/mbnapi.h"
#include "mbn/mbninterface.h"
#include "mbn/mbnprofile.h"
#include "rpc/reportresult.h"
#include "tests/mbn/watchedcom.h"
#include "tests/support/recordedconsole.h"
#include "tests/support/recordedreport.h"

namespace {

std::mutex g_reports_mutex;
std::vector<Report> g_reports;
// Set while one thread is at work, so that what it holds when it reports can be told.
std::atomic<bool> g_check_held = true;
LONG g_strings_before = 0;

}  // namespace

// Not the shared recorder: nothing of the modem may be held any more when the answer is sent.
void ReportResult(const wchar_t* command, bool flag, long number, const wchar_t* text) {
    if (g_check_held) {
        EXPECT_EQ(SimulatedModemLiveObjects(), 0);
        EXPECT_EQ(Watched().joined, Watched().left);
        EXPECT_EQ(Watched().freed_strings, SimulatedModemStringsGiven() - g_strings_before);
    }
    std::lock_guard lock(g_reports_mutex);
    g_reports.push_back({command, flag, number, text});
}

namespace {

constexpr wchar_t kModem[] = L"SOFTWARE\\Tessel Simulator\\Modem";

std::wstring KeyOf(const std::wstring& place) {
    return place.empty() ? kModem : std::wstring(kModem) + L"\\" + place;
}

void Set(const std::wstring& place, const wchar_t* name, DWORD value) {
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, KeyOf(place).c_str(), name, REG_DWORD, &value,
                              sizeof(value)),
              ERROR_SUCCESS);
}

void Set(const std::wstring& place, const wchar_t* name, const wchar_t* text) {
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, KeyOf(place).c_str(), name, REG_SZ, text,
                              static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
}

// The number, or -1 if there is none.
long Number(const std::wstring& place, const wchar_t* name) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    return RegGetValueW(HKEY_LOCAL_MACHINE, KeyOf(place).c_str(), name, RRF_RT_REG_DWORD, nullptr,
                        &value, &size) == ERROR_SUCCESS
               ? static_cast<long>(value)
               : -1;
}

// The text, or "(none)".
std::wstring Text(const std::wstring& place, const wchar_t* name) {
    wchar_t text[2048] = {};
    DWORD size = sizeof(text);
    return RegGetValueW(HKEY_LOCAL_MACHINE, KeyOf(place).c_str(), name, RRF_RT_REG_SZ, nullptr,
                        text, &size) == ERROR_SUCCESS
               ? text
               : L"(none)";
}

void AddInterface(const std::wstring& place, DWORD ready_state = MBN_READY_STATE_INITIALIZED) {
    Set(place, L"ReadyState", ready_state);
    Set(place, L"SubscriberId", (L"subscriber" + place).c_str());
    Set(place, L"SimIccId", (L"iccid" + place).c_str());
    Set(place, L"ProviderId", (L"id" + place).c_str());
    Set(place, L"ProviderName", (L"name" + place).c_str());
}

void AddProfile(const std::wstring& place, const wchar_t* name) {
    Set(place, L"Name", name);
}

class MbnHelperTest : public testing::Test {
 protected:
    void SetUp() override {
        RegisterModem(true);
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kModem);
        ClearPrintedText();
        g_reports.clear();
        g_check_held = true;
        Watched() = {};
        g_strings_before = SimulatedModemStringsGiven();
    }

    // Whatever a test did, everything that the modem gave was given back, inside the apartment.
    void TearDown() override {
        EXPECT_EQ(SimulatedModemLiveObjects(), 0);
        EXPECT_EQ(Watched().joined, Watched().left);
        EXPECT_EQ(Watched().freed_strings, SimulatedModemStringsGiven() - g_strings_before);
        if (g_check_held) {
            EXPECT_EQ(Watched().alive_when_left, 0);
        }
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kModem);
        RegisterModem(false);
    }

    // Carries out one command and returns its answer.
    static std::optional<Report> Do(const wchar_t* command,
                                    std::wstring data_string = L"untouched",
                                    long data_int = 7,
                                    bool data_bool = true) {
        MbnHelperCommand(nullptr, command, data_bool, data_int, data_string.data());
        std::lock_guard lock(g_reports_mutex);
        if (g_reports.size() != 1) {
            return std::nullopt;
        }
        const Report report = g_reports.front();
        g_reports.clear();
        return report;
    }

    // The same, for the text of the answer, the rest of which must be unchanged.
    static std::wstring TextAfter(const wchar_t* command, const std::wstring& data_string) {
        const std::optional<Report> report = Do(command, data_string);
        EXPECT_TRUE(report && report->command == command && report->flag && report->number == 7);
        return report ? report->text : L"(no answer)";
    }

    static long NumberAfter(const wchar_t* command) {
        const std::optional<Report> report = Do(command);
        EXPECT_TRUE(report && report->flag && report->text == L"untouched");
        return report ? report->number : -1;
    }
};

TEST_F(MbnHelperTest, AcknowledgesWithoutTheModem) {
    AddInterface(L"0");
    for (const wchar_t* command : {L"MBNHELPER_GETNETWORKMODE", L"MBNHELPER_SETNETWORKMODE",
                                   L"MBNHELPER_GETRECOMMENDPROFILE", L"MBNHELPER_QEURYPROFILE",
                                   L"MBNHELPER_UPDATEPROFILE", L"MBNHELPER_CREATEAPNDB"}) {
        EXPECT_EQ(Do(command, L"a|b", -5, false), (Report{command, false, -5, L"a|b"}));
    }
    EXPECT_EQ(Watched().joined, 0);
}

TEST_F(MbnHelperTest, DoesNotAnswerWhatItDoesNotKnow) {
    for (const wchar_t* command : {L"MBNHELPER_QUERYPROFILE", L"mbnhelper_connect", L"MBNHELPER_",
                                   L"MBNHELPER_CONNECT ", L""}) {
        EXPECT_FALSE(Do(command)) << command;
    }
    EXPECT_EQ(Watched().joined, 0);
}

TEST_F(MbnHelperTest, ReportsTheReadyStateOfTheLastInterfaceThatTellsIt) {
    for (const wchar_t* command : {L"MBNHELPER_CHECKINTERFACE", L"MBNHELPER_CHECKSIMSTATUS"}) {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kModem);
        EXPECT_EQ(NumberAfter(command), 0);
        AddInterface(L"0", MBN_READY_STATE_NOT_ACTIVATED);
        EXPECT_EQ(NumberAfter(command), 5);
        AddInterface(L"1", MBN_READY_STATE_SIM_NOT_INSERTED);
        AddInterface(L"2", MBN_READY_STATE_BAD_SIM);
        Set(L"", L"LowerBound", static_cast<DWORD>(-2));
        EXPECT_EQ(NumberAfter(command), 3);
        Set(L"2", L"FailGetReadyState", static_cast<DWORD>(E_PENDING));
        EXPECT_EQ(NumberAfter(command), 2);
    }
    EXPECT_EQ(PrintedText(), L"");
}

struct TextQuery {
    const wchar_t* command;
    const wchar_t* value;
    const wchar_t* failure;
};

constexpr TextQuery kTextQueries[] = {
    {L"MBNHELPER_GETHOMEPROVIDERID", L"ProviderId", L"FailGetHomeProvider"},
    {L"MBNHELPER_GETHOMEPROVIDERNAME", L"ProviderName", L"FailGetHomeProvider"},
    {L"MBNHELPER_GETSUBSCRIBERID", L"SubscriberId", L"FailGetSubscriberId"},
    {L"MBNHELPER_GETSIMICCID", L"SimIccId", L"FailGetSimIccId"},
};

TEST_F(MbnHelperTest, CopiesAQueriedTextIntoTheRoomThereIs) {
    for (const TextQuery& query : kTextQueries) {
        SCOPED_TRACE(query.command);
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kModem);
        EXPECT_EQ(TextAfter(query.command, L"untouched"), L"untouched");
        AddInterface(L"0");
        Set(L"0", query.value, L"450051234567890");
        EXPECT_EQ(TextAfter(query.command, L"a text with room to spare"), L"450051234567890");
        EXPECT_EQ(TextAfter(query.command, L"fifteen exactly"), L"450051234567890");
        EXPECT_EQ(TextAfter(query.command, L"four"), L"4500");
        EXPECT_EQ(TextAfter(query.command, L""), L"");
        // An empty text is a value, a missing one is not.
        Set(L"0", query.value, L"");
        EXPECT_EQ(TextAfter(query.command, L"untouched"), L"");
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, KeyOf(L"0").c_str(), query.value);
        EXPECT_EQ(TextAfter(query.command, L"untouched"), L"untouched");
    }
    EXPECT_EQ(PrintedText(), L"");
}

TEST_F(MbnHelperTest, LetsTheLastInterfaceWithATextPrevail) {
    for (const TextQuery& query : kTextQueries) {
        SCOPED_TRACE(query.command);
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kModem);
        AddInterface(L"0");
        AddInterface(L"1");
        AddInterface(L"2");
        Set(L"0", query.value, L"first");
        Set(L"1", query.value, L"second");
        Set(L"2", query.value, L"third");
        EXPECT_EQ(TextAfter(query.command, L"untouched"), L"third");
        Set(L"2", query.failure, static_cast<DWORD>(E_PENDING));
        EXPECT_EQ(TextAfter(query.command, L"untouched"), L"second");
        Set(L"", query.failure, static_cast<DWORD>(E_PENDING));
        EXPECT_EQ(TextAfter(query.command, L"untouched"), L"untouched");
    }
    EXPECT_EQ(PrintedText(), L"");
}

TEST_F(MbnHelperTest, ReadsTheHomeProviderOnlyOfAnInitializedModem) {
    AddInterface(L"0");
    for (DWORD state : {0, 2, 3, 4, 5, 6, 7, 8, 99}) {
        AddInterface(L"1", state);
        EXPECT_EQ(TextAfter(L"MBNHELPER_GETHOMEPROVIDERID", L"untouched"), L"id0") << state;
    }
    Set(L"1", L"ReadyState", MBN_READY_STATE_INITIALIZED);
    Set(L"1", L"FailGetReadyState", static_cast<DWORD>(E_PENDING));
    EXPECT_EQ(TextAfter(L"MBNHELPER_GETHOMEPROVIDERNAME", L"untouched"), L"name0");
}

TEST_F(MbnHelperTest, ReadsNothingForOtherSelectors) {
    AddInterface(L"0");
    BSTR text = nullptr;
    for (uint32_t selector : {4u, 5u, 0xFFFFFFFFu}) {
        EXPECT_EQ(QueryMbnInterface(static_cast<MbnQuerySelector>(selector), &text), S_OK);
    }
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(Watched().elements, 3);
}

// Something that goes wrong in a walk, what is printed then, and the result of the operation.
struct WalkFailure {
    const wchar_t* fail_value;
    LONG WatchedCom::*fail_call;
    HRESULT result;
    const wchar_t* printed;
};

TEST_F(MbnHelperTest, PrintsOnlyTheFirstFailureOfAWalk) {
    const WalkFailure cases[] = {
        {nullptr, &WatchedCom::fail_join, E_FAIL, L"Coinitialize failed"},
        {L"FailCreateInterfaceManager", nullptr, E_OUTOFMEMORY, L"CoCreateInstance error"},
        {L"FailGetInterfaces", nullptr, E_OUTOFMEMORY, L"GetInterfaces error"},
        {nullptr, &WatchedCom::fail_lower_bound, E_FAIL, L"SafeArrayGetLBound error"},
        {nullptr, &WatchedCom::fail_upper_bound, E_FAIL, L"SafeArrayGetUBound error"},
        {nullptr, &WatchedCom::fail_element, E_FAIL, L""},
        {L"FailGetSubscriberInformation", nullptr, E_OUTOFMEMORY, L""},
        {L"FailGetSimIccId", nullptr, E_OUTOFMEMORY, L""},
    };
    for (const WalkFailure& failure : cases) {
        SCOPED_TRACE(failure.printed);
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kModem);
        AddInterface(L"0");
        if (failure.fail_value != nullptr) {
            Set(L"", failure.fail_value, static_cast<DWORD>(E_OUTOFMEMORY));
        }
        for (bool through_family : {false, true}) {
            if (failure.fail_call != nullptr) {
                Watched() = {};
                g_strings_before = SimulatedModemStringsGiven();
                Watched().*failure.fail_call = 1;
            }
            ClearPrintedText();
            if (through_family) {
                EXPECT_EQ(TextAfter(L"MBNHELPER_GETSIMICCID", L"untouched"), L"untouched");
            } else {
                BSTR text = nullptr;
                EXPECT_EQ(QueryMbnInterface(MbnQuerySelector::kSimIccId, &text), failure.result);
                EXPECT_EQ(text, nullptr);
            }
            EXPECT_EQ(PrintedText(), failure.printed);
        }
        EXPECT_EQ(Watched().joined, Watched().left);
    }
}

TEST_F(MbnHelperTest, PassesOverAnElementThatCannotBeFetched) {
    AddInterface(L"0");
    AddInterface(L"1");
    Watched().fail_element = 1;
    EXPECT_EQ(TextAfter(L"MBNHELPER_GETSIMICCID", L"untouched"), L"iccid1");
}

TEST_F(MbnHelperTest, AnswersOnAMachineWithoutTheApi) {
    RegisterModem(false);
    EXPECT_EQ(NumberAfter(L"MBNHELPER_CHECKSIMSTATUS"), 0);
    EXPECT_EQ(TextAfter(L"MBNHELPER_CONNECT", L"untouched"), L"untouched");
    EXPECT_EQ(PrintedText(), L"CoCreateInstance errorCoCreateInstance error");
    ClearPrintedText();
    EXPECT_EQ(TextAfter(L"MBNHELPER_CREATEPROFILE", L"d|apn"), L"d");
    const std::wstring no_profiles = L"CoCreateInstance CLSID_MbnConnectionProfileManager error";
    const std::wstring no_interface = L"CoCreateInstance error";
    EXPECT_EQ(PrintedText(), no_profiles + no_interface + no_interface + no_interface +
                                 no_interface + no_profiles);
    EXPECT_EQ(QueryMbnInterface(static_cast<MbnQuerySelector>(4), nullptr), REGDB_E_CLASSNOTREG);
}

TEST_F(MbnHelperTest, ConnectsWhatIsNeitherConnectedNorConnecting) {
    struct Case {
        long before;
        long after;
    };
    for (const Case& state : {Case{0, 1}, {1, 1}, {2, 2}, {3, 1}, {77, 1}}) {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kModem);
        Set(L"0", L"ActivationState", static_cast<DWORD>(state.before));
        Set(L"0", L"ActiveProfile", L"earlier");
        AddProfile(L"0\\Profiles\\0", L"Bramble Profile");
        EXPECT_EQ(TextAfter(L"MBNHELPER_CONNECT", L"untouched"), L"untouched");
        EXPECT_EQ(Number(L"0", L"ActivationState"), state.after) << state.before;
        const bool asked = state.before != 1 && state.before != 2;
        EXPECT_EQ(Text(L"0", L"ActiveProfile"), asked ? L"Bramble Profile" : L"earlier");
    }
}

TEST_F(MbnHelperTest, StopsConnectingAtADisconnectingInterface) {
    for (const wchar_t* place : {L"0", L"1", L"2"}) {
        Set(place, L"ActivationState", MBN_ACTIVATION_STATE_DEACTIVATED);
        AddProfile(std::wstring(place) + L"\\Profiles\\0", L"Bramble Profile");
    }
    Set(L"1", L"ActivationState", MBN_ACTIVATION_STATE_DEACTIVATING);
    EXPECT_EQ(ConnectWithProfile(), S_OK);
    EXPECT_EQ(Number(L"0", L"ActivationState"), 1);
    EXPECT_EQ(Number(L"1", L"ActivationState"), 4);
    EXPECT_EQ(Number(L"2", L"ActivationState"), 3);
}

TEST_F(MbnHelperTest, ConnectsOnInSpiteOfAFailingInterface) {
    for (const wchar_t* place : {L"0", L"1", L"2", L"3"}) {
        AddInterface(place);
        AddProfile(std::wstring(place) + L"\\Profiles\\0", L"Bramble Profile");
    }
    Set(L"0", L"FailGetConnection", static_cast<DWORD>(E_PENDING));
    Set(L"1", L"FailConnect", static_cast<DWORD>(E_PENDING));
    // A state that cannot be read counts as "none".
    Set(L"2", L"ActivationState", MBN_ACTIVATION_STATE_DEACTIVATING);
    Set(L"2", L"FailGetConnectionState", static_cast<DWORD>(E_PENDING));
    EXPECT_EQ(ConnectWithProfile(), S_OK);
    EXPECT_EQ(Number(L"0", L"ActivationState"), -1);
    EXPECT_EQ(Number(L"1", L"ActivationState"), -1);
    EXPECT_EQ(Number(L"2", L"ActivationState"), 1);
    EXPECT_EQ(Number(L"3", L"ActivationState"), 1);
    EXPECT_EQ(PrintedText(), L"");
}

TEST_F(MbnHelperTest, DisconnectsOnlyActiveConnections) {
    for (DWORD state = 0; state <= 4; ++state) {
        const std::wstring place = std::to_wstring(state);
        Set(place, L"ActivationState", state);
        Set(place, L"ActiveProfile", L"some");
    }
    EXPECT_EQ(TextAfter(L"MBNHELPER_DISCONNECT", L"untouched"), L"untouched");
    for (long state = 0; state <= 4; ++state) {
        const std::wstring place = std::to_wstring(state);
        EXPECT_EQ(Number(place, L"ActivationState"), state == 1 ? 3 : state);
        EXPECT_EQ(Text(place, L"ActiveProfile"), state == 1 ? L"(none)" : L"some");
    }
}

TEST_F(MbnHelperTest, CreatesTheProfileInPlaceOfAllOthers) {
    AddInterface(L"0");
    AddInterface(L"1");
    AddProfile(L"0\\Profiles\\4", L"factory");
    AddProfile(L"1\\Profiles\\0", L"Bramble Profile");
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(TextAfter(L"MBNHELPER_CREATEPROFILE", L"Work|internet|PAP|me|secret|IPv4|ENABLE"),
                  L"Work");
        for (const wchar_t* place : {L"0", L"1"}) {
            const std::wstring profiles = std::wstring(place) + L"\\Profiles\\";
            EXPECT_EQ(Text(profiles + L"0", L"Name"), L"Bramble Profile");
            EXPECT_EQ(Text(profiles + L"0", L"Document"),
                      L"<?xml version=\"1.0\"?><MBNProfileExt "
                      L"xmlns=\"http://www.microsoft.com/networking/WWAN/profile/v4\">"
                      L"<Name>Bramble Profile</Name><Description>Work</Description>"
                      L"<IsDefault>true</IsDefault>"
                      L"<ProfileCreationType>UserProvisioned</ProfileCreationType>"
                      L"<SubscriberID>subscriber1</SubscriberID><SimIccID>iccid1</SimIccID>"
                      L"<HomeProviderName>name1</HomeProviderName>"
                      L"<AutoConnectOnInternet>true</AutoConnectOnInternet>"
                      L"<ConnectionMode>auto-home</ConnectionMode><Context>"
                      L"<AccessString>internet</AccessString><Compression>ENABLE</Compression>"
                      L"<AuthProtocol>PAP</AuthProtocol><Username>me</Username>"
                      L"<Password>secret</Password><IPType>IPv4</IPType>"
                      L"</Context></MBNProfileExt>");
            EXPECT_EQ(Text(profiles + L"4", L"Name"), L"(none)");
            EXPECT_EQ(Text(profiles + L"1", L"Name"), L"(none)");
        }
    }
    EXPECT_EQ(PrintedText(), L"");
    // The profile of this name is the one that is connected with.
    Do(L"MBNHELPER_CONNECT");
    EXPECT_EQ(Text(L"1", L"ActiveProfile"), L"Bramble Profile");
}

TEST_F(MbnHelperTest, BuildsTheProfileOfWhatTheSimTells) {
    AddInterface(L"0", MBN_READY_STATE_DEVICE_LOCKED);
    Set(L"0", L"FailGetSimIccId", static_cast<DWORD>(E_PENDING));
    EXPECT_EQ(TextAfter(L"MBNHELPER_CREATEPROFILE", L"|1\n2|3|4|5|6|7|8|9"), L"|1");
    EXPECT_EQ(PrintedText(), L"fail overfail over");
    const std::wstring document = Text(L"0\\Profiles\\0", L"Document");
    EXPECT_NE(document.find(L"<SubscriberID>subscriber0</SubscriberID><SimIccID></SimIccID>"
                            L"<HomeProviderName></HomeProviderName>"),
              document.npos);
}

TEST_F(MbnHelperTest, SaysSoWhenTheProfileIsNotCreated) {
    AddInterface(L"0");
    AddProfile(L"0\\Profiles\\0", L"Bramble Profile");
    struct Case {
        const wchar_t* fail_value;
        HRESULT result;
    };
    for (const Case& failure : {Case{L"Unused", HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS)},
                                {L"FailCreateProfile", E_OUTOFMEMORY},
                                {L"FailCreateProfileManager", E_OUTOFMEMORY}}) {
        Set(L"", failure.fail_value, static_cast<DWORD>(E_OUTOFMEMORY));
        ClearPrintedText();
        std::wstring data_string = L"d|apn";
        EXPECT_EQ(CreateProfileFromRequest(data_string.data()), failure.result);
        EXPECT_EQ(PrintedText(), L"CoCreateInstance CLSID_MbnConnectionProfileManager error");
    }
    // The fifth joining is the creation's own, behind the four questions to the SIM.
    ClearPrintedText();
    Watched().joined = Watched().left = 0;
    Watched().fail_join = 5;
    std::wstring data_string = L"d|apn";
    EXPECT_EQ(CreateProfileFromRequest(data_string.data()), E_FAIL);
    EXPECT_EQ(PrintedText(), L"Coinitialize failed");
}

// Two profiles on the first interface, one on the second; what is left of them after a failure.
struct DeleteFailure {
    const wchar_t* place;
    const wchar_t* fail_value;
    LONG WatchedCom::*fail_call;
    LONG call;
    const wchar_t* printed;
    std::wstring left;
};

TEST_F(MbnHelperTest, DeletesEveryProfileItCan) {
    const DeleteFailure cases[] = {
        {L"", nullptr, nullptr, 0, L"", L""},
        {L"", nullptr, &WatchedCom::fail_join, 1, L"Coinitialize failed", L"abc"},
        {L"", L"FailCreateProfileManager", nullptr, 0,
         L"CoCreateInstance CLSID_MbnConnectionProfileManager error", L"abc"},
        {L"", L"FailCreateInterfaceManager", nullptr, 0,
         L"CoCreateInstance CLSID_MbnInterfaceManager error", L"abc"},
        {L"", L"FailGetInterfaces", nullptr, 0, L"GetInterfaces error", L"abc"},
        {L"", nullptr, &WatchedCom::fail_lower_bound, 1, L"SafeArrayGetLBound error", L"abc"},
        {L"", nullptr, &WatchedCom::fail_upper_bound, 1, L"SafeArrayGetUBound error", L"abc"},
        // The interfaces come first, then each one's profiles.
        {L"", nullptr, &WatchedCom::fail_lower_bound, 2, L"SafeArrayGetLBound profile error",
         L"abc"},
        {L"", nullptr, &WatchedCom::fail_upper_bound, 3, L"SafeArrayGetUBound profile error", L"c"},
        {L"", nullptr, &WatchedCom::fail_element, 1, L"", L"ab"},
        {L"", nullptr, &WatchedCom::fail_element, 2, L"", L"a"},
        {L"0\\Profiles\\0", L"FailDelete", nullptr, 0, L"", L"a"},
        {L"0", L"FailGetConnectionProfiles", nullptr, 0, L"GetConnectionProfiles error", L"abc"},
        {L"1", L"FailGetConnectionProfiles", nullptr, 0, L"GetConnectionProfiles error", L"c"},
    };
    for (const DeleteFailure& failure : cases) {
        SCOPED_TRACE(failure.printed + std::wstring(L" leaves ") + failure.left);
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kModem);
        AddProfile(L"0\\Profiles\\0", L"a");
        AddProfile(L"0\\Profiles\\1", L"b");
        AddProfile(L"1\\Profiles\\0", L"c");
        if (failure.fail_value != nullptr) {
            Set(failure.place, failure.fail_value, static_cast<DWORD>(E_ACCESSDENIED));
        }
        Watched() = {};
        if (failure.fail_call != nullptr) {
            Watched().*failure.fail_call = failure.call;
        }
        ClearPrintedText();
        const HRESULT result = DeleteAllConnectionProfiles();
        if (*failure.printed != L'\0') {
            EXPECT_EQ(result, failure.fail_call != nullptr ? E_FAIL : E_ACCESSDENIED);
        }
        EXPECT_EQ(PrintedText(), failure.printed);
        std::wstring left;
        for (const wchar_t* place : {L"0\\Profiles\\0", L"0\\Profiles\\1", L"1\\Profiles\\0"}) {
            if (Text(place, L"Name") != L"(none)") {
                left += Text(place, L"Name");
            }
        }
        EXPECT_EQ(left, failure.left);
        EXPECT_EQ(Watched().joined, Watched().left);
        EXPECT_EQ(Watched().alive_when_left, 0);
    }
    g_strings_before = SimulatedModemStringsGiven();
    Watched() = {};
}

TEST_F(MbnHelperTest, DisconnectsBeforeItDeletesProfiles) {
    AddInterface(L"0");
    Do(L"MBNHELPER_CREATEPROFILE", L"d|apn|NONE");
    Do(L"MBNHELPER_CONNECT");
    ASSERT_EQ(Number(L"0", L"ActivationState"), 1);
    EXPECT_EQ(TextAfter(L"MBNHELPER_DELETEPROFILE", L"untouched"), L"untouched");
    EXPECT_EQ(Number(L"0", L"ActivationState"), 3);
    EXPECT_EQ(Text(L"0\\Profiles\\0", L"Name"), L"(none)");
    EXPECT_EQ(PrintedText(), L"");
}

TEST_F(MbnHelperTest, ServesManyRequestsAtOnce) {
    AddInterface(L"0");
    AddInterface(L"1");
    g_check_held = false;
    constexpr int kThreads = 32;
    constexpr int kRounds = 10;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([i] {
            const TextQuery& query = kTextQueries[i % 4];
            for (int round = 0; round < kRounds; ++round) {
                std::wstring data_string = L"room for the text";
                MbnHelperCommand(nullptr, query.command, false, i, data_string.data());
                std::wstring state = L"none";
                MbnHelperCommand(nullptr, L"MBNHELPER_CHECKINTERFACE", false, i, state.data());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ASSERT_EQ(g_reports.size(), size_t{kThreads * kRounds * 2});
    const wchar_t* const expected[] = {L"id1", L"name1", L"subscriber1", L"iccid1"};
    for (const Report& report : g_reports) {
        if (report.command == L"MBNHELPER_CHECKINTERFACE") {
            EXPECT_EQ(report.number, 1);
        } else {
            EXPECT_EQ(report.command, kTextQueries[report.number % 4].command);
            EXPECT_EQ(report.text, expected[report.number % 4]);
        }
    }
    EXPECT_EQ(Number(L"", L"ObjectsAlive"), 0);
    EXPECT_EQ(PrintedText(), L"");
}

}  // namespace
