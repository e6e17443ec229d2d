#include "client/checkkeys.h"

#include <iterator>
#include <string>
#include <vector>

#include "client/keyaccess.h"
#include "client/servicekeys.h"
#include "client/servicesid.h"
#include "service/serviceidentity.h"
#include "win32/registrykey.h"

namespace {

// Who the service's process may be.
struct Tokens {
    std::vector<Sid> account;
    std::vector<Sid> account_and_service;
};

Tokens MakeTokens() {
    Tokens tokens = {LocalServiceSids(), LocalServiceSids()};
    if (const std::optional<Sid> own = ServiceSid(kServiceName)) {
        tokens.account_and_service.push_back(*own);
    }
    return tokens;
}

struct Judgement {
    Status status;
    std::wstring found;
    std::wstring advice;
};

std::wstring Hex(ACCESS_MASK mask) {
    constexpr wchar_t kDigits[] = L"0123456789abcdef";
    std::wstring text = L"0x";
    for (int shift = 20; shift >= 0; shift -= 4) {
        text += kDigits[(mask >> shift) & 0xF];
    }
    return text;
}

Judgement JudgeAccess(HKEY key, const Tokens& tokens, const ServiceSidType& sid_type) {
    KeySecurity security;
    if (const LSTATUS error = ReadKeySecurity(key, security); error != ERROR_SUCCESS) {
        return {Status::kWarning, L"its access list cannot be read: " + ErrorText(error), L""};
    }
    const auto missing = [&](const std::vector<Sid>& token) {
        return MissingKeyRights(security.acl, security.owner, token, KEY_ALL_ACCESS);
    };
    const ACCESS_MASK without_sid = missing(tokens.account);
    const ACCESS_MASK with_sid = missing(tokens.account_and_service);
    if (without_sid == 0) {
        return {Status::kOk, L"open to LocalService", L""};
    }
    if (with_sid != 0) {
        return {Status::kFault, L"closed to the service (lacks " + Hex(with_sid) + L")",
                kGrantAdvice};
    }
    if (sid_type.IsSet()) {
        return {Status::kOk, L"open to the service's own SID", L""};
    }
    if (sid_type.type) {
        return {Status::kFault, L"open to the service's own SID, which is not on", kGrantAdvice};
    }
    return {Status::kWarning, L"open to the service's own SID, if that is on", L""};
}

std::wstring TypeName(DWORD type) {
    static constexpr const wchar_t* kNames[] = {L"REG_NONE",      L"REG_SZ",
                                                L"REG_EXPAND_SZ", L"REG_BINARY",
                                                L"REG_DWORD",     L"REG_DWORD_BIG_ENDIAN",
                                                L"REG_LINK",      L"REG_MULTI_SZ"};
    return type < std::size(kNames) ? kNames[type] : L"type " + std::to_wstring(type);
}

// The first value of another type than the service stores; empty when there is none.
std::wstring WrongValue(HKEY key, const ServiceKey& expected) {
    for (const KeyValue& value : expected.values) {
        DWORD type = 0;
        if (RegQueryValueExW(key, value.name.c_str(), nullptr, &type, nullptr, nullptr) ==
                ERROR_SUCCESS &&
            type != value.type) {
            return value.name + L" is " + TypeName(type) + L", not " + TypeName(value.type);
        }
    }
    return {};
}

LSTATUS OpenToRead(const std::wstring& path, RegistryKey& key) {
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.Receive());
}

// A key that is missing is well where the service may make it, below the nearest one there is.
Judgement JudgeMissing(const ServiceKey& expected,
                       const Tokens& tokens,
                       const ServiceSidType& sid_type) {
    if (!expected.made_by_service) {
        return {Status::kOk, L"not there; nothing to delete in it", L""};
    }
    std::wstring above = expected.path;
    RegistryKey key;
    LSTATUS error = ERROR_FILE_NOT_FOUND;
    while (error == ERROR_FILE_NOT_FOUND) {
        const std::size_t end = above.rfind(L'\\');
        above.resize(end == std::wstring::npos ? 0 : end);
        error = OpenToRead(above, key);
    }
    if (error != ERROR_SUCCESS) {
        return {Status::kWarning, L"not there; " + above + L": " + ErrorText(error), L""};
    }
    Judgement judgement = JudgeAccess(key.Get(), tokens, sid_type);
    judgement.found.insert(0, L"not there; " + above + L" is ");
    return judgement;
}

Judgement Judge(const ServiceKey& expected, const Tokens& tokens, const ServiceSidType& sid_type) {
    RegistryKey key;
    const LSTATUS error = OpenToRead(expected.path, key);
    if (error == ERROR_FILE_NOT_FOUND) {
        return JudgeMissing(expected, tokens, sid_type);
    }
    if (error != ERROR_SUCCESS) {
        return {Status::kWarning, L"there; cannot be looked at: " + ErrorText(error),
                L"check again as an administrator"};
    }
    Judgement judgement = JudgeAccess(key.Get(), tokens, sid_type);
    judgement.found.insert(0, L"there; ");
    const std::wstring wrong = WrongValue(key.Get(), expected);
    if (!wrong.empty()) {
        judgement.found += L"; " + wrong;
        if (judgement.status == Status::kOk) {
            judgement.status = Status::kWarning;
            judgement.advice = L"delete the value; the service stores it anew when it is set";
        }
    }
    return judgement;
}

}  // namespace

void CheckKeys(Findings& findings, const ServiceSidType& sid_type) {
    const Tokens tokens = MakeTokens();
    for (const ServiceKey& key : ServiceKeys()) {
        const Judgement judgement = Judge(key, tokens, sid_type);
        findings.Add(judgement.status, L"key " + key.path, judgement.found, judgement.advice);
    }
}
