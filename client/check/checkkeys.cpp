#include "client/check/checkkeys.h"

#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "client/rights/keyaccess.h"
#include "client/rights/servicekeys.h"
#include "client/rights/servicesid.h"
#include "service/serviceidentity.h"
#include "win32/uniquehandle.h"

namespace {

// Who the service's process may be.
struct Tokens {
    std::optional<Sid> own = ServiceSid(kServiceName);
    std::vector<Sid> account = LocalServiceSids();
    std::vector<Sid> account_and_service = account;
};

Tokens MakeTokens() {
    Tokens tokens;
    if (tokens.own) {
        tokens.account_and_service.push_back(*tokens.own);
    }
    return tokens;
}

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
    const ACCESS_MASK service_lacks = missing(tokens.account_and_service);
    Judgement judgement = JudgeRights(missing(tokens.account), service_lacks, sid_type);
    if (judgement.status == Status::kFault && service_lacks != 0 && tokens.own &&
        WithFullControl(*security.acl, *tokens.own).empty()) {
        judgement.advice = L"its access list gives it and denies it: take the denial away";
    }
    return judgement;
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
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.put());
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
    Judgement judgement = JudgeAccess(key.get(), tokens, sid_type);
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
    Judgement judgement = JudgeAccess(key.get(), tokens, sid_type);
    judgement.found.insert(0, L"there; ");
    const std::wstring wrong = WrongValue(key.get(), expected);
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

Judgement JudgeRights(ACCESS_MASK account_lacks,
                      ACCESS_MASK service_lacks,
                      const ServiceSidType& sid_type) {
    const ACCESS_MASK lacks = sid_type.IsSet() ? service_lacks : account_lacks;
    if (lacks == 0) {
        return {Status::kOk,
                account_lacks == 0 ? L"open to LocalService" : L"open to the service's own SID",
                L""};
    }
    if (service_lacks != 0) {
        return {Status::kFault, L"closed to the service (lacks " + Hex(service_lacks) + L")",
                kGrantAdvice};
    }
    if (!sid_type.type) {
        return {Status::kWarning, L"open to the service's own SID, if that is on", L""};
    }
    return {Status::kFault, L"open to the service's own SID, which is not on", kGrantAdvice};
}

void CheckKeys(Findings& findings, const ServiceSidType& sid_type) {
    const Tokens tokens = MakeTokens();
    for (const ServiceKey& key : ServiceKeys()) {
        const Judgement judgement = Judge(key, tokens, sid_type);
        findings.Add(judgement.status, L"key " + key.path, judgement.found, judgement.advice);
    }
}
