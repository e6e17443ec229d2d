#include "mbn/mbnhelper.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "mbn/mbnapi.h"
#include "mbn/mbninterface.h"
#include "rpc/stub/tesselservice.h"
#include "tests/support/recorders.h"
#include "tests/support/compared.h"
#include "tests/support/interposed.h"
#include "tests/support/registryvalues.h"
#include "tests/support/simulatedmodem.h"

namespace {

std::vector<Report> g_reports;

void ExpectNothingHeld() {
    EXPECT_EQ(HeldOfModem(), 0);
    EXPECT_EQ(g_watch.held, 0) << "apartments not left";
}

void NoteContext(REFCLSID, IUnknown*, DWORD context, REFIID, void**) {
    EXPECT_EQ(context, 0x17u) << "a server in another process would not be found";
}

}  // namespace

// Not the shared recorder: the product may hold nothing of the modem when it answers.
void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    ExpectNothingHeld();
    g_reports.push_back({command, flag != 0, number, text});
}

INTERPOSE_NOTED(CoCreateInstance, kNone, NoteContext);

namespace {

class MbnHelperTest : public testing::Test {
 protected:
    void SetUp() override {
        RegisterModem(true);
        ClearModem();
        g_watch = {true, {"CoInitializeEx"}};
        g_aliveWhenLeft = 0;
        ClearPrintedText();
    }

    // Everything was released, and inside the apartment.
    void TearDown() override {
        ExpectNothingHeld();
        EXPECT_EQ(g_aliveWhenLeft, 0);
        g_watch.on = false;
        ClearModem();
        RegisterModem(false);
    }

    // Carries out one command and returns its one answer.
    static Report Do(const wchar_t* command,
                     std::wstring data_string = L"untouched",
                     long data_int = 7,
                     bool data_bool = true) {
        g_reports.clear();
        MbnHelperCommand(nullptr, command, data_bool, data_int, data_string.data());
        EXPECT_TRUE(g_reports.size() == 1 && g_reports[0].command == command);
        return g_reports.empty() ? Report{} : g_reports[0];
    }

    // The same, for the one value of the answer that the command may change.
    static std::wstring TextAfter(const wchar_t* command,
                                  const std::wstring& data_string = L"untouched") {
        const Report report = Do(command, data_string);
        EXPECT_TRUE(report.flag && report.number == 7);
        return report.text;
    }

