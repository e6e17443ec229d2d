#include "simulator/wine/capability.h"

#include <sddl.h>
#include <wincrypt.h>

#include <array>
#include <cstdint>

namespace {

using Hash = std::array<std::uint32_t, 8>;

Hash Sha256(std::wstring_view text) {
    Hash hash = {};
    DWORD size = sizeof(hash);
    HCRYPTPROV provider = 0;
    HCRYPTHASH state = 0;
    if (CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT)) {
        if (CryptCreateHash(provider, CALG_SHA_256, 0, 0, &state)) {
            CryptHashData(state, reinterpret_cast<const BYTE*>(text.data()),
                          static_cast<DWORD>(text.size() * sizeof(wchar_t)), 0);
            CryptGetHashParam(state, HP_HASHVAL, reinterpret_cast<BYTE*>(hash.data()), &size, 0);
            CryptDestroyHash(state);
        }
        CryptReleaseContext(provider, 0);
    }
    return hash;
}

std::wstring UpperCase(std::wstring_view text) {
    std::wstring upper(text);
    const int size = static_cast<int>(text.size());
    LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_UPPERCASE, text.data(), size, upper.data(), size,
                  nullptr, nullptr, 0);
    return upper;
}

// Returns an array with one SID. The caller frees both with LocalFree.
PSID* OneSid(const std::wstring& name) {
    auto* array = static_cast<PSID*>(LocalAlloc(LMEM_FIXED, sizeof(PSID)));
    if (array != nullptr && !ConvertStringSidToSidW(name.c_str(), array)) {
        LocalFree(array);
        return nullptr;
    }
    return array;
}

}  // namespace

CapabilitySidNames DeriveCapabilitySidNames(std::wstring_view name) {
    std::wstring hash;
    for (const std::uint32_t part : Sha256(UpperCase(name))) {
        hash += L"-" + std::to_wstring(part);
    }
    return {L"S-1-5-32" + hash, L"S-1-15-3-1024" + hash};
}

BOOL WINAPI SimulatedDeriveCapabilitySidsFromName(LPCWSTR name,
                                                  PSID** group_sids,
                                                  DWORD* group_count,
                                                  PSID** capability_sids,
                                                  DWORD* capability_count) {
    DWORD failure = 0;
    DWORD size = sizeof(failure);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Tessel Simulator", L"FailCapability",
                     RRF_RT_REG_DWORD, nullptr, &failure, &size) == ERROR_SUCCESS) {
        SetLastError(failure);
        return FALSE;
    }
    const CapabilitySidNames names = DeriveCapabilitySidNames(name);
    *group_sids = OneSid(names.group);
    *capability_sids = OneSid(names.capability);
    *group_count = *group_sids != nullptr ? 1 : 0;
    *capability_count = *capability_sids != nullptr ? 1 : 0;
    return *group_count == 1 && *capability_count == 1;
}
