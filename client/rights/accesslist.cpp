#include "client/rights/accesslist.h"

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <set>

#include "client/rights/servicesid.h"

namespace {

struct Entry {
    BYTE type;
    BYTE flags;
    ACCESS_MASK mask;
    std::wstring sid;

    // Whether the entry applies to the object itself.
    [[nodiscard]] bool CountsNow() const { return (flags & INHERIT_ONLY_ACE) == 0; }
    [[nodiscard]] bool GivesFullControl(const std::wstring& to) const {
        return type == ACCESS_ALLOWED_ACE_TYPE && CountsNow() && mask == KEY_ALL_ACCESS &&
               sid == to;
    }
};

// Returns the entries of a list with their generic rights mapped. All types that allow or deny have
// the mask and the SID at the same offset. Of other types only `type` is valid.
std::vector<Entry> EntriesOf(const ACL& acl, GENERIC_MAPPING rights) {
    std::vector<Entry> entries;
    for (DWORD i = 0; i < acl.AceCount; ++i) {
        void* place = nullptr;
        GetAce(const_cast<ACL*>(&acl), i, &place);
        auto* ace = static_cast<ACCESS_ALLOWED_ACE*>(place);
        ACCESS_MASK mask = ace->Mask;
        MapGenericMask(&mask, &rights);
        entries.push_back(
            {ace->Header.AceType, ace->Header.AceFlags, mask, SidText(&ace->SidStart)});
    }
    return entries;
}

constexpr GENERIC_MAPPING kKeyRights = {KEY_READ, KEY_WRITE, KEY_EXECUTE, KEY_ALL_ACCESS};
constexpr GENERIC_MAPPING kFileRights = {FILE_GENERIC_READ, FILE_GENERIC_WRITE,
                                         FILE_GENERIC_EXECUTE, FILE_ALL_ACCESS};
constexpr SECURITY_INFORMATION kParts = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

}  // namespace

DWORD ReadKeySecurity(HKEY key, ObjectSecurity& security) {
    PSID owner = nullptr;
    const DWORD error = GetSecurityInfo(key, SE_REGISTRY_KEY, kParts, &owner, nullptr,
                                        &security.acl, nullptr, security.descriptor.put());
    security.owner = error == ERROR_SUCCESS ? SidText(owner) : L"";
    return error;
}

DWORD ReadFileSecurity(const std::wstring& path, ObjectSecurity& security) {
    PSID owner = nullptr;
    const DWORD error = GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, kParts, &owner, nullptr,
                                              &security.acl, nullptr, security.descriptor.put());
    security.owner = error == ERROR_SUCCESS ? SidText(owner) : L"";
    return error;
}

ACCESS_MASK MissingKeyRights(const ACL* acl, std::span<const std::wstring> token) {
    ACCESS_MASK missing = KEY_ALL_ACCESS;
    ACCESS_MASK denied = 0;
    for (const Entry& entry : acl == nullptr ? std::vector<Entry>() : EntriesOf(*acl, kKeyRights)) {
        if (!entry.CountsNow() || std::ranges::find(token, entry.sid) == token.end()) {
            continue;
        }
        if (entry.type == ACCESS_ALLOWED_ACE_TYPE) {
            missing &= ~(entry.mask & ~denied);
        } else if (entry.type == ACCESS_DENIED_ACE_TYPE ||
                   entry.type == ACCESS_DENIED_CALLBACK_ACE_TYPE) {
            denied |= entry.mask & missing;
        }
    }
    return acl == nullptr ? 0 : missing;
}

std::vector<std::wstring> OtherWriters(const ObjectSecurity& security) {
    constexpr ACCESS_MASK kWrite =
        FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_DELETE_CHILD | DELETE | WRITE_DAC | WRITE_OWNER;
    std::set<std::wstring> writers = {security.owner};
    if (security.acl == nullptr) {
        return {L"S-1-1-0"};
    }
    for (const Entry& entry : EntriesOf(*security.acl, kFileRights)) {
        if ((entry.type == ACCESS_ALLOWED_ACE_TYPE ||
             entry.type == ACCESS_ALLOWED_CALLBACK_ACE_TYPE) &&
            (entry.mask & kWrite) != 0) {
            writers.insert(entry.sid);
        }
    }
    for (const std::wstring& trusted :
         {std::wstring(L"S-1-5-18"), std::wstring(L"S-1-5-32-544"), ServiceSid(L"TrustedInstaller"),
          std::wstring(L"S-1-3-0"), std::wstring(L"S-1-3-4")}) {
        writers.erase(trusted);
    }
    return {writers.begin(), writers.end()};
}

bool HasFullControl(const ACL& acl, const std::wstring& sid) {
    return std::ranges::any_of(EntriesOf(acl, kKeyRights), [&](const Entry& entry) {
        return entry.GivesFullControl(sid) && (entry.flags & CONTAINER_INHERIT_ACE) != 0;
    });
}

DWORD AddFullControl(ACL& acl, const std::wstring& sid, LocalAcl& changed) {
    LocalMemory parsed;
    if (!ConvertStringSidToSidW(sid.c_str(), parsed.put())) {
        return GetLastError();
    }
    EXPLICIT_ACCESS_W entry = {KEY_ALL_ACCESS, GRANT_ACCESS, CONTAINER_INHERIT_ACE, {}};
    BuildTrusteeWithSidW(&entry.Trustee, parsed.get());
    return SetEntriesInAclW(1, &entry, &acl, changed.put());
}

bool RemoveFullControl(ACL& acl, const std::wstring& sid) {
    const std::vector<Entry> entries = EntriesOf(acl, kKeyRights);
    for (std::size_t i = entries.size(); i-- > 0;) {
        if (entries[i].GivesFullControl(sid)) {
            DeleteAce(&acl, static_cast<DWORD>(i));
        }
    }
    return acl.AceCount != entries.size();
}

DWORD WriteKeyAcl(HKEY key, const ObjectSecurity& security, ACL* acl) {
    SECURITY_DESCRIPTOR descriptor = {};
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    constexpr SECURITY_DESCRIPTOR_CONTROL kInheritance =
        SE_DACL_PROTECTED | SE_DACL_AUTO_INHERITED | SE_DACL_AUTO_INHERIT_REQ;
    GetSecurityDescriptorControl(security.descriptor.get(), &control, &revision);
    control &= SE_DACL_PROTECTED | SE_DACL_AUTO_INHERITED;
    // Windows keeps SE_DACL_AUTO_INHERITED only together with this flag.
    if ((control & SE_DACL_AUTO_INHERITED) != 0) {
        control |= SE_DACL_AUTO_INHERIT_REQ;
    }
    if (!InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) ||
        !SetSecurityDescriptorDacl(&descriptor, TRUE, acl, FALSE) ||
        !SetSecurityDescriptorControl(&descriptor, kInheritance, control)) {
        return GetLastError();
    }
    return static_cast<DWORD>(RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, &descriptor));
}
