#include "client/check/checkkeys.h"

#include <string>
#include <vector>

#include "client/rights/accesslist.h"
#include "client/rights/servicekeys.h"
#include "client/rights/servicesid.h"
#include "interface/serviceidentity.h"
#include "win32/uniquehandle.h"

using enum Status;

namespace {

KeyFinding AccessFinding(HKEY key, std::optional<bool> has_own_sid) {
    ObjectSecurity security;
    if (const DWORD error = ReadKeySecurity(key, security); error != ERROR_SUCCESS) {
        return {kNotHere, L"its access list cannot be read: " + ErrorText(error),
                DeniedAdvice(error)};
    }
    std::vector<std::wstring> token = LocalServiceSids();
    const ACCESS_MASK account_lacks = MissingKeyRights(security.acl, token);
    token.push_back(ServiceSid(kServiceName));
    const ACCESS_MASK service_lacks = MissingKeyRights(security.acl, token);
    KeyFinding finding = RightsFinding(account_lacks, service_lacks, has_own_sid);
    if (service_lacks != 0 && HasFullControl(*security.acl, token.back())) {
        finding.advice = L"one entry gives all access, another denies it: remove the denial";
    }
    return finding;
}

// Returns the first value that does not have the type that the service stores. Empty if there is
// none.
std::wstring WrongValue(HKEY key, const ServiceKey& expected) {
    for (const auto& [name, stored] : expected.values) {
        DWORD type = stored;
        RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, nullptr);
        if (type != stored) {
            return name;
        }
    }
    return {};
}

// A missing key is correct if the service may create it below the nearest existing key.
KeyFinding FindingOf(const ServiceKey& expected, std::optional<bool> has_own_sid) {
    std::wstring path = expected.path;
    RegistryKey key;
    LSTATUS error = ERROR_SUCCESS;
    while ((error = RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.put())) ==
           ERROR_FILE_NOT_FOUND) {
        path.resize(path.rfind(L'\\') == std::wstring::npos ? 0 : path.rfind(L'\\'));
    }
    const bool there = path == expected.path;
    if (!there && expected.values.empty()) {
        return {kOk, L"not there; nothing to delete in it"};
    }
    KeyFinding finding =
        error == ERROR_SUCCESS
            ? AccessFinding(key.get(), has_own_sid)
            : KeyFinding{kNotHere, L"unreadable: " + ErrorText(static_cast<DWORD>(error)),
                         DeniedAdvice(static_cast<DWORD>(error))};
    finding.found.insert(0, there ? L"there; " : L"not there; " + path + L" is ");
    if (!there && expected.usb && !finding.advice.empty()) {
        finding.status = kWarning;
        finding.advice +=
            L"\non a model without the USB drivers: .\\tesselctl --check --without usb";
    }
    const std::wstring wrong = there ? WrongValue(key.get(), expected) : L"";
    if (!wrong.empty()) {
        finding.found += L"; " + wrong + L" has the wrong type";
        finding.advice += finding.advice.empty() ? L"" : L"\n";
        finding.advice += L"delete the value; the service creates it when it stores the setting";
        finding.status = finding.status == kFault ? kFault : kWarning;
    }
    return finding;
}

}  // namespace

KeyFinding RightsFinding(ACCESS_MASK account_lacks,
                         ACCESS_MASK service_lacks,
                         std::optional<bool> has_own_sid) {
    if ((has_own_sid.value_or(false) ? service_lacks : account_lacks) == 0) {
        return {kOk, L"open to the service"};
    }
    if (service_lacks != 0) {
        return {kFault, L"closed to the service", kGrantAdvice};
    }
    return {has_own_sid ? kFault : kNotHere, L"open to the service's own SID"};
}

void CheckKeys(Findings& findings, std::optional<bool> has_own_sid, bool with_usb) {
    int keys = 0;
    int open = 0;
    Status status = kOk;
    for (const ServiceKey& key : ServiceKeys()) {
        if (key.usb && !with_usb) {
            continue;
        }
        ++keys;
        const KeyFinding finding = FindingOf(key, has_own_sid);
        if (!finding.advice.empty()) {
            findings.Add(finding.status, L"key " + key.path, finding.found, finding.advice);
            continue;
        }
        ++open;
        if (finding.status != kOk) {
            status = finding.status;
        }
    }
    if (open != 0) {
        findings.Add(
            status, L"keys",
            std::to_wstring(open) + L" of " + std::to_wstring(keys) + L" open to the service" +
                (status == kOk      ? L""
                 : status == kFault ? L"'s own SID, which its process does not have"
                                    : L"'s own SID; whether its process has it is not known "
                                      L"here"),
            status == kFault ? L"see service.sid" : L"");
    }
}
