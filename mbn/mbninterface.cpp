#include "mbn/mbninterface.h"

#include "mbn/interfaces.h"
#include "mbn/mbnprofiletext.h"

namespace {

// Each function reads a value of one interface into `value`, and frees the strings that were in
// `value`. If it fails, `value` does not change.

HRESULT GetReadyState(IMbnInterface& modem, MBN_READY_STATE& value) {
    MBN_READY_STATE state = MBN_READY_STATE_OFF;
    const HRESULT result = modem.GetReadyState(&state);
    if (SUCCEEDED(result)) {
        value = state;
    }
    return result;
}

HRESULT GetHomeProvider(IMbnInterface& modem, MBN_PROVIDER& value) {
    MBN_READY_STATE state = MBN_READY_STATE_OFF;
    HRESULT result = GetReadyState(modem, state);
    if (FAILED(result) || state != MBN_READY_STATE_INITIALIZED) {
        return result;
    }
    MBN_PROVIDER provider = {};
    result = modem.GetHomeProvider(&provider);
    // With any other result the caller must not free the strings in the structure.
    if (result == S_OK) {
        const HomeProvider earlier = {Bstr(value.providerID), Bstr(value.providerName)};
        value = provider;
    }
    return result;
}

HRESULT GetSubscriberText(IMbnInterface& modem, MbnQuerySelector selector, BSTR& value) {
    ComPtr<IMbnSubscriberInformation> information;
    HRESULT result = modem.GetSubscriberInformation(information.put());
    if (FAILED(result) || !information) {
        return result;
    }
    Bstr text;
    result = selector == MbnQuerySelector::kSimIccId ? information->get_SimIccID(text.put())
                                                     : information->get_SubscriberID(text.put());
    if (SUCCEEDED(result)) {
        const Bstr earlier(value);
        value = text.release();
    }
    return result;
}

// Calls `act`, a bool(IMbnConnection&, MBN_ACTIVATION_STATE), for the connection of each interface
// that has one. If `act` returns false, the loop ends. A state that cannot be read counts as NONE.
template <typename Act>
HRESULT ForEachConnection(Act act) {
    return ForEachInterface([=](IMbnInterface& modem) -> StepResult {
        ComPtr<IMbnConnection> connection;
        const HRESULT result = modem.GetConnection(connection.put());
        if (FAILED(result) || !connection) {
            return {result};
        }
        MBN_ACTIVATION_STATE state = MBN_ACTIVATION_STATE_NONE;
        Bstr profile_name;
        connection->GetConnectionState(&state, profile_name.put());
        return {result, act(*connection.get(), state)};
    });
}

}  // namespace

HRESULT QueryMbnInterface(MbnQuerySelector selector, void* out) {
    // Kept: all interfaces are read, and the value of the last one remains.
    return ForEachInterface([=](IMbnInterface& modem) -> StepResult {
        switch (selector) {
            case MbnQuerySelector::kReadyState:
                return {GetReadyState(modem, *static_cast<MBN_READY_STATE*>(out))};
            case MbnQuerySelector::kHomeProvider:
                return {GetHomeProvider(modem, *static_cast<MBN_PROVIDER*>(out))};
            case MbnQuerySelector::kSimIccId:
            case MbnQuerySelector::kSubscriberId:
                return {GetSubscriberText(modem, selector, *static_cast<BSTR*>(out))};
        }
        return {S_OK};
    });
}

MBN_READY_STATE ReadReadyState() {
    MBN_READY_STATE state = MBN_READY_STATE_OFF;
    QueryMbnInterface(MbnQuerySelector::kReadyState, &state);
    return state;
}

HomeProvider ReadHomeProvider() {
    MBN_PROVIDER provider = {};
    QueryMbnInterface(MbnQuerySelector::kHomeProvider, &provider);
    return {Bstr(provider.providerID), Bstr(provider.providerName)};
}

Bstr ReadText(MbnQuerySelector selector) {
    Bstr text;
    QueryMbnInterface(selector, text.put());
    return text;
}

// Kept: here and in ConnectWithProfile, the result of Disconnect or Connect is ignored.
HRESULT DisconnectAllConnections() {
    return ForEachConnection([](IMbnConnection& connection, MBN_ACTIVATION_STATE state) {
        ULONG request_id = 0;
        if (state == MBN_ACTIVATION_STATE_ACTIVATED) {
            connection.Disconnect(&request_id);
        }
        return true;
    });
}

HRESULT ConnectWithProfile() {
    return ForEachConnection([](IMbnConnection& connection, MBN_ACTIVATION_STATE state) {
        ULONG request_id = 0;
        if (state != MBN_ACTIVATION_STATE_ACTIVATED && state != MBN_ACTIVATION_STATE_ACTIVATING &&
            state != MBN_ACTIVATION_STATE_DEACTIVATING) {
            connection.Connect(MBN_CONNECTION_MODE_PROFILE, kProfileName, &request_id);
        }
        // Kept: an interface that is disconnecting ends the loop.
        return state != MBN_ACTIVATION_STATE_DEACTIVATING;
    });
}
