#include "client/rights/servicesid.h"

#include <bcrypt.h>
#include <sddl.h>

#include <iterator>

#include "win32/uniquehandle.h"

namespace {

// The handle of the SHA-1 algorithm, since Windows 10; not in every header set.
const BCRYPT_ALG_HANDLE kSha1 = reinterpret_cast<BCRYPT_ALG_HANDLE>(0x31);

}  // namespace

Sid MakeSid(const std::wstring& text) {
    Sid sid;
    LocalMemory parsed;
    if (ConvertStringSidToSidW(text.c_str(), parsed.put())) {
        CopySid(sizeof(sid.bytes), sid.Get(), parsed.get());
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
    std::wstring text = L"S-1-5-80";
    for (const DWORD part : hash) {
        text += L"-" + std::to_wstring(part);
    }
    return MakeSid(text);
}

std::vector<Sid> LocalServiceSids() {
    return {
        MakeSid(L"S-1-5-19"),      // LocalService
        MakeSid(L"S-1-1-0"),       // Everyone
        MakeSid(L"S-1-5-32-545"),  // Users
        MakeSid(L"S-1-5-6"),       // SERVICE
        MakeSid(L"S-1-2-0"),       // LOCAL
        MakeSid(L"S-1-2-1"),       // CONSOLE LOGON
        MakeSid(L"S-1-5-11"),      // Authenticated Users
        MakeSid(L"S-1-5-15"),      // This Organization
    };
}

std::wstring SidText(PSID sid) {
    LocalString text;
    return ConvertSidToStringSidW(sid, text.put()) ? text.get() : L"";
}

std::wstring AccountName(PSID sid) {
    wchar_t name[256] = {};
    wchar_t domain[256] = {};
    DWORD name_units = std::size(name);
    DWORD domain_units = std::size(domain);
    SID_NAME_USE use = SidTypeUnknown;
    if (!LookupAccountSidW(nullptr, sid, name, &name_units, domain, &domain_units, &use)) {
        return SidText(sid);
    }
    return domain[0] == L'\0' ? name : domain + std::wstring(L"\\") + name;
}
