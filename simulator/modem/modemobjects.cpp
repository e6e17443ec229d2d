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

// Hands a text value to the caller; one that is absent is a null string.
HRESULT GiveText(const std::wstring& place, const wchar_t* name, BSTR* out) {
    *out = nullptr;
    if (const std::optional<std::wstring> text = ReadText(place, name)) {
        *out = SysAllocString(text->c_str());
        CountGivenString();
    }
    return S_OK;
}

// Hands a new object to the caller.
template <typename Object, typename Interface>
HRESULT GiveObject(const std::wstring& place, Interface** out) {
    *out = new Object(place);
    return S_OK;
}

// Hands an array of new objects to the caller, one for each place.
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
        ComPtr<Object> object(new Object(place));
        if (HRESULT result = SafeArrayPutElement(array.get(), &index, object.get());
            FAILED(result)) {
            return result;
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
        HRESULT result = RequestedResult(m_place, L"FailGetSubscriberId");
        return FAILED(result) ? result : GiveText(m_place, L"SubscriberId", subscriber_id);
    }
    HRESULT STDMETHODCALLTYPE get_SimIccID(BSTR* sim_icc_id) override {
        HRESULT result = RequestedResult(m_place, L"FailGetSimIccId");
        return FAILED(result) ? result : GiveText(m_place, L"SimIccId", sim_icc_id);
    }

 private:
    std::wstring m_place;
};

class Connection final : public ModemObject<MbnConnection> {
 public:
    explicit Connection(std::wstring place) : m_place(std::move(place)) {}

    HRESULT STDMETHODCALLTYPE Connect(int mode, LPCWSTR profile, ULONG* request_id) override {
        HRESULT result = RequestedResult(m_place, L"FailConnect");
        if (FAILED(result)) {
            return result;
        }
        constexpr int kByProfileName = 0;
        if (mode != kByProfileName || profile == nullptr || request_id == nullptr) {
            return E_INVALIDARG;
        }
        *request_id = NextRequest();
        return ConnectInterface(m_place, profile);
    }
    HRESULT STDMETHODCALLTYPE Disconnect(ULONG* request_id) override {
        HRESULT result = RequestedResult(m_place, L"FailDisconnect");
        if (FAILED(result)) {
            return result;
        }
        if (request_id == nullptr) {
            return E_INVALIDARG;
        }
        *request_id = NextRequest();
        return DisconnectInterface(m_place);
    }
    HRESULT STDMETHODCALLTYPE GetConnectionState(int* state, BSTR* profile_name) override {
        HRESULT result = RequestedResult(m_place, L"FailGetConnectionState");
        if (FAILED(result)) {
            return result;
        }
        *state = static_cast<int>(ReadNumber(m_place, L"ActivationState").value_or(0));
        return GiveText(m_place, L"ActiveProfile", profile_name);
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
        HRESULT result = RequestedResult(m_place, L"FailGetSubscriberInformation");
        return FAILED(result) ? result : GiveObject<SubscriberInformation>(m_place, information);
    }
    HRESULT STDMETHODCALLTYPE GetReadyState(int* state) override {
        HRESULT result = RequestedResult(m_place, L"FailGetReadyState");
        if (SUCCEEDED(result)) {
            *state = static_cast<int>(ReadNumber(m_place, L"ReadyState").value_or(0));
        }
        return result;
    }
    HRESULT STDMETHODCALLTYPE GetHomeProvider(MbnProvider* provider) override {
        HRESULT result = RequestedResult(m_place, L"FailGetHomeProvider");
        if (FAILED(result)) {
            // What a failing call leaves in the structure is not to be used, nor freed.
            static BSTR own_text = SysAllocString(L"the modem's own");
            provider->id = provider->name = own_text;
            return result;
        }
        constexpr ULONG kHome = 1;
        provider->state = kHome;
        provider->data_class = 0;
        GiveText(m_place, L"ProviderId", &provider->id);
        GiveText(m_place, L"ProviderName", &provider->name);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetConnection(MbnConnection** connection) override {
        HRESULT result = RequestedResult(m_place, L"FailGetConnection");
        return FAILED(result) ? result : GiveObject<Connection>(m_place, connection);
    }

 private:
    std::wstring m_place;
};

class InterfaceManager final : public ModemObject<MbnInterfaceManager> {
 public:
    HRESULT STDMETHODCALLTYPE GetInterfaces(SAFEARRAY** interfaces) override {
        HRESULT result = RequestedResult(L"", L"FailGetInterfaces");
        if (FAILED(result)) {
            return result;
        }
        const DWORD lower_bound = ReadNumber(L"", L"LowerBound").value_or(0);
        return GiveArray<Interface>(Interfaces(), static_cast<LONG>(lower_bound), interfaces);
    }
};

class Profile final : public ModemObject<MbnConnectionProfile> {
 public:
    explicit Profile(std::wstring place) : m_place(std::move(place)) {}

    HRESULT STDMETHODCALLTYPE Delete() override {
        HRESULT result = RequestedResult(m_place, L"FailDelete");
        return FAILED(result) ? result : DeleteProfile(m_place);
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
        // No proxy can come in between: the server is in-process and fits every apartment.
        const std::wstring& place = static_cast<Interface*>(mbn_interface)->Place();
        HRESULT result = RequestedResult(place, L"FailGetConnectionProfiles");
        return FAILED(result) ? result : GiveArray<Profile>(Profiles(place), 0, profiles);
    }
    HRESULT STDMETHODCALLTYPE CreateConnectionProfile(LPCWSTR document) override {
        HRESULT result = RequestedResult(L"", L"FailCreateProfile");
        if (FAILED(result)) {
            return result;
        }
        return document == nullptr ? E_INVALIDARG : CreateProfile(document);
    }
};

template <typename Manager>
HRESULT CreateManager(const wchar_t* failure, REFIID iid, void** object) {
    *object = nullptr;
    HRESULT result = RequestedResult(L"", failure);
    if (FAILED(result)) {
        return result;
    }
    // The service is to ask from the multithreaded apartment.
    APTTYPE apartment = APTTYPE_CURRENT;
    APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
    if (FAILED(CoGetApartmentType(&apartment, &qualifier)) || apartment != APTTYPE_MTA) {
        return RPC_E_WRONG_THREAD;
    }
    ComPtr<Manager> manager(new Manager);
    return manager->QueryInterface(iid, object);
}

}  // namespace

HRESULT CreateInterfaceManager(REFIID iid, void** object) {
    return CreateManager<InterfaceManager>(L"FailCreateInterfaceManager", iid, object);
}

HRESULT CreateProfileManager(REFIID iid, void** object) {
    return CreateManager<ProfileManager>(L"FailCreateProfileManager", iid, object);
}
