// What tesselctl found or did, item by item.
#pragma once

#include <windows.h>

#include <string>

// Of a thing looked at: kOk, kWarning, kFault, kNotHere (this machine does not have it). Of a thing
// to be changed: kDone, kUnchanged (it was as wanted already), kFailed.
enum class Status { kOk, kWarning, kFault, kDone, kUnchanged, kFailed, kNotHere };

// The advice where rights are missing.
inline constexpr wchar_t kGrantAdvice[] = L"as an administrator: tesselctl --grant";

struct Finding {
    Status status;
    // A name that stays the same from release to release.
    std::wstring item;
    std::wstring found;
    // What to do about it; often empty.
    std::wstring advice;
};

// One finding without its last line end: a line for people, with the advice on a second one, or an
// object of JSON with the texts "item", "status", "found" and "advice".
std::wstring FormatFinding(const Finding& finding, bool json);

// Prints findings as they come, and counts them.
class Findings {
 public:
    explicit Findings(bool json) : m_json(json) {}

    void Add(Status status, std::wstring item, std::wstring found, std::wstring advice = {});

    [[nodiscard]] int Count() const { return m_count; }
    [[nodiscard]] int Warnings() const { return m_warnings; }
    [[nodiscard]] int NotHere() const { return m_not_here; }
    // Faults, and changes that failed.
    [[nodiscard]] int Faults() const { return m_faults; }

 private:
    bool m_json;
    int m_count = 0;
    int m_warnings = 0;
    int m_not_here = 0;
    int m_faults = 0;
};

// `id` in braces and capitals. Calls StringFromGUID2.
std::wstring GuidText(const GUID& id);

// A Win32 error as "error 5 (Access is denied)", in the words of the system. Calls FormatMessageW.
std::wstring ErrorText(unsigned long error);