    static long NumberAfter(const wchar_t* command) {
        const Report report = Do(command);
        EXPECT_TRUE(report.flag && report.text == L"untouched");
        return report.number;
    }
};

TEST_F(MbnHelperTest, AcknowledgesCommandsThatDoNotUseTheModem) {
    AddInterface(L"0");
    for (const wchar_t* command : {L"MBNHELPER_GETNETWORKMODE", L"MBNHELPER_SETNETWORKMODE",
                                   L"MBNHELPER_GETRECOMMENDPROFILE", L"MBNHELPER_QEURYPROFILE",
                                   L"MBNHELPER_UPDATEPROFILE", L"MBNHELPER_CREATEAPNDB"}) {
        EXPECT_EQ(Do(command, L"a|b", -5, false), (Report{command, false, -5, L"a|b"}));
    }
    EXPECT_EQ(g_watch.calls, 0) << "an apartment was joined";
}

TEST_F(MbnHelperTest, AnswersWithTheReadyStateOfTheLastInterfaceThatGivesOne) {
    for (const wchar_t* command : {L"MBNHELPER_CHECKINTERFACE", L"MBNHELPER_CHECKSIMSTATUS"}) {
        ClearModem();
        EXPECT_EQ(NumberAfter(command), 0);
        AddInterface(L"0", MBN_READY_STATE_NOT_ACTIVATED);
        EXPECT_EQ(NumberAfter(command), 5);
        AddInterface(L"1", MBN_READY_STATE_SIM_NOT_INSERTED);
        AddInterface(L"2", MBN_READY_STATE_BAD_SIM);
        Store(Modem(L""), L"LowerBound", static_cast<DWORD>(-2));
        EXPECT_EQ(NumberAfter(command), 3);
        FailModem(L"2", L"FailGetReadyState");
        EXPECT_EQ(NumberAfter(command), 2);
    }
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

TEST_F(MbnHelperTest, CutsAQueriedTextToTheLengthOfTheRequests) {
    for (const TextQuery& query : kTextQueries) {
        SCOPED_TRACE(query.command);
        ClearModem();
        EXPECT_EQ(TextAfter(query.command), L"untouched");
        AddInterface(L"0");
        Store(Modem(L"0"), query.value, L"450051234567890");
        EXPECT_EQ(TextAfter(query.command, L"a text with room to spare"), L"450051234567890");
        EXPECT_EQ(TextAfter(query.command, L"fifteen exactly"), L"450051234567890");
        EXPECT_EQ(TextAfter(query.command, L"four"), L"4500");
        EXPECT_EQ(TextAfter(query.command, L""), L"");
        // Without a SIM the text is empty, which is a value. A null text is no value.
        Remove(Modem(L"0"), query.value);
        EXPECT_EQ(TextAfter(query.command), L"");
        Store(Modem(L"0"), L"NullTexts", 1);
        EXPECT_EQ(TextAfter(query.command), L"untouched");
    }
}

TEST_F(MbnHelperTest, AnswersWithTheTextOfTheLastInterfaceThatGivesOne) {
    for (const TextQuery& query : kTextQueries) {
        SCOPED_TRACE(query.command);
        ClearModem();
        for (const wchar_t* place : {L"0", L"1", L"2", L"3"}) {
            AddInterface(place);
            Store(Modem(place), query.value, std::wstring(L"of ") + place);
        }
        EXPECT_EQ(TextAfter(query.command), L"of 3");
        Store(Modem(L"3"), L"NullElement", 1);
        EXPECT_EQ(TextAfter(query.command), L"of 2");
        FailModem(L"2", query.failure);
        EXPECT_EQ(TextAfter(query.command), L"of 1");
        Remove(Modem(L"1"), query.value);
        EXPECT_EQ(TextAfter(query.command), L"") << "an empty text replaces earlier ones";
        Store(Modem(L"1"), L"NullTexts", 1);
        EXPECT_EQ(TextAfter(query.command), L"untouched") << "a null text replaces earlier ones";
        FailModem(L"", query.failure);
        EXPECT_EQ(TextAfter(query.command), L"untouched");
    }
    EXPECT_EQ(PrintedText(), L"");
}

TEST_F(MbnHelperTest, ReadsTheHomeProviderOnlyFromAnInitializedModem) {
    AddInterface(L"0");
    for (DWORD state : {0, 2, 5, 99}) {
        AddInterface(L"1", state);
        EXPECT_EQ(TextAfter(L"MBNHELPER_GETHOMEPROVIDERID"), L"id0") << state;
    }
    AddInterface(L"1");
    FailModem(L"1", L"FailGetReadyState");
    EXPECT_EQ(TextAfter(L"MBNHELPER_GETHOMEPROVIDERNAME"), L"name0");
    // A success that is not S_OK gives no provider either.
    Remove(Modem(L"1"), L"FailGetReadyState");
    Store(Modem(L"1"), L"FailGetHomeProvider", S_FALSE);
    EXPECT_EQ(TextAfter(L"MBNHELPER_GETHOMEPROVIDERNAME"), L"name0");
}

TEST_F(MbnHelperTest, ReadsNothingForAnUnknownSelector) {
    AddInterface(L"0");
    BSTR text = nullptr;
    EXPECT_EQ(QueryMbnInterface(MbnQuerySelector{4}, &text), S_OK);
    EXPECT_EQ(text, nullptr);
}

TEST_F(MbnHelperTest, ConnectsIdleInterfacesUntilOneIsDisconnecting) {
    const std::optional<DWORD> before[] = {{}, {}, 4, 0, 1, 2, 3, 77, 4, 3};
    const std::optional<long> after[] = {{}, {}, 1, 1, 1, 2, 1, 1, 4, 3};
    for (std::size_t i = 0; i < std::size(before); ++i) {
        Store(Modem(std::to_wstring(i) + L"\\Profiles\\0"), L"Name", L"Bramble Profile");
        if (before[i]) {
            Store(Modem(std::to_wstring(i)), L"ActivationState", *before[i]);
        }
    }
    FailModem(L"0", L"FailGetConnection");
    FailModem(L"1", L"FailConnect");
    // A state that cannot be read counts as "none".
    FailModem(L"2", L"FailGetConnectionState");
    EXPECT_EQ(TextAfter(L"MBNHELPER_CONNECT"), L"untouched");
    for (std::size_t i = 0; i < std::size(after); ++i) {
        EXPECT_EQ(StoredNumber(Modem(std::to_wstring(i)), L"ActivationState"), after[i]) << i;
    }
    EXPECT_EQ(StoredText(Modem(L"3"), L"ActiveProfile"), L"Bramble Profile");
    EXPECT_EQ(StoredText(Modem(L"4"), L"ActiveProfile"), L"");
    EXPECT_EQ(PrintedText(), L"");
}

TEST_F(MbnHelperTest, DisconnectsOnlyActiveConnections) {
    for (DWORD state = 0; state <= 4; ++state) {
        Store(Modem(std::to_wstring(state)), L"ActivationState", state);
        Store(Modem(std::to_wstring(state)), L"ActiveProfile", L"some");
    }
    EXPECT_EQ(TextAfter(L"MBNHELPER_DISCONNECT"), L"untouched");
    for (long state = 0; state <= 4; ++state) {
        EXPECT_EQ(StoredNumber(Modem(std::to_wstring(state)), L"ActivationState"),
                  state == 1 ? 3 : state);
    }
}

// The document with these parts. How it is cut and split is fuzzed: fuzz/profile.cpp.
std::wstring Document(const std::wstring& description,
                      const std::wstring& sim,
                      const std::wstring& context) {
    return L"<?xml version=\"1.0\"?>"
           L"<MBNProfileExt xmlns=\"http://www.microsoft.com/networking/WWAN/profile/v4\">"
           L"<Name>Bramble Profile</Name><Description>" +
           description +
           L"</Description><IsDefault>true</IsDefault>"
           L"<ProfileCreationType>UserProvisioned</ProfileCreationType>" +
           sim +
           L"<AutoConnectOnInternet>true</AutoConnectOnInternet>"
           L"<ConnectionMode>auto-home</ConnectionMode><Context>" +
           context + L"</Context></MBNProfileExt>";
}

TEST_F(MbnHelperTest, ReplacesAllProfilesByItsOwnAndDeletesIt) {
    AddInterface(L"0");
    AddInterface(L"1");
    Store(Modem(L"0\\Profiles\\4"), L"Name", L"factory");
    Store(Modem(L"1\\Profiles\\0"), L"Name", L"Bramble Profile");
    for (const std::wstring apn : {L"first", L"second"}) {
        EXPECT_EQ(TextAfter(L"MBNHELPER_CREATEPROFILE", L"A&B|" + apn + L"|nOnE|me|secret|IPv4"),
                  L"A&B");
        for (const std::wstring profiles : {L"0\\Profiles\\", L"1\\Profiles\\"}) {
            EXPECT_EQ(StoredText(Modem(profiles + L"0"), L"Name"), L"Bramble Profile");
            EXPECT_PRED_FORMAT2(
                SameElements, StoredText(Modem(profiles + L"0"), L"Document"),
                Document(L"A&B",
                         L"<SubscriberID>subscriber1</SubscriberID>"
                         L"<SimIccID>iccid1</SimIccID>"
                         L"<HomeProviderName>name1</HomeProviderName>",
                         L"<AccessString>" + apn +
                             L"</AccessString><Compression>DISABLE</Compression>"
                             L"<AuthProtocol>nOnE</AuthProtocol><IPType>IPv4</IPType>"));
            EXPECT_EQ(StoredText(Modem(profiles + L"4"), L"Name"), L"");
            EXPECT_EQ(StoredText(Modem(profiles + L"1"), L"Name"), L"");
        }
    }
    TextAfter(L"MBNHELPER_CONNECT");
    EXPECT_EQ(StoredText(Modem(L"1"), L"ActiveProfile"), L"Bramble Profile");
    EXPECT_EQ(TextAfter(L"MBNHELPER_DELETEPROFILE"), L"untouched");
    EXPECT_EQ(StoredNumber(Modem(L"1"), L"ActivationState"), 3);
    EXPECT_EQ(StoredText(Modem(L"1\\Profiles\\0"), L"Name"), L"");
    EXPECT_EQ(PrintedText(), L"");
}

TEST_F(MbnHelperTest, BuildsTheProfileFromTheValuesThatTheSimHas) {
    AddInterface(L"0", MBN_READY_STATE_DEVICE_LOCKED);
    FailModem(L"0", L"FailGetSimIccId");
    EXPECT_EQ(TextAfter(L"MBNHELPER_CREATEPROFILE",
                        L"|1\n2|NONE2|4|" + std::wstring(300, L'5') + L"|6|7|8|9"),
              L"|1");
    EXPECT_EQ(PrintedText(), L"fail overfail over");
    EXPECT_PRED_FORMAT2(SameElements, StoredText(Modem(L"0\\Profiles\\0"), L"Document"),
                        Document(L"1",
                                 L"<SubscriberID>subscriber0</SubscriberID><SimIccID></SimIccID>"
                                 L"<HomeProviderName></HomeProviderName>",
                                 L"<AccessString>2</AccessString><Compression>7</Compression>"
                                 L"<AuthProtocol>NONE2</AuthProtocol><Username>4</Username>"
                                 L"<Password>" +
                                     std::wstring(245, L'5') + L"<IPType>6</IPType>"));
}

}  // namespace
