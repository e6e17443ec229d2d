// The lines that tesselctl prints about what it checked or changed.
#pragma once

#include <windows.h>

#include <array>
#include <string>

// The result of a check is kOk, kWarning or kFault. The result of a change is kDone, kUnchanged
// (there was nothing to change) or kFailed. Both can be kNotHere: this machine does not have the
// item or cannot tell.
enum class Status { kOk, kWarning, kFault, kDone, kUnchanged, kFailed, kNotHere };

// Advice. Each line works in PowerShell and in cmd.exe, in the folder of the programs.
inline constexpr wchar_t kGrantAdvice[] = L"as an administrator: .\\tesselctl --grant";
inline constexpr wchar_t kRestartAdvice[] =
    L"as an administrator: net stop \"Tessel Service\"\nand then: net start \"Tessel Service\"";
inline constexpr wchar_t kStartAdvice[] = L"as an administrator: net start \"Tessel Service\"";

// Prints and counts findings. A finding is a line of text with its advice on the lines after it, or
// a JSON object with the texts "item", "status", "found" and "advice".
class Findings {
 public:
    explicit Findings(bool json) : m_json(json) {}

    // `item` is a name that stays the same from release to release. `advice` says what to do, one
    // command per line, and may be empty.
    void Add(Status status,
             const std::wstring& item,
             const std::wstring& found,
             const std::wstring& advice = {});

    // Adds kOk without the advice if `ok` is true, else the status `otherwise` with the advice.
    void Check(bool ok,
               Status otherwise,
               const std::wstring& item,
               const std::wstring& found,
               const std::wstring& advice = {}) {
        Add(ok ? Status::kOk : otherwise, item, found, ok ? L"" : advice);
    }

    // Adds kNotHere because of a Win32 error. The text begins with `known`.
    void AddNotHere(const std::wstring& item, unsigned long error, const std::wstring& known = {});

    // The number of findings with this status.
    [[nodiscard]] int Count(Status status) const { return m_counts[static_cast<int>(status)]; }

 private:
    bool m_json;
    std::array<int, 7> m_counts = {};
};

// Returns `id` in braces and capital letters.
std::wstring GuidText(const GUID& id);

// Returns a time in UTC as "2026-11-22T10:44:59.123Z".
std::wstring TimeText(const FILETIME& time);

// Returns what to do about ERROR_ACCESS_DENIED. Empty for other errors.
std::wstring DeniedAdvice(unsigned long error);

// Returns a Win32 error as "error 5 (Access is denied)", with the text of Windows.
std::wstring ErrorText(unsigned long error);
