#include "mbn/mbninterface.h"

#include <utility>

#include "mbn/interfaceloop.h"
#include "mbn/mbnprofiletext.h"

namespace {

// Each function reads a value of one interface. If it fails, `value` does not change.

HRESULT GetReadyState(IMbnInterface& mbn_interface, MBN_READY_STATE& value) {
    MBN_READY_STATE state = MBN_READY_STATE_OFF;
    const HRESULT result = mbn_interface.GetReadyState(&state);
    if (SUCCEEDED(result)) {
        value = state;
    }
    return result;
}

HRESULT GetHomeProvider(IMbnInterface& mbn_interface, HomeProvider& value) {
    MBN_READY_STATE state = MBN_READY_STATE_OFF;
    HRESULT result = GetReadyState(mbn_interface, state);
    if (FAILED(result) || state != MBN_READY_STATE_INITIALIZED) {
        return result;
    }
    MBN_PROVIDER provider = {};
    result = mbn_interface.GetHomeProvider(&provider);
    // With any other result the caller must not free the strings in the structure.
    if (result == S_OK) {
        value = {Bstr(provider.providerID), Bstr(provider.providerName)};
    }
    return result;
}

// A function of IMbnSubscriberInformation that gives a text.
using GetText = HRESULT (STDMETHODCALLTYPE IMbnSubscriberInformation::*)(BSTR* text);

HRESULT GetSubscriberText(IMbnInterface& mbn_interface, GetText get, Bstr& value) {
    ComPtr<IMbnSubscriberInformation> information;
    HRESULT result = mbn_interface.GetSubscriberInformation(information.put());
    if (FAILED(result) || !information) {
        return result;
    }
    Bstr text;
    result = (information.get()->*get)(text.put());
    if (SUCCEEDED(result)) {
        value = std::move(text);
    }
    return result;
}

// Returns what `get` stores: a function of the interface and of the value, called for each
// interface. Kept: all interfaces are read, and the value of the last one remains.
template <typename Value, typename Get>
Value ReadLast(Get get) {
    Value value = {};
    ForEachInterface(
        [&](IMbnInterface& mbn_interface) -> StepResult { return {get(mbn_interface, value)}; });
    return value;
}

Bstr ReadSubscriberText(GetText get) {
    return ReadLast<Bstr>([=](IMbnInterface& mbn_interface, Bstr& value) {
        return GetSubscriberText(mbn_interface, get, value);
    });
}

// Calls `act`, a bool(IMbnConnection&, MBN_ACTIVATION_STATE), for the connection of each interface
// that has one. If `act` returns false, the loop ends. A state that cannot be read counts as NONE.
template <typename Act>
HRESULT ForEachConnection(Act act) {
    return ForEachInterface([=](IMbnInterface& mbn_interface) -> StepResult {
        ComPtr<IMbnConnection> connection;
        const HRESULT result = mbn_interface.GetConnection(connection.put());
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

MBN_READY_STATE ReadReadyState() {
    return ReadLast<MBN_READY_STATE>(GetReadyState);
}

HomeProvider ReadHomeProvider() {
    return ReadLast<HomeProvider>(GetHomeProvider);
}

Bstr ReadSimIccId() {
    return ReadSubscriberText(&IMbnSubscriberInformation::get_SimIccID);
}

Bstr ReadSubscriberId() {
    return ReadSubscriberText(&IMbnSubscriberInformation::get_SubscriberID);
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
