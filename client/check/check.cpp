#include "client/check/check.h"

#include <windows.h>
#include <securitybaseapi.h>

#include <string>

#include "client/check/checkkeys.h"
#include "client/check/checkrequests.h"
#include "client/check/checkservice.h"
#include "client/finding.h"
#include "client/output.h"
#include "client/rights/servicesid.h"
#include "rpc/endpoint.h"
#include "service/serviceidentity.h"
#include "win32/uniquehandle.h"

namespace {

void CheckCapability(Findings& findings) {
    LocalSidArray groups;
    LocalSidArray capabilities;
    if (!DeriveCapabilitySidsFromName(kSettingsAppPackage, &groups.sids, &groups.count,
                                      &capabilities.sids, &capabilities.count) ||
        capabilities.count != 1) {
        findings.Add(
            Status::kFault, L"capability",
            std::wstring(kSettingsAppPackage) + L" gives no SID: " + ErrorText(GetLastError()),
            L"the service cannot start without it; it needs Windows 10 or later");
        return;
    }
    findings.Add(Status::kOk, L"capability",
                 std::wstring(kSettingsAppPackage) + L", " + SidText(capabilities.sids[0]));
}

}  // namespace

CheckResult Check(bool json, const wchar_t* version) {
    Findings findings(json);
    const ServiceSidType sid_type = CheckRegistration(findings, version);
    CheckKeys(findings, sid_type);
    CheckCapability(findings);
    const bool reached = CheckRequests(findings);
    const std::wstring provider = GuidText(kTracingProvider);
    findings.Add(Status::kOk, L"tracing", L"provider " + provider,
                 L"to record its events: logman start tessel -p " + provider +
                     L" -o tessel.etl -ets; logman stop tessel -ets; tracerpt tessel.etl -o "
                     L"tessel.xml");
    if (!json) {
        PrintLine(std::to_wstring(findings.Count()) + L" items, " +
                  std::to_wstring(findings.Faults()) + L" faults, " +
                  std::to_wstring(findings.Warnings()) + L" warnings");
    }
    return {reached, findings.Faults()};
}
