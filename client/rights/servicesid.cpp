#include "client/rights/servicesid.h"

#include <bcrypt.h>
#include <sddl.h>

#include <algorithm>
#include <cwctype>
#include <iterator>

#include "win32/uniquehandle.h"

namespace {

// BCRYPT_SHA1_ALG_HANDLE, which not every header set has.
const BCRYPT_ALG_HANDLE kSha1 = reinterpret_cast<BCRYPT_ALG_HANDLE>(0x31);

}  // namespace

std::wstring ServiceSid(std::wstring_view name) {
    std::wstring upper(name);
    std::ranges::transform(upper, upper.begin(), ::towupper);
    DWORD hash[5] = {};
    if (BCryptHash(kSha1, nullptr, 0, reinterpret_cast<BYTE*>(upper.data()),
                   static_cast<ULONG>(upper.size() * sizeof(wchar_t)),
                   reinterpret_cast<BYTE*>(hash), sizeof(hash)) != 0) {
        return {};
    }
    std::wstring text = L"S-1-5-80";
    for (const DWORD part : hash) {
        text += L"-" + std::to_wstring(part);
    }
    return text;
}

std::vector<std::wstring> LocalServiceSids() {
    return {
        L"S-1-5-19",      // LocalService
        L"S-1-1-0",       // Everyone
        L"S-1-5-32-545",  // Users
        L"S-1-5-6",       // SERVICE
        L"S-1-2-0",       // LOCAL
        L"S-1-2-1",       // CONSOLE LOGON
        L"S-1-5-11",      // Authenticated Users
        L"S-1-5-15",      // This Organization
    };
}

std::wstring SidText(PSID sid) {
    LocalString text;
    return ConvertSidToStringSidW(sid, text.put()) ? text.get() : L"";
}

std::wstring AccountName(const std::wstring& sid) {
    LocalMemory parsed;
    wchar_t name[256] = {};
    wchar_t domain[256] = {};
    DWORD name_units = std::size(name);
    DWORD domain_units = std::size(domain);
    SID_NAME_USE use = SidTypeUnknown;
    if (!ConvertStringSidToSidW(sid.c_str(), parsed.put()) ||
        !LookupAccountSidW(nullptr, parsed.get(), name, &name_units, domain, &domain_units, &use)) {
        return sid;
    }
    return domain[0] == L'\0' ? name : domain + std::wstring(L"\\") + name;
}
