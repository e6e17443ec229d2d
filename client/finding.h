// What tesselctl found or did, item by item.
#pragma once

#include <windows.h>

#include <array>
#include <string>

// Of a thing that was checked: kOk, kWarning, kFault. Of a thing to be changed: kDone, kUnchanged
// (it was so already), kFailed. Of both: kNotHere, if this machine does not have it or cannot tell.
enum class Status { kOk, kWarning, kFault, kDone, kUnchanged, kFailed, kNotHere };

// Advice. Each line of it works in PowerShell and in cmd.exe, in the folder of the programs.
inline constexpr wchar_t kGrantAdvice[] = L"as an administrator: .\\tesselctl --grant";
inline constexpr wchar_t kCheckAgainAdvice[] = L"check again as an administrator";
inline constexpr wchar_t kRestartAdvice[] =
    L"as an administrator: net stop \"Tessel Service\"\nand then: net start \"Tessel Service\"";
inline constexpr wchar_t kStartAdvice[] = L"as an administrator: net start \"Tessel Service\"";

// Prints findings as they come, each as a line for people, with the advice on the next lines, or as
// an object of JSON with the texts "item", "status", "found" and "advice"; and counts them.
class Findings {
 public:
    explicit Findings(bool json) : m_json(json) {}

    // `item` is a name that stays the same from release to release; `advice`, often empty, says
    // what to do about it, one command per line.
    void Add(Status status,
             const std::wstring& item,
             const std::wstring& found,
             const std::wstring& advice = {});

    // Adds an OK without advice if `ok`, otherwise a finding of the status `otherwise` with it.
    void Check(bool ok,
               Status otherwise,
               const std::wstring& item,
               const std::wstring& found,
               const std::wstring& advice = {}) {
        Add(ok ? Status::kOk : otherwise, item, found, ok ? L"" : advice);
    }

    // Adds that `item` could not be checked because of a Win32 error. `known` comes first.
    void AddNotHere(const std::wstring& item, unsigned long error, const std::wstring& known = {});

    // How many there are of one status.
    [[nodiscard]] int Count(Status status) const { return m_counts[static_cast<int>(status)]; }

 private:
    bool m_json;
    std::array<int, 7> m_counts = {};
};

// `id` in braces and capitals. Calls StringFromGUID2.
std::wstring GuidText(const GUID& id);

// A Win32 error as "error 5 (Access is denied)", in the words of the system. Calls FormatMessageW.
std::wstring ErrorText(unsigned long error);
