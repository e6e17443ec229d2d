#include "mbn/mbnhelper.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "mbn/mbnapi.h"
#include "tests/support/answers.h"
#include "tests/support/interposed.h"
#include "tests/support/recorders.h"
#include "tests/support/registryvalues.h"
#include "tests/support/simulatedmodem.h"

namespace {

void ExpectNothingHeld() {
    EXPECT_EQ(HeldOfModem(), 0);
    EXPECT_EQ(g_watch.held, 0) << "apartments not left";
}

void NoteContext(REFCLSID, IUnknown*, DWORD context, REFIID, void**) {
    EXPECT_EQ(context, 0x17u) << "a server in another process would not be found";
}

}  // namespace

INTERPOSE_NOTED(CoCreateInstance, kNone, NoteContext);
INTERPOSE(SafeArrayGetLBound, kNone);
INTERPOSE(SafeArrayGetUBound, kNone);
INTERPOSE(SafeArrayGetElement, kNone);

namespace {

class MbnHelperTest : public testing::Test {
 protected:
    void SetUp() override {
        RegisterModem(true);
        ClearModem();
        g_watch = {true, {"CoInitializeEx"}};
        g_aliveWhenLeft = 0;
        TakePrinted();
        // The product may hold nothing of the modem while it answers.
        g_onAnswer = ExpectNothingHeld;
    }

    // Expects that everything was released before the thread left the apartment.
    void TearDown() override {
        ExpectNothingHeld();
        EXPECT_EQ(g_aliveWhenLeft, 0);
        g_watch.on = false;
        ClearModem();
        RegisterModem(false);
    }

