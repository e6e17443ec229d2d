#include "mbn/mbninterface.h"

#include "mbn/interfacewalk.h"
#include "mbn/mbnapi.h"
#include "mbn/mbnprofiletext.h"
#include "win32/uniquehandle.h"

namespace {

// What one interface says: takes the place of `value`, whose strings are freed, unless the
// interface could not be asked.

HRESULT ReadyStateOf(IMbnInterface& modem, MBN_READY_STATE& value) {
    MBN_READY_STATE state = MBN_READY_STATE_OFF;
    HRESULT result = modem.GetReadyState(&state);
    if (SUCCEEDED(result)) {
        value = state;
    }
    return result;
}

HRESULT HomeProviderOf(IMbnInterface& modem, MBN_PROVIDER& value) {
    MBN_READY_STATE state = MBN_READY_STATE_OFF;
    HRESULT result = modem.GetReadyState(&state);
    if (FAILED(result) || state != MBN_READY_STATE_INITIALIZED) {
        return result;
    }
    MBN_PROVIDER provider = {};
    result = modem.GetHomeProvider(&provider);
    // Otherwise the structure counts as unset: nothing that stands in it is ours to free.
    if (result == S_OK) {
        const HomeProvider earlier = {Bstr(value.providerID), Bstr(value.providerName)};
        value = provider;
    }
    return result;
}

using SubscriberText = HRESULT (STDMETHODCALLTYPE IMbnSubscriberInformation::*)(BSTR*);

template <SubscriberText get>
HRESULT SubscriberTextOf(IMbnInterface& modem, BSTR& value) {
    ComPtr<IMbnSubscriberInformation> information;
    HRESULT result = modem.GetSubscriberInformation(information.put());
    if (FAILED(result) || !information) {
        return result;
    }
    Bstr text;
    result = (information.get()->*get)(text.put());
    if (SUCCEEDED(result)) {
        const Bstr earlier(value);
        value = text.release();
    }
    return result;
}

constexpr auto* kSimIccIdOf = SubscriberTextOf<&IMbnSubscriberInformation::get_SimIccID>;
constexpr auto* kSubscriberIdOf = SubscriberTextOf<&IMbnSubscriberInformation::get_SubscriberID>;

// Kept: all are asked, and the last one that could be prevails.
template <typename Value>
HRESULT OfLastInterface(HRESULT (*read)(IMbnInterface& modem, Value& value), Value& value) {
    return WalkInterfaces(
        [=, &value](IMbnInterface& modem) -> StepResult { return {read(modem, value)}; });
}

MBN_ACTIVATION_STATE ActivationState(IMbnConnection& connection) {
    MBN_ACTIVATION_STATE state = MBN_ACTIVATION_STATE_NONE;
    Bstr profile_name;
    connection.GetConnectionState(&state, profile_name.put());
    return state;
}

}  // namespace

MBN_READY_STATE ReadReadyState() {
    MBN_READY_STATE state = MBN_READY_STATE_OFF;
    OfLastInterface(ReadyStateOf, state);
    return state;
}

HomeProvider ReadHomeProvider() {
    MBN_PROVIDER provider = {};
    OfLastInterface(HomeProviderOf, provider);
    return {Bstr(provider.providerID), Bstr(provider.providerName)};
}

Bstr ReadSimIccId() {
    Bstr text;
    OfLastInterface(kSimIccIdOf, *text.put());
    return text;
}

Bstr ReadSubscriberId() {
    Bstr text;
    OfLastInterface(kSubscriberIdOf, *text.put());
    return text;
}

HRESULT QueryMbnInterface(MbnQuerySelector selector, void* out) {
    switch (selector) {
        case MbnQuerySelector::kReadyState:
            return OfLastInterface(ReadyStateOf, *static_cast<MBN_READY_STATE*>(out));
        case MbnQuerySelector::kHomeProvider:
            return OfLastInterface(HomeProviderOf, *static_cast<MBN_PROVIDER*>(out));
        case MbnQuerySelector::kSimIccId:
            return OfLastInterface(kSimIccIdOf, *static_cast<BSTR*>(out));
        case MbnQuerySelector::kSubscriberId:
            return OfLastInterface(kSubscriberIdOf, *static_cast<BSTR*>(out));
    }
    // Kept: any other selector walks and reads nothing.
    return WalkInterfaces([](IMbnInterface& /*modem*/) -> StepResult { return {S_OK}; });
}

HRESULT DisconnectAllConnections() {
    return WalkInterfaces([](IMbnInterface& modem) -> StepResult {
        ComPtr<IMbnConnection> connection;
        HRESULT result = modem.GetConnection(connection.put());
        if (FAILED(result) || !connection) {
            return {result};
        }
        if (ActivationState(*connection.get()) == MBN_ACTIVATION_STATE_ACTIVATED) {
            ULONG request_id = 0;
            // Kept: here and in Connect, neither the result is looked at nor the end awaited.
            connection->Disconnect(&request_id);
        }
        return {result};
    });
}

HRESULT ConnectWithProfile() {
    return WalkInterfaces([](IMbnInterface& modem) -> StepResult {
        ComPtr<IMbnConnection> connection;
        HRESULT result = modem.GetConnection(connection.put());
        if (FAILED(result) || !connection) {
            return {result};
        }
        switch (ActivationState(*connection.get())) {
            // Kept: ends the walk; later interfaces are not connected.
            case MBN_ACTIVATION_STATE_DEACTIVATING:
                return {result, false};
            case MBN_ACTIVATION_STATE_ACTIVATED:
            case MBN_ACTIVATION_STATE_ACTIVATING:
                break;
            default: {
                ULONG request_id = 0;
                connection->Connect(MBN_CONNECTION_MODE_PROFILE, kProfileName, &request_id);
                break;
            }
        }
        return {result};
    });
}
