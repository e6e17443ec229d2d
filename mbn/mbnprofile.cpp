#include "mbn/mbnprofile.h"

#include "mbn/interfacewalk.h"
#include "mbn/mbnapi.h"
#include "mbn/mbninterface.h"
#include "service/console.h"
#include "win32/uniquehandle.h"

namespace {

// Kept: also said of a profile that could not be created.
constexpr wchar_t kProfileManagerError[] =
    L"CoCreateInstance CLSID_MbnConnectionProfileManager error";

HRESULT CreateProfileManager(ComPtr<IMbnConnectionProfileManager>& manager) {
    return CoCreateInstance(CLSID_MbnConnectionProfileManager, nullptr, CLSCTX_ALL,
                            IID_IMbnConnectionProfileManager, manager.put_void());
}

StepResult DeleteProfilesOf(IMbnInterface& modem, IMbnConnectionProfileManager& manager) {
    SafeArray profiles;
    HRESULT result = manager.GetConnectionProfiles(&modem, profiles.put());
    if (!SucceededOrPrint(result, L"GetConnectionProfiles error")) {
        return {result, false};
    }
    return ForEachElement<IMbnConnectionProfile>(
        profiles.get(), IID_IMbnConnectionProfile, L"SafeArrayGetLBound profile error",
        L"SafeArrayGetUBound profile error",
        [](IMbnConnectionProfile& profile) -> StepResult { return {profile.Delete()}; });
}

const wchar_t* TextOf(const wchar_t* text) {
    return text != nullptr ? text : L"";
}

}  // namespace

HRESULT DeleteAllConnectionProfiles() {
    ComApartment apartment;
    if (!SucceededOrPrint(apartment.Result(), L"Coinitialize failed")) {
        return apartment.Result();
    }
    ComPtr<IMbnConnectionProfileManager> manager;
    HRESULT result = CreateProfileManager(manager);
    if (!SucceededOrPrint(result, kProfileManagerError)) {
        return result;
    }
    return WalkInterfacesInApartment(
        L"CoCreateInstance CLSID_MbnInterfaceManager error",
        [&](IMbnInterface& modem) { return DeleteProfilesOf(modem, *manager.get()); });
}

ProfileDocument BuildProfileXml(wchar_t* text) {
    ApnFields fields;
    for (size_t excess = SplitApnFields(text, fields); excess > 0; --excess) {
        // Kept: that is the message for a field too many.
        ConsolePrint(L"fail over");
    }

    const Bstr icc_id = ReadSimIccId();
    // Kept: nothing depends on the answer. The sequence of questions to the modem is fixed.
    ReadReadyState();
    const HomeProvider provider = ReadHomeProvider();
    const Bstr subscriber_id = ReadSubscriberId();

    return AssembleProfileDocument(
        fields, {TextOf(icc_id.get()), TextOf(provider.name.get()), TextOf(subscriber_id.get())});
}

HRESULT CreateProfileFromRequest(wchar_t* text) {
    const ProfileDocument document = BuildProfileXml(text);
    ComApartment apartment;
    if (!SucceededOrPrint(apartment.Result(), L"Coinitialize failed")) {
        return apartment.Result();
    }
    ComPtr<IMbnConnectionProfileManager> manager;
    HRESULT result = CreateProfileManager(manager);
    if (SUCCEEDED(result)) {
        result = manager->CreateConnectionProfile(document.text);
    }
    SucceededOrPrint(result, kProfileManagerError);
    return result;
}
