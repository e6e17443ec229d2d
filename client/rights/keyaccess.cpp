#include "client/rights/keyaccess.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

namespace {

const ACCESS_ALLOWED_ACE& Entry(const ACL& acl, DWORD index) {
    void* entry = nullptr;
    GetAce(const_cast<ACL*>(&acl), index, &entry);
    return *static_cast<const ACCESS_ALLOWED_ACE*>(entry);
}

PSID SidOf(const ACCESS_ALLOWED_ACE& entry) {
    return const_cast<DWORD*>(&entry.SidStart);
}

ACCESS_MASK MaskOf(const ACCESS_ALLOWED_ACE& entry) {
    GENERIC_MAPPING mapping = {KEY_READ, KEY_WRITE, KEY_EXECUTE, KEY_ALL_ACCESS};
    ACCESS_MASK mask = entry.Mask;
    MapGenericMask(&mask, &mapping);
    return mask;
}

bool Contains(std::span<const Sid> token, PSID sid) {
    return std::ranges::any_of(token,
                               [=](const Sid& held) { return EqualSid(held.Get(), sid) != FALSE; });
}

// Whether the entry says something about the key itself: allows or denies. All of these types have
// mask and SID in the same places.
bool CountsNow(const ACCESS_ALLOWED_ACE& entry) {
    constexpr BYTE kTypes[] = {ACCESS_ALLOWED_ACE_TYPE, ACCESS_DENIED_ACE_TYPE,
                               ACCESS_DENIED_CALLBACK_ACE_TYPE};
    return (entry.Header.AceFlags & INHERIT_ONLY_ACE) == 0 &&
           std::ranges::find(kTypes, entry.Header.AceType) != std::end(kTypes);
}

bool GivesFullControl(const ACCESS_ALLOWED_ACE& entry, const Sid& sid) {
    return entry.Header.AceType == ACCESS_ALLOWED_ACE_TYPE && CountsNow(entry) &&
           MaskOf(entry) == KEY_ALL_ACCESS && EqualSid(SidOf(entry), sid.Get());
}

// ACCESS_ALLOWED_ACE with room for its SID.
struct FullControlEntry {
    ACE_HEADER header;
    ACCESS_MASK mask;
    Sid sid;
};
static_assert(offsetof(FullControlEntry, sid) == offsetof(ACCESS_ALLOWED_ACE, SidStart));

using Entries = std::vector<const ACCESS_ALLOWED_ACE*>;

Entries EntriesOf(const ACL& acl) {
    Entries entries;
    for (DWORD i = 0; i < acl.AceCount; ++i) {
        entries.push_back(&Entry(acl, i));
    }
    return entries;
}

std::vector<BYTE> ListOf(const Entries& entries, BYTE revision) {
    std::vector<BYTE> list(sizeof(ACL));
    for (const ACCESS_ALLOWED_ACE* entry : entries) {
        const auto* bytes = reinterpret_cast<const BYTE*>(entry);
        list.insert(list.end(), bytes, bytes + entry->Header.AceSize);
    }
    const ACL header = {revision, 0, static_cast<WORD>(list.size()),
                        static_cast<WORD>(entries.size()), 0};
    std::memcpy(list.data(), &header, sizeof(header));
    return list;
}

}  // namespace

ACCESS_MASK MissingKeyRights(const ACL* acl,
                             PSID owner,
                             std::span<const Sid> token,
                             ACCESS_MASK wanted) {
    if (acl == nullptr) {
        return 0;
    }
    const Sid owner_rights = MakeSid(3, {4});
    const bool is_owner = owner != nullptr && Contains(token, owner);
    bool owner_is_limited = false;
    ACCESS_MASK missing = wanted;
    ACCESS_MASK denied = 0;
    for (DWORD i = 0; i < acl->AceCount; ++i) {
        const ACCESS_ALLOWED_ACE& entry = Entry(*acl, i);
        if (!CountsNow(entry)) {
            continue;
        }
        const bool for_owner = is_owner && EqualSid(SidOf(entry), owner_rights.Get());
        owner_is_limited = owner_is_limited || for_owner;
        if (!for_owner && !Contains(token, SidOf(entry))) {
            continue;
        }
        if (entry.Header.AceType == ACCESS_ALLOWED_ACE_TYPE) {
            missing &= ~(MaskOf(entry) & ~denied);
        } else {
            denied |= MaskOf(entry) & missing;
        }
    }
    if (is_owner && !owner_is_limited) {
        missing &= ~static_cast<ACCESS_MASK>(READ_CONTROL | WRITE_DAC);
    }
    return missing;
}

