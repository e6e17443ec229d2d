// tesselctl --check.
#pragma once

// Looks at everything that the service needs, changes nothing, and prints a line per item.
// `version` is this program's.
struct CheckResult {
    bool reached;
    int faults;
};
CheckResult Check(bool json, const wchar_t* version);