    static std::wstring Ask(const wchar_t* command, const wchar_t* text = L"untouched") {
        return AnswerOf(MbnHelperCommand, command, true, 7, text);
    }
};

TEST_F(MbnHelperTest, AnswersWithTheReadyStateOfTheLastInterfaceThatGivesOne) {
    for (const wchar_t* command : {L"MBNHELPER_CHECKINTERFACE", L"MBNHELPER_CHECKSIMSTATUS"}) {
        ClearModem();
        EXPECT_EQ(Ask(command), L"true 0 untouched");
        AddInterface(L"0", MBN_READY_STATE_NOT_ACTIVATED);
        AddInterface(L"1", MBN_READY_STATE_SIM_NOT_INSERTED);
        AddInterface(L"2", MBN_READY_STATE_BAD_SIM);
        Store(Modem(L""), L"LowerBound", static_cast<DWORD>(-2));
        EXPECT_EQ(Ask(command), L"true 3 untouched");
        FailModem(L"2", L"FailGetReadyState");
        EXPECT_EQ(Ask(command), L"true 2 untouched");
    }
}

TEST_F(MbnHelperTest, AnswersWithTheTextOfTheLastInterfaceThatGivesOneCutToTheRequest) {
    constexpr struct {
        const wchar_t* command;
        const wchar_t* value;
        const wchar_t* failure;
    } kQueries[] = {
        {L"MBNHELPER_GETHOMEPROVIDERID", L"ProviderId", L"FailGetHomeProvider"},
        {L"MBNHELPER_GETHOMEPROVIDERNAME", L"ProviderName", L"FailGetHomeProvider"},
        {L"MBNHELPER_GETSUBSCRIBERID", L"SubscriberId", L"FailGetSubscriberId"},
        {L"MBNHELPER_GETSIMICCID", L"SimIccId", L"FailGetSimIccId"},
    };
    for (const auto& [command, value, failure] : kQueries) {
        SCOPED_TRACE(command);
        ClearModem();
        EXPECT_EQ(Ask(command), L"true 7 untouched");
        for (const wchar_t* place : {L"0", L"1", L"2", L"3"}) {
            AddInterface(place);
            Store(Modem(place), value, std::wstring(L"of ") + place);
        }
        EXPECT_EQ(Ask(command, L"longer"), L"true 7 of 3");
        EXPECT_EQ(Ask(command, L"four"), L"true 7 of 3");
        EXPECT_EQ(Ask(command, L"two"), L"true 7 of ");
        EXPECT_EQ(Ask(command, L""), L"true 7");
        Store(Modem(L"3"), L"NullElement", 1);
        EXPECT_EQ(Ask(command), L"true 7 of 2");
        FailModem(L"2", failure);
        EXPECT_EQ(Ask(command), L"true 7 of 1");
        // Without a SIM the text is empty, which is a value. A null text is no value. Both replace
        // the texts of earlier interfaces.
        Remove(Modem(L"1"), value);
        EXPECT_EQ(Ask(command), L"true 7");
        Store(Modem(L"1"), L"NullTexts", 1);
        EXPECT_EQ(Ask(command), L"true 7 untouched");
        FailModem(L"1", failure);
        EXPECT_EQ(Ask(command), L"true 7 of 0");
    }
    EXPECT_EQ(TakePrinted(), L"");
}

TEST_F(MbnHelperTest, ReadsTheHomeProviderOnlyFromAnInitializedModem) {
    AddInterface(L"0");
    for (DWORD state : {0, 2, 5, 99}) {
        AddInterface(L"1", state);
        EXPECT_EQ(Ask(L"MBNHELPER_GETHOMEPROVIDERID"), L"true 7 id0") << state;
    }
    AddInterface(L"1");
    FailModem(L"1", L"FailGetReadyState");
    EXPECT_EQ(Ask(L"MBNHELPER_GETHOMEPROVIDERNAME"), L"true 7 name0");
    // A success that is not S_OK gives no provider either.
    Remove(Modem(L"1"), L"FailGetReadyState");
    Store(Modem(L"1"), L"FailGetHomeProvider", S_FALSE);
    EXPECT_EQ(Ask(L"MBNHELPER_GETHOMEPROVIDERNAME"), L"true 7 name0");
}

TEST_F(MbnHelperTest, ConnectsIdleInterfacesUntilOneIsDisconnectingAndDisconnectsActiveOnes) {
    // The states of the interfaces' connections: before, and after either command.
    constexpr DWORD kBefore[] = {3, 3, 4, 0, 1, 2, 3, 77, 4, 3, 1};
    constexpr long kConnected[] = {3, 3, 1, 1, 1, 2, 1, 1, 4, 3, 1};
    constexpr long kDisconnected[] = {3, 3, 4, 0, 3, 2, 3, 77, 4, 3, 3};
    for (const bool connect : {true, false}) {
        ClearModem();
        for (std::size_t i = 0; i < std::size(kBefore); ++i) {
            Store(Modem(std::to_wstring(i)), L"ActivationState", kBefore[i]);
            Store(Modem(std::to_wstring(i) + L"\\Profiles\\0"), L"Name", L"Bramble Profile");
        }
        FailModem(L"0", L"FailGetConnection");
        FailModem(L"1", L"FailConnect");
        // A state that cannot be read counts as "none".
        FailModem(L"2", L"FailGetConnectionState");
        EXPECT_EQ(Ask(connect ? L"MBNHELPER_CONNECT" : L"MBNHELPER_DISCONNECT"),
                  L"true 7 untouched");
        for (std::size_t i = 0; i < std::size(kBefore); ++i) {
            EXPECT_EQ(StoredNumber(Modem(std::to_wstring(i)), L"ActivationState"),
                      connect ? kConnected[i] : kDisconnected[i]);
        }
        EXPECT_EQ(StoredText(Modem(L"3"), L"ActiveProfile"), connect ? L"Bramble Profile" : L"");
    }
    EXPECT_EQ(TakePrinted(), L"");
}

// The whole document is compared in fuzz/profile.cpp.
void ExpectInDocument(const wchar_t* place, std::initializer_list<std::wstring> elements) {
    const std::wstring document = StoredText(Modem(place) + L"\\Profiles\\0", L"Document");
    for (const std::wstring& element : elements) {
        EXPECT_NE(document.find(element), document.npos) << testing::PrintToString(element);
    }
}

TEST_F(MbnHelperTest, ReplacesAllProfilesWithItsOwnAndDeletesIt) {
    AddInterface(L"0");
    AddInterface(L"1");
    Store(Modem(L"0\\Profiles\\4"), L"Name", L"factory");
    Store(Modem(L"1\\Profiles\\0"), L"Name", L"Bramble Profile");
    // The second time, the profile exists already.
    for (const std::wstring apn : {L"first", L"second"}) {
        const std::wstring text = L"A&B|" + apn + L"|nOnE|me|secret|IPv4";
        EXPECT_EQ(Ask(L"MBNHELPER_CREATEPROFILE", text.c_str()), L"true 7 A&B");
        for (const wchar_t* place : {L"0", L"1"}) {
            const std::wstring profiles = Modem(place) + L"\\Profiles\\";
            EXPECT_EQ(StoredText(profiles + L"0", L"Name"), L"Bramble Profile");
            EXPECT_EQ(StoredText(profiles + L"1", L"Name") + StoredText(profiles + L"4", L"Name"),
                      L"");
            ExpectInDocument(
                place, {L"<Description>A&B<", L"<SubscriberID>subscriber1<", L"<SimIccID>iccid1<",
                        L"<HomeProviderName>name1<", L"<AccessString>" + apn + L"<"});
        }
    }
    Ask(L"MBNHELPER_CONNECT");
    EXPECT_EQ(Ask(L"MBNHELPER_DELETEPROFILE"), L"true 7 untouched");
    EXPECT_EQ(StoredNumber(Modem(L"1"), L"ActivationState"), 3);
    EXPECT_EQ(StoredText(Modem(L"1\\Profiles\\0"), L"Name"), L"");
    EXPECT_EQ(TakePrinted(), L"");
}

TEST_F(MbnHelperTest, AProfileThatCannotBeDeletedDoesNotEndTheDeletion) {
    AddInterface(L"0");
    std::wstring left;
    for (const std::wstring place : {L"0", L"1", L"2", L"3"}) {
        Store(Modem(L"0\\Profiles\\" + place), L"Name", place);
    }
    FailModem(L"0\\Profiles\\2", L"FailDelete");
    EXPECT_EQ(Ask(L"MBNHELPER_DELETEPROFILE"), L"true 7 untouched");
    for (const std::wstring place : {L"0", L"1", L"2", L"3"}) {
        left += StoredText(Modem(L"0\\Profiles\\" + place), L"Name");
    }
    EXPECT_EQ(left, L"2");
}

TEST_F(MbnHelperTest, BuildsTheProfileFromTheValuesThatTheSimHas) {
    AddInterface(L"0", MBN_READY_STATE_DEVICE_LOCKED);
    FailModem(L"0", L"FailGetSimIccId");
    EXPECT_EQ(Ask(L"MBNHELPER_CREATEPROFILE", L"|1\n2|NONE2|4|5|6|7|8|9"), L"true 7 |1");
    EXPECT_EQ(TakePrinted(), L"GetConnectionProfiles errorfail overfail over");
    ExpectInDocument(L"0", {L"<Description>1<", L"<SubscriberID>subscriber0<", L"<SimIccID><",
                            L"<HomeProviderName><", L"<Compression>7<"});
}

TEST_F(MbnHelperTest, AnInterfaceThatIsNotReadyEndsTheDeletionOfProfiles) {
    for (const wchar_t* place : {L"0", L"1", L"2"}) {
        AddInterface(place, *place == L'1' ? MBN_READY_STATE_SIM_NOT_INSERTED : 1);
        Store(Modem(place) + L"\\Profiles\\0", L"Name", L"kept");
    }
    EXPECT_EQ(Ask(L"MBNHELPER_DELETEPROFILE"), L"true 7 untouched");
    EXPECT_EQ(TakePrinted(), L"GetConnectionProfiles error");
    EXPECT_EQ(StoredText(Modem(L"0\\Profiles\\0"), L"Name"), L"");
    EXPECT_EQ(StoredText(Modem(L"2\\Profiles\\0"), L"Name"), L"kept");
    // Without a SIM there is no number of it.
    EXPECT_EQ(Ask(L"MBNHELPER_GETSIMICCID"), L"true 7 iccid2");
    Store(Modem(L"2"), L"ReadyState", 2);
    EXPECT_EQ(Ask(L"MBNHELPER_GETSIMICCID"), L"true 7");
}

// Makes the function fail: a function of the simulated modem (call 0) always, a function of Windows
// at that call. Carries out the command and returns its answer, what it printed, the first letters
// of the profiles and the states of the connections.
std::wstring After(const std::string& function, int call, const std::wstring& command) {
    ClearModem();
    AddInterface(L"0");
    AddInterface(L"1");
    Store(Modem(L"0"), L"ActivationState", MBN_ACTIVATION_STATE_ACTIVATED);
    Store(Modem(L"1"), L"ActivationState", MBN_ACTIVATION_STATE_DEACTIVATED);
    Store(Modem(L"0\\Profiles\\0"), L"Name", L"a");
    Store(Modem(L"0\\Profiles\\1"), L"Name", L"b");
    Store(Modem(L"1\\Profiles\\0"), L"Name", L"Bramble Profile");
    if (call == 0) {
        FailModem(L"", std::wstring(function.begin(), function.end()).c_str());
    }
    g_watch = {true, {function.c_str(), call, E_FAIL}};
    std::wstring result = AnswerOf(MbnHelperCommand, L"MBNHELPER_" + command, true, 7, L"d|apn");
    result += L", " + TakePrinted() + L", ";
    for (const wchar_t* place : {L"0\\Profiles\\0", L"0\\Profiles\\1", L"1\\Profiles\\0"}) {
        result += StoredText(Modem(place), L"Name").substr(0, 1);
    }
    for (const wchar_t* place : {L"0", L"1"}) {
        result += std::to_wstring(StoredNumber(Modem(place), L"ActivationState").value_or(-1));
    }
    ExpectNothingHeld();
    return result;
}

TEST_F(MbnHelperTest, FailuresArePrintedAndEndTheOperationWithoutChangingTheAnswer) {
    constexpr struct {
        const char* function;
        int call;
        const wchar_t* command;
        const wchar_t* outcome;
    } kFailures[] = {
        {"CoInitializeEx", 1, L"CHECKSIMSTATUS", L"true 0 d|apn, Coinitialize failed, abB13"},
        {"CoCreateInstance", 1, L"GETSIMICCID", L"true 7 d|apn, CoCreateInstance error, abB13"},
        {"FailGetInterfaces", 0, L"CHECKINTERFACE", L"true 0 d|apn, GetInterfaces error, abB13"},
        {"SafeArrayGetLBound", 1, L"GETSIMICCID", L"true 7 d|apn, SafeArrayGetLBound error, abB13"},
        {"SafeArrayGetUBound", 1, L"GETSIMICCID", L"true 7 d|apn, SafeArrayGetUBound error, abB13"},
        {"SafeArrayGetElement", 1, L"GETSIMICCID", L"true 7 iccid, , abB13"},
        // The first interface is disconnected before its profiles are deleted.
        {"CoInitializeEx", 2, L"DELETEPROFILE", L"true 7 d|apn, Coinitialize failed, abB33"},
        {"CoCreateInstance", 2, L"DELETEPROFILE",
         L"true 7 d|apn, CoCreateInstance CLSID_MbnConnectionProfileManager error, abB33"},
        {"CoCreateInstance", 3, L"DELETEPROFILE",
         L"true 7 d|apn, CoCreateInstance CLSID_MbnInterfaceManager error, abB33"},
        {"FailGetConnectionProfiles", 0, L"DELETEPROFILE",
         L"true 7 d|apn, GetConnectionProfiles error, abB33"},
        {"SafeArrayGetLBound", 3, L"DELETEPROFILE",
         L"true 7 d|apn, SafeArrayGetLBound profile error, abB33"},
        {"SafeArrayGetUBound", 4, L"DELETEPROFILE",
         L"true 7 d|apn, SafeArrayGetUBound profile error, B33"},
        // All profiles are deleted before the new one is created.
        {"CoInitializeEx", 6, L"CREATEPROFILE", L"true 7 d, Coinitialize failed, 13"},
        {"CoCreateInstance", 7, L"CREATEPROFILE",
         L"true 7 d, CoCreateInstance CLSID_MbnConnectionProfileManager error, 13"},
        {"FailCreateProfile", 0, L"CREATEPROFILE",
         L"true 7 d, CoCreateInstance CLSID_MbnConnectionProfileManager error, 13"},
    };
    for (const auto& [function, call, command, outcome] : kFailures) {
        EXPECT_EQ(After(function, call, command), outcome);
    }
}

}  // namespace
