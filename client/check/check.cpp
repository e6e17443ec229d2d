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
#include "interface/endpoint.h"
#include "win32/uniquehandle.h"

using enum Status;

namespace {

void CheckCapability(Findings& findings) {
    LocalSidArray groups;
    LocalSidArray capabilities;
    if (!DeriveCapabilitySidsFromName(kSettingsAppPackage, &groups.sids, &groups.count,
                                      &capabilities.sids, &capabilities.count) ||
        capabilities.count != 1) {
        findings.Add(
            kFault, L"capability",
            std::wstring(kSettingsAppPackage) + L" gives no SID: " + ErrorText(GetLastError()),
            L"the service cannot start without this SID, which needs Windows 10 or later");
        return;
    }
    findings.Add(kOk, L"capability",
                 std::wstring(kSettingsAppPackage) + L", " + SidText(capabilities.sids[0]));
}

}  // namespace

CheckResult Check(const Options& options) {
    Findings findings(options.json);
    const Registration registration = CheckRegistration(findings);
    CheckKeys(findings, registration.has_own_sid, !options.without.usb);
    CheckCapability(findings);
    const bool reached = CheckRequests(findings, registration.stopped, options.without);
    if (!options.json) {
        const auto count = [&](Status status) { return std::to_wstring(findings.Count(status)); };
        PrintLine(count(kOk) + L" ok, " + count(kFault) + L" faults, " + count(kWarning) +
                  L" warnings, " + count(kNotHere) + L" not here");
    }
    return {reached, findings.Count(kFault), registration.process};
}
