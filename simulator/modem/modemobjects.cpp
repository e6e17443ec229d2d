#include "simulator/modem/modemobjects.h"

#include <objbase.h>
#include <oleauto.h>

#include <string>
#include <utility>
#include <vector>

#include "simulator/modem/livecount.h"
#include "simulator/modem/mobilebroadband.h"
#include "simulator/modem/modemobject.h"
#include "simulator/modem/modemstate.h"
#include "win32/uniquehandle.h"

namespace {

// By MBN_READY_STATE, as far as the modem depends on them.
enum ReadyState : DWORD { kOff = 0, kInitialized = 1, kNoSim = 2, kNoEsimProfile = 8 };

DWORD ReadyStateOf(const std::wstring& place) {
    return ReadNumber(place, L"ReadyState").value_or(kOff);
}

// Gives a text value to the caller. An absent value is an empty string, as on Windows, or null if
// the registry says so.
HRESULT GiveText(const std::wstring& place, const std::optional<std::wstring>& text, BSTR* out) {
    if (!text && InheritedNumber(place, L"NullTexts") != 0) {
        *out = nullptr;
    } else {
        *out = SysAllocString(text.value_or(L"").c_str());
        CountGivenString();
    }
    return S_OK;
}

// Gives a text of the SIM to the caller. Without a SIM there is none.
HRESULT GiveSimText(const std::wstring& place, const wchar_t* name, BSTR* out) {
    const DWORD state = ReadyStateOf(place);
    const bool none = state == kOff || state == kNoSim || state == kNoEsimProfile;
    return GiveText(place, none ? std::nullopt : ReadText(place, name), out);
}

// Returns the result that the registry value `name` of `place` holds. Without one, does the work.
template <typename Work>
HRESULT Call(const std::wstring& place, const wchar_t* name, Work work) {
    const auto requested = static_cast<HRESULT>(InheritedNumber(place, name));
    return requested != S_OK ? requested : work();
}

// Gives a new object to the caller.
template <typename Object, typename Interface>
HRESULT GiveObject(const std::wstring& place, Interface** out) {
    *out = new Object(place);
    return S_OK;
}

// Gives an array of new objects to the caller, one for each place. An element is null if the
// registry says so.
template <typename Object>
HRESULT GiveArray(const std::vector<std::wstring>& places, LONG lower_bound, SAFEARRAY** out) {
    *out = nullptr;
    SafeArray array(
        SafeArrayCreateVector(VT_UNKNOWN, lower_bound, static_cast<ULONG>(places.size())));
    if (!array) {
        return E_OUTOFMEMORY;
    }
    LONG index = lower_bound;
    for (const std::wstring& place : places) {
        if (!ReadNumber(place, L"NullElement")) {
            const ComPtr<Object> object(new Object(place));
            SafeArrayPutElement(array.get(), &index, object.get());
        }
        ++index;
    }
    *out = array.release();
    return S_OK;
}

class SubscriberInformation final : public ModemObject<MbnSubscriberInformation> {
 public:
    explicit SubscriberInformation(std::wstring place) : m_place(std::move(place)) {}

    HRESULT STDMETHODCALLTYPE get_SubscriberID(BSTR* subscriber_id) override {
        return Call(m_place, L"FailGetSubscriberId",
                    [&] { return GiveSimText(m_place, L"SubscriberId", subscriber_id); });
    }
    HRESULT STDMETHODCALLTYPE get_SimIccID(BSTR* sim_icc_id) override {
        return Call(m_place, L"FailGetSimIccId",
                    [&] { return GiveSimText(m_place, L"SimIccId", sim_icc_id); });
    }

 private:
    std::wstring m_place;
};

class Connection final : public ModemObject<MbnConnection> {
 public:
    explicit Connection(std::wstring place) : m_place(std::move(place)) {}

    HRESULT STDMETHODCALLTYPE Connect(int mode, LPCWSTR profile, ULONG* request_id) override {
        return Call(m_place, L"FailConnect", [&] {
            constexpr int kByProfileName = 0;
            if (mode != kByProfileName || profile == nullptr || request_id == nullptr) {
                return E_INVALIDARG;
            }
            *request_id = NextRequest();
            return ConnectInterface(m_place, profile);
        });
    }
    HRESULT STDMETHODCALLTYPE Disconnect(ULONG* request_id) override {
        return Call(m_place, L"FailDisconnect", [&] {
            if (request_id == nullptr) {
                return E_INVALIDARG;
            }
            *request_id = NextRequest();
            return DisconnectInterface(m_place);
        });
    }
    HRESULT STDMETHODCALLTYPE GetConnectionState(int* state, BSTR* profile_name) override {
        return Call(m_place, L"FailGetConnectionState", [&] {
            *state = static_cast<int>(ReadNumber(m_place, L"ActivationState").value_or(0));
            return GiveText(m_place, ReadText(m_place, L"ActiveProfile"), profile_name);
        });
    }

