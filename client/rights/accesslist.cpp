#include "client/rights/accesslist.h"

#include <aclapi.h>

#include <algorithm>
#include <iterator>

namespace {

using Entries = std::vector<const ACCESS_ALLOWED_ACE*>;

// The entries of a list. Those that allow or deny have mask and SID in the same places.
Entries EntriesOf(const ACL& acl) {
    Entries entries(acl.AceCount);
    for (DWORD i = 0; i < acl.AceCount; ++i) {
        void* entry = nullptr;
        GetAce(const_cast<ACL*>(&acl), i, &entry);
        entries[i] = static_cast<const ACCESS_ALLOWED_ACE*>(entry);
    }
    return entries;
}

PSID SidOf(const ACCESS_ALLOWED_ACE& entry) {
    return const_cast<DWORD*>(&entry.SidStart);
}

ACCESS_MASK MaskOf(const ACCESS_ALLOWED_ACE& entry, GENERIC_MAPPING mapping) {
    ACCESS_MASK mask = entry.Mask;
    MapGenericMask(&mask, &mapping);
    return mask;
}

constexpr GENERIC_MAPPING kKeyRights = {KEY_READ, KEY_WRITE, KEY_EXECUTE, KEY_ALL_ACCESS};
constexpr GENERIC_MAPPING kFileRights = {FILE_GENERIC_READ, FILE_GENERIC_WRITE,
                                         FILE_GENERIC_EXECUTE, FILE_ALL_ACCESS};

bool Contains(std::span<const Sid> sids, PSID sid) {
    return std::ranges::any_of(sids,
                               [=](const Sid& held) { return EqualSid(held.Get(), sid) != FALSE; });
}

// Whether the entry allows or denies something on the key itself.
bool CountsNow(const ACCESS_ALLOWED_ACE& entry) {
    constexpr BYTE kTypes[] = {ACCESS_ALLOWED_ACE_TYPE, ACCESS_DENIED_ACE_TYPE,
                               ACCESS_DENIED_CALLBACK_ACE_TYPE};
    return (entry.Header.AceFlags & INHERIT_ONLY_ACE) == 0 &&
           std::ranges::find(kTypes, entry.Header.AceType) != std::end(kTypes);
}

bool GivesFullControl(const ACCESS_ALLOWED_ACE& entry, const Sid& sid) {
    return entry.Header.AceType == ACCESS_ALLOWED_ACE_TYPE && CountsNow(entry) &&
           MaskOf(entry, kKeyRights) == KEY_ALL_ACCESS && EqualSid(SidOf(entry), sid.Get());
}

constexpr SECURITY_INFORMATION kParts = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

}  // namespace

DWORD ReadKeySecurity(HKEY key, ObjectSecurity& security) {
    return GetSecurityInfo(key, SE_REGISTRY_KEY, kParts, &security.owner, nullptr, &security.acl,
                           nullptr, security.descriptor.put());
}

DWORD ReadFileSecurity(const std::wstring& path, ObjectSecurity& security) {
    return GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, kParts, &security.owner, nullptr,
                                 &security.acl, nullptr, security.descriptor.put());
}

ACCESS_MASK MissingKeyRights(const ACL* acl, std::span<const Sid> token, ACCESS_MASK wanted) {
    ACCESS_MASK missing = acl == nullptr ? 0 : wanted;
    ACCESS_MASK denied = 0;
    for (const ACCESS_ALLOWED_ACE* entry : missing == 0 ? Entries() : EntriesOf(*acl)) {
        if (!CountsNow(*entry) || !Contains(token, SidOf(*entry))) {
            continue;
        }
        if (entry->Header.AceType == ACCESS_ALLOWED_ACE_TYPE) {
            missing &= ~(MaskOf(*entry, kKeyRights) & ~denied);
        } else {
            denied |= MaskOf(*entry, kKeyRights) & missing;
        }
    }
    return missing;
}

std::vector<Sid> OtherWriters(const ObjectSecurity& security) {
    constexpr ACCESS_MASK kWrite =
        FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_DELETE_CHILD | DELETE | WRITE_DAC | WRITE_OWNER;
    const Sid trusted[] = {
        MakeSid(L"S-1-5-18"),      // SYSTEM
        MakeSid(L"S-1-5-32-544"),  // Administrators
        ServiceSid(L"TrustedInstaller").value_or(Sid{}),
        MakeSid(L"S-1-3-0"),  // CREATOR OWNER
        MakeSid(L"S-1-3-4"),  // OWNER RIGHTS
    };
    std::vector<Sid> others;
    const auto add = [&](PSID sid) {
        if (!Contains(trusted, sid) && !Contains(others, sid)) {
            CopySid(SECURITY_MAX_SID_SIZE, others.emplace_back().Get(), sid);
        }
    };
    if (security.owner != nullptr) {
        add(security.owner);
    }
    if (security.acl == nullptr) {
        add(MakeSid(L"S-1-1-0").Get());
        return others;
    }
    for (const ACCESS_ALLOWED_ACE* entry : EntriesOf(*security.acl)) {
        const BYTE type = entry->Header.AceType;
        if ((type == ACCESS_ALLOWED_ACE_TYPE || type == ACCESS_ALLOWED_CALLBACK_ACE_TYPE) &&
            (MaskOf(*entry, kFileRights) & kWrite) != 0) {
            add(SidOf(*entry));
        }
    }
    return others;
}

bool HasFullControl(const ACL& acl, const Sid& sid) {
    return std::ranges::any_of(EntriesOf(acl), [&](const ACCESS_ALLOWED_ACE* entry) {
        return GivesFullControl(*entry, sid) &&
               (entry->Header.AceFlags & CONTAINER_INHERIT_ACE) != 0;
    });
}

DWORD AddFullControl(ACL& acl, const Sid& sid, LocalAcl& changed) {
    EXPLICIT_ACCESS_W entry = {KEY_ALL_ACCESS, GRANT_ACCESS, CONTAINER_INHERIT_ACE, {}};
    BuildTrusteeWithSidW(&entry.Trustee, sid.Get());
    return SetEntriesInAclW(1, &entry, &acl, changed.put());
}

bool RemoveFullControl(ACL& acl, const Sid& sid) {
    const WORD before = acl.AceCount;
    for (DWORD i = before; i-- > 0;) {
        if (GivesFullControl(*EntriesOf(acl)[i], sid)) {
            DeleteAce(&acl, i);
        }
    }
    return acl.AceCount != before;
}

DWORD WriteKeyAcl(HKEY key, const ObjectSecurity& security, ACL* acl) {
    SECURITY_DESCRIPTOR descriptor = {};
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    constexpr SECURITY_DESCRIPTOR_CONTROL kInheritance =
        SE_DACL_PROTECTED | SE_DACL_AUTO_INHERITED | SE_DACL_AUTO_INHERIT_REQ;
    GetSecurityDescriptorControl(security.descriptor.get(), &control, &revision);
    control &= SE_DACL_PROTECTED | SE_DACL_AUTO_INHERITED;
    // Windows drops the mark that entries are inherited unless it is also asked for.
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