LSTATUS ReadKeySecurity(HKEY key, KeySecurity& security) {
    constexpr SECURITY_INFORMATION kParts = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    DWORD size = 0;
    LSTATUS error = RegGetKeySecurity(key, kParts, nullptr, &size);
    if (error == ERROR_INSUFFICIENT_BUFFER) {
        security.descriptor.resize(size);
        error = RegGetKeySecurity(key, kParts, security.descriptor.data(), &size);
    }
    if (error != ERROR_SUCCESS) {
        return error;
    }
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    DWORD revision = 0;
    PSECURITY_DESCRIPTOR descriptor = security.descriptor.data();
    if (!GetSecurityDescriptorOwner(descriptor, &security.owner, &defaulted) ||
        !GetSecurityDescriptorDacl(descriptor, &present, &security.acl, &defaulted) ||
        !GetSecurityDescriptorControl(descriptor, &security.control, &revision)) {
        return static_cast<LSTATUS>(GetLastError());
    }
    if (!present) {
        security.acl = nullptr;
    }
    return ERROR_SUCCESS;
}

std::vector<BYTE> WithFullControl(const ACL& acl, const Sid& sid) {
    Entries entries = EntriesOf(acl);
    const auto is_it = [&](const auto* e) {
        return GivesFullControl(*e, sid) && (e->Header.AceFlags & CONTAINER_INHERIT_ACE) != 0;
    };
    if (std::ranges::any_of(entries, is_it)) {
        return {};
    }
    const FullControlEntry added = {
        {ACCESS_ALLOWED_ACE_TYPE, CONTAINER_INHERIT_ACE,
         static_cast<WORD>(offsetof(FullControlEntry, sid) + GetLengthSid(sid.Get()))},
        KEY_ALL_ACCESS,
        sid};
    const auto is_own = [](const auto* e) { return (e->Header.AceFlags & INHERITED_ACE) == 0; };
    const auto last_own = std::find_if(entries.rbegin(), entries.rend(), is_own);
    entries.insert(last_own.base(), reinterpret_cast<const ACCESS_ALLOWED_ACE*>(&added));
    return ListOf(entries, acl.AclRevision);
}

std::vector<BYTE> WithoutFullControl(const ACL& acl, const Sid& sid) {
    Entries entries = EntriesOf(acl);
    if (std::erase_if(entries, [&](const auto* e) { return GivesFullControl(*e, sid); }) == 0) {
        return {};
    }
    return ListOf(entries, acl.AclRevision);
}

LSTATUS WriteKeyAcl(HKEY key, const KeySecurity& security, std::vector<BYTE>& acl) {
    SECURITY_DESCRIPTOR descriptor = {};
    // Whether entries are inherited stays as it is: Windows drops the mark that they are unless it
    // is also asked for.
    SECURITY_DESCRIPTOR_CONTROL kept =
        security.control & (SE_DACL_PROTECTED | SE_DACL_AUTO_INHERITED);
    if ((kept & SE_DACL_AUTO_INHERITED) != 0) {
        kept |= SE_DACL_AUTO_INHERIT_REQ;
    }
    constexpr SECURITY_DESCRIPTOR_CONTROL kInheritance =
        SE_DACL_PROTECTED | SE_DACL_AUTO_INHERITED | SE_DACL_AUTO_INHERIT_REQ;
    if (!InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) ||
        !SetSecurityDescriptorDacl(&descriptor, TRUE, reinterpret_cast<ACL*>(acl.data()), FALSE) ||
        !SetSecurityDescriptorControl(&descriptor, kInheritance, kept)) {
        return static_cast<LSTATUS>(GetLastError());
    }
    return RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, &descriptor);
}
