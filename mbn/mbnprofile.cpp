#include "mbn/mbnprofile.h"

#include "mbn/interfaceloop.h"
#include "mbn/mbninterface.h"

namespace {

// Kept: this is also the message for a profile that cannot be created.
constexpr wchar_t kProfileManagerError[] =
    L"CoCreateInstance CLSID_MbnConnectionProfileManager error";

HRESULT CreateProfileManager(ComPtr<IMbnConnectionProfileManager>& manager) {
    return CoCreateInstance(CLSID_MbnConnectionProfileManager, nullptr, CLSCTX_ALL,
                            IID_IMbnConnectionProfileManager, manager.put_void());
}

StepResult DeleteProfilesOf(IMbnInterface& mbn_interface, IMbnConnectionProfileManager& manager) {
    SafeArray profiles;
    const HRESULT result = manager.GetConnectionProfiles(&mbn_interface, profiles.put());
    if (!SucceededOrPrint(result, L"GetConnectionProfiles error")) {
        return {result, false};
    }
    return ForEachElement<IMbnConnectionProfile>(
        profiles.get(), IID_IMbnConnectionProfile, L"SafeArrayGetLBound profile error",
        L"SafeArrayGetUBound profile error",
        [](IMbnConnectionProfile& profile) -> StepResult { return {profile.Delete()}; });
}

const wchar_t* TextOf(const Bstr& text) {
    return text ? text.get() : L"";
}

}  // namespace

HRESULT DeleteAllConnectionProfiles() {
    const ComApartment apartment;
    if (!SucceededOrPrint(apartment.Result(), L"Coinitialize failed")) {
        return apartment.Result();
    }
    ComPtr<IMbnConnectionProfileManager> manager;
    const HRESULT result = CreateProfileManager(manager);
    if (!SucceededOrPrint(result, kProfileManagerError)) {
        return result;
    }
    return ForEachInterfaceInApartment(L"CoCreateInstance CLSID_MbnInterfaceManager error",
                                       [&](IMbnInterface& mbn_interface) {
                                           return DeleteProfilesOf(mbn_interface, *manager.get());
                                       });
}

ProfileDocument BuildProfileXml(wchar_t* text) {
    ApnFields fields;
    for (size_t excess = SplitApnFields(text, fields); excess > 0; --excess) {
        // Kept: one message for each token after the last field.
        ConsolePrint(L"fail over");
    }

    const Bstr icc_id = ReadSimIccId();
    // Kept: the value is not used, and the order of the queries is fixed.
    ReadReadyState();
    const HomeProvider provider = ReadHomeProvider();
    const Bstr subscriber_id = ReadSubscriberId();

    return AssembleProfileDocument(fields,
                                   {TextOf(icc_id), TextOf(provider.name), TextOf(subscriber_id)});
}

HRESULT CreateProfileFromRequest(wchar_t* text) {
    const ProfileDocument document = BuildProfileXml(text);
    const ComApartment apartment;
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
