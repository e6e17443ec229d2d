// Who may call the service, and what the service may write.
#include <windows.h>
#include <securitybaseapi.h>
#include <userenv.h>

#include "acceptance/items.h"
#include "client/rights/servicesid.h"
#include "interface/endpoint.h"
#include "settings/settingsvalues.h"

namespace {

constexpr wchar_t kContainer[] = L"TesselAcceptance";

using TaskText = UniqueHandle<wchar_t*, CoTaskMemFree>;

// The result of one request that a child in the container sends.
DWORD AskInContainer(const std::wstring& program, PSID container, SID_AND_ATTRIBUTES* capability) {
    SECURITY_CAPABILITIES inside = {container, capability, capability != nullptr ? 1UL : 0UL, 0};
    return Child(L"ask", CREATE_NO_WINDOW, &inside, program).Wait();
}

constexpr std::pair<const wchar_t*, const RegistryValue&> kSettings[] = {
    {L"PENSETTING", kButtonAction},
    {L"PENCLICKSETTING", kClickAction},
    {L"PENPRESSURESENSITIVITY", kPressureThreshold}};

bool ReadDirectly(const RegistryValue& value, long& number) {
    DWORD size = sizeof(number);
    return RegGetValueW(HKEY_LOCAL_MACHINE, value.key, value.name, RRF_RT_REG_DWORD, nullptr,
                        &number, &size) == ERROR_SUCCESS;
}

}  // namespace

void CheckContainers(Run& run) {
    if (IsWine()) {
        run.Add(Status::kNotHere, L"container", L"Wine has no app containers");
        return;
    }
    DeleteContainer();
    AllocatedSid container;
    TaskText folder;
    HRESULT result =
        CreateAppContainerProfile(kContainer, kContainer, kContainer, nullptr, 0, container.put());
    if (SUCCEEDED(result)) {
        result = GetAppContainerFolderPath(SidText(container.get()).c_str(), folder.put());
    }
    LocalSidArray groups;
    LocalSidArray capabilities;
    // A process in the container can read files in this folder.
    const std::wstring program =
        std::wstring(folder ? folder.get() : L"") + L"\\tessel-acceptance.exe";
    if (FAILED(result) || !CopyFileW(OwnPath().c_str(), program.c_str(), FALSE) ||
        !DeriveCapabilitySidsFromName(kSettingsAppPackage, &groups.sids, &groups.count,
                                      &capabilities.sids, &capabilities.count)) {
        run.Add(false, L"container", L"cannot be made: 0x%lx, %ls", result,
                Outcome(GetLastError()));
    } else {
        SID_AND_ATTRIBUTES capability = {capabilities.sids[0], SE_GROUP_ENABLED};
        const DWORD with = AskInContainer(program, container.get(), &capability);
        run.Add(with == 0, L"container.with", L"with the settings app's capability: %ls",
                Outcome(with));
        const DWORD without = AskInContainer(program, container.get(), nullptr);
        run.Add(without == ERROR_ACCESS_DENIED, L"container.without", L"without it: %ls",
                Outcome(without));
    }
    DeleteContainer();
}

void DeleteContainer() {
    if (!IsWine()) {
        DeleteAppContainerProfile(kContainer);
    }
}

void CheckRights(Run& run) {
    Session session;
    for (const auto& [command, value] : kSettings) {
        const std::wstring item = std::wstring(L"rights.") + value.name;
        long before = 0;
        long after = 0;
        if (!ReadDirectly(value, before)) {
            run.Add(Status::kNotHere, item, L"nothing is stored, so nothing can be stored again");
            continue;
        }
        Exchange read = Marked(0, Format(L"REGISTRYHELPER_GET%ls", command), 0);
        Exchange stored = Marked(0, Format(L"REGISTRYHELPER_SET%ls", command), before);
        session.Send(read);
        session.Send(stored);
        const bool same =
            ReadDirectly(value, after) && after == before && read.answer.number == before;
        run.Check(same && stored.answer.flag, Status::kFault, item,
                  Format(L"%ld directly, %ld through the service, stored: %d, then %ld", before,
                         read.answer.number, stored.answer.flag, after),
                  kGrantAdvice);
    }
}
