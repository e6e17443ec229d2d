#include "client/rights/servicesid.h"

#include <bcrypt.h>
#include <sddl.h>

#include "win32/uniquehandle.h"

namespace {

// The algorithm's own handle, since Windows 10; not in every header set.
const BCRYPT_ALG_HANDLE kSha1 = reinterpret_cast<BCRYPT_ALG_HANDLE>(0x31);

constexpr BYTE kWorldAuthority = 1;
constexpr BYTE kLocalAuthority = 2;
constexpr BYTE kNtAuthority = 5;

}  // namespace

Sid MakeSid(BYTE authority, std::initializer_list<DWORD> parts) {
    Sid sid;
    SID_IDENTIFIER_AUTHORITY identifier = {{0, 0, 0, 0, 0, authority}};
    InitializeSid(sid.Get(), &identifier, static_cast<BYTE>(parts.size()));
    DWORD index = 0;
    for (const DWORD part : parts) {
        *GetSidSubAuthority(sid.Get(), index++) = part;
    }
    return sid;
}

std::optional<Sid> ServiceSid(std::wstring_view name) {
    std::wstring upper(name.size(), L'\0');
    const int units = static_cast<int>(name.size());
    if (LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_UPPERCASE, name.data(), units, upper.data(),
                      units, nullptr, nullptr, 0) != units) {
        return std::nullopt;
    }
    std::array<DWORD, 5> hash = {};
    if (BCryptHash(kSha1, nullptr, 0, reinterpret_cast<BYTE*>(upper.data()),
                   static_cast<ULONG>(upper.size() * sizeof(wchar_t)),
                   reinterpret_cast<BYTE*>(hash.data()), sizeof(hash)) != 0) {
        return std::nullopt;
    }
    return MakeSid(kNtAuthority,
                   {SECURITY_SERVICE_ID_BASE_RID, hash[0], hash[1], hash[2], hash[3], hash[4]});
}

std::vector<Sid> LocalServiceSids() {
    return {
        MakeSid(kNtAuthority, {SECURITY_LOCAL_SERVICE_RID}),
        MakeSid(kWorldAuthority, {SECURITY_WORLD_RID}),
        MakeSid(kNtAuthority, {SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_USERS}),
        MakeSid(kNtAuthority, {SECURITY_SERVICE_RID}),
        MakeSid(kLocalAuthority, {SECURITY_LOCAL_RID}),
        MakeSid(kLocalAuthority, {SECURITY_LOCAL_LOGON_RID}),
        MakeSid(kNtAuthority, {SECURITY_AUTHENTICATED_USER_RID}),
        MakeSid(kNtAuthority, {SECURITY_THIS_ORGANIZATION_RID}),
    };
}

std::wstring SidText(PSID sid) {
    LocalString text;
    return ConvertSidToStringSidW(sid, text.put()) ? text.get() : L"";
}
