// Who may call the service, and what the service may write.
#include <windows.h>
#include <securitybaseapi.h>
#include <userenv.h>

#include "acceptance/items.h"
#include "acceptance/savedkeys.h"
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

// Commands that store a number or, the last one, a text.
constexpr std::pair<const wchar_t*, const RegistryValue&> kWrites[] = {
    {L"REGISTRYHELPER_SETPENSETTING", kButtonAction},
    {L"REGISTRYHELPER_SETPENCLICKSETTING", kClickAction},
    {L"REGISTRYHELPER_SETPENPRESSURESENSITIVITY", kPressureThreshold},
    {L"REGISTRYHELPER_CHECKADDTIONALPENSETTING", kCustomProtocol}};

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

// Deletes each value, lets the service store it, and restores it: only so it is known who wrote it.
void CheckRights(Run& run) {
    constexpr DWORD kNumber = 1;
    const SavedKeys saved;
    const Session session;
    for (const auto& [command, value] : kWrites) {
        const auto deleted =
            static_cast<DWORD>(RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, value.key, value.name));
        if (deleted != ERROR_SUCCESS && deleted != ERROR_FILE_NOT_FOUND) {
            run.AddNotHere(std::wstring(L"rights.") + value.name, deleted);
            continue;
        }
        Exchange store = Marked(0, command, kNumber);
        session.Send(store);
        DWORD type = REG_NONE;
        DWORD number = kNumber;
        DWORD size = sizeof(number);
        RegGetValueW(HKEY_LOCAL_MACHINE, value.key, value.name, RRF_RT_ANY, &type, &number, &size);
        run.Check(
            store.answer.flag && type == value.type && (type == REG_SZ || number == kNumber),
            Status::kFault, std::wstring(L"rights.") + value.name,
            Format(L"%ls: %ls; stored: type %lu, %lu bytes", command, store.Text(), type, size),
            kGrantAdvice);
    }
    const DWORD error = saved.Restore();
    run.Add(error == ERROR_SUCCESS, L"rights.restored", L"%ls", Outcome(error));
}