 private:
    static ULONG NextRequest() {
        static std::atomic<ULONG> last = 0;
        return ++last;
    }

    std::wstring m_place;
};

class Interface final : public ModemObject<MbnInterface> {
 public:
    explicit Interface(std::wstring place) : m_place(std::move(place)) {}

    const std::wstring& Place() const { return m_place; }

    HRESULT STDMETHODCALLTYPE
    GetSubscriberInformation(MbnSubscriberInformation** information) override {
        return Call(m_place, L"FailGetSubscriberInformation",
                    [&] { return GiveObject<SubscriberInformation>(m_place, information); });
    }
    HRESULT STDMETHODCALLTYPE GetReadyState(int* state) override {
        return Call(m_place, L"FailGetReadyState", [&] {
            *state = static_cast<int>(ReadyStateOf(m_place));
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE GetHomeProvider(MbnProvider* provider) override {
        // If the result is not S_OK, the caller must neither use nor free the texts.
        static BSTR own_text = SysAllocString(L"the modem's own");
        constexpr ULONG kHome = 1;
        *provider = {own_text, kHome, own_text, 0};
        return Call(m_place, L"FailGetHomeProvider", [&] {
            GiveText(m_place, ReadText(m_place, L"ProviderId"), &provider->id);
            return GiveText(m_place, ReadText(m_place, L"ProviderName"), &provider->name);
        });
    }
    HRESULT STDMETHODCALLTYPE GetConnection(MbnConnection** connection) override {
        return Call(m_place, L"FailGetConnection",
                    [&] { return GiveObject<Connection>(m_place, connection); });
    }

 private:
    std::wstring m_place;
};

class InterfaceManager final : public ModemObject<MbnInterfaceManager> {
 public:
    HRESULT STDMETHODCALLTYPE GetInterfaces(SAFEARRAY** interfaces) override {
        return Call(L"", L"FailGetInterfaces", [&] {
            const DWORD lower_bound = ReadNumber(L"", L"LowerBound").value_or(0);
            return GiveArray<Interface>(Interfaces(), static_cast<LONG>(lower_bound), interfaces);
        });
    }
};

class Profile final : public ModemObject<MbnConnectionProfile> {
 public:
    explicit Profile(std::wstring place) : m_place(std::move(place)) {}

    HRESULT STDMETHODCALLTYPE Delete() override {
        return Call(m_place, L"FailDelete", [&] { return DeleteProfile(m_place); });
    }

 private:
    std::wstring m_place;
};

class ProfileManager final : public ModemObject<MbnConnectionProfileManager> {
 public:
    HRESULT STDMETHODCALLTYPE GetConnectionProfiles(MbnInterface* mbn_interface,
                                                    SAFEARRAY** profiles) override {
        if (mbn_interface == nullptr) {
            return E_NOTIMPL;
        }
        // The server is in-process and its threading model is Both, so there is no proxy.
        const std::wstring& place = static_cast<Interface*>(mbn_interface)->Place();
        return Call(place, L"FailGetConnectionProfiles", [&] {
            return ReadyStateOf(place) != kInitialized
                       ? HRESULT_FROM_WIN32(ERROR_NOT_READY)
                       : GiveArray<Profile>(Profiles(place), 0, profiles);
        });
    }
    HRESULT STDMETHODCALLTYPE CreateConnectionProfile(LPCWSTR document) override {
        return Call(L"", L"FailCreateProfile",
                    [&] { return document == nullptr ? E_INVALIDARG : CreateProfile(document); });
    }
};

template <typename Manager>
HRESULT CreateManager(const wchar_t* failure, REFIID iid, void** object) {
    *object = nullptr;
    return Call(L"", failure, [&]() -> HRESULT {
        // The service must call from the multithreaded apartment.
        APTTYPE apartment = APTTYPE_CURRENT;
        APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
        if (FAILED(CoGetApartmentType(&apartment, &qualifier)) || apartment != APTTYPE_MTA) {
            return RPC_E_WRONG_THREAD;
        }
        ComPtr<Manager> manager(new Manager);
        return manager->QueryInterface(iid, object);
    });
}

}  // namespace

HRESULT CreateInterfaceManager(REFIID iid, void** object) {
    return CreateManager<InterfaceManager>(L"FailCreateInterfaceManager", iid, object);
}

HRESULT CreateProfileManager(REFIID iid, void** object) {
    return CreateManager<ProfileManager>(L"FailCreateProfileManager", iid, object);
}
