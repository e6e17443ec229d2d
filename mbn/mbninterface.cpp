#include "mbn/mbninterface.h"

#include <iterator>

#include "mbn/homeprovider.h"
#include "mbn/interfacewalk.h"
#include "mbn/mbnapi.h"
#include "mbn/mbnprofiletext.h"
#include "win32/bstr.h"
#include "win32/comptr.h"

namespace {

HRESULT ReadReadyState(IMbnInterface& modem, void* out) {
    MBN_READY_STATE state = MBN_READY_STATE_OFF;
    HRESULT result = modem.GetReadyState(&state);
    if (SUCCEEDED(result)) {
        *static_cast<MBN_READY_STATE*>(out) = state;
    }
    return result;
}

HRESULT ReadHomeProvider(IMbnInterface& modem, void* out) {
    MBN_READY_STATE state = MBN_READY_STATE_OFF;
    HRESULT result = modem.GetReadyState(&state);
    if (FAILED(result) || state != MBN_READY_STATE_INITIALIZED) {
        return result;
    }
    HomeProvider provider;
    result = modem.GetHomeProvider(&provider);
    if (SUCCEEDED(result)) {
        provider.Exchange(*static_cast<MBN_PROVIDER*>(out));
    }
    return result;
}

using SubscriberText = HRESULT (STDMETHODCALLTYPE IMbnSubscriberInformation::*)(BSTR*);

template <SubscriberText get>
HRESULT ReadSubscriberText(IMbnInterface& modem, void* out) {
    ComPtr<IMbnSubscriberInformation> information;
    HRESULT result = modem.GetSubscriberInformation(information.Receive());
    if (FAILED(result) || !information) {
        return result;
    }
    Bstr text;
    result = (information.Get()->*get)(text.Receive());
    if (SUCCEEDED(result) && text) {
        BSTR* value = static_cast<BSTR*>(out);
        Bstr earlier(*value);
        *value = text.Release();
    }
    return result;
}

// By selector.
using Reader = HRESULT (*)(IMbnInterface& modem, void* out);
constexpr Reader kReaders[] = {
    ReadReadyState,
    ReadHomeProvider,
    ReadSubscriberText<&IMbnSubscriberInformation::get_SimIccID>,
    ReadSubscriberText<&IMbnSubscriberInformation::get_SubscriberID>,
};

MBN_ACTIVATION_STATE ActivationState(IMbnConnection& connection) {
    MBN_ACTIVATION_STATE state = MBN_ACTIVATION_STATE_NONE;
    Bstr profile_name;
    connection.GetConnectionState(&state, profile_name.Receive());
    return state;
}

}  // namespace

HRESULT QueryMbnInterface(MbnQuerySelector selector, void* out) {
    const size_t index = static_cast<size_t>(selector);
    return WalkInterfaces([=](IMbnInterface& modem) -> WalkStep {
        return {index < std::size(kReaders) ? kReaders[index](modem, out) : S_OK};
    });
}

HRESULT DisconnectAllConnections() {
    return WalkInterfaces([](IMbnInterface& modem) -> WalkStep {
        ComPtr<IMbnConnection> connection;
        HRESULT result = modem.GetConnection(connection.Receive());
        if (FAILED(result) || !connection) {
            return {result};
        }
        if (ActivationState(*connection.Get()) == MBN_ACTIVATION_STATE_ACTIVATED) {
            ULONG request_id = 0;
            connection.Get()->Disconnect(&request_id);
        }
        return {result};
    });
}

HRESULT ConnectWithProfile() {
    return WalkInterfaces([](IMbnInterface& modem) -> WalkStep {
        ComPtr<IMbnConnection> connection;
        HRESULT result = modem.GetConnection(connection.Receive());
        if (FAILED(result) || !connection) {
            return {result};
        }
        switch (ActivationState(*connection.Get())) {
            case MBN_ACTIVATION_STATE_DEACTIVATING:
                return {result, false};
            case MBN_ACTIVATION_STATE_ACTIVATED:
            case MBN_ACTIVATION_STATE_ACTIVATING:
                break;
            default: {
                ULONG request_id = 0;
                connection.Get()->Connect(MBN_CONNECTION_MODE_PROFILE, kProfileName, &request_id);
                break;
            }
        }
        return {result};
    });
}
