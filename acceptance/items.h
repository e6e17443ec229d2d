// The items of a run, and what its children do. All of them are in the tables of main.cpp.
#pragma once

#include <windows.h>

#include <cwchar>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "acceptance/exchange.h"
#include "acceptance/processes.h"
#include "client/finding.h"
#include "client/output.h"

// A value as std::swprintf takes it.
template <typename Value>
Value Argument(Value value) {
    return value;
}
inline const wchar_t* Argument(const std::wstring& text) {
    return text.c_str();
}

// As std::swprintf formats it, up to 1023 units; %ls also takes a std::wstring.
template <typename... Values>
std::wstring Format(const wchar_t* format, const Values&... values) {
    wchar_t text[1024] = {};
    std::swprintf(text, 1024, format, Argument(values)...);
    return text;
}

// The findings of an item and its options.
struct Run : Findings {
    RunOptions options;
    // The service, with the right to query it; for items that restart it, to start and stop it too.
    ServiceHandle service;

    explicit Run(const RunOptions& run_options)
        : Findings(run_options.json), options(run_options) {}
    // A number of rounds: `few` with --quick.
    [[nodiscard]] int Rounds(int full, int few) const { return options.quick ? few : full; }

    using Findings::Add;
    template <typename... Values>
    void Add(bool ok, const std::wstring& item, const wchar_t* format, const Values&... values) {
        Check(ok, Status::kFault, item, Format(format, values...));
    }
};

// The usage of the service's process, stage by stage. Nobody has measured on Windows what is
// normal, so it is a fault only if every stage adds more than so many handles, threads or kB, which
// no cache does.
class Growth {
 public:
    Growth(Run& run, DWORD count, int kilobytes)
        : m_run(run), m_count(count), m_kilobytes(static_cast<SIZE_T>(kilobytes)) {}
    void Measure() { m_stages.push_back(ReadUsage()); }
    // Adds the finding.
    void Report(const wchar_t* item, const std::wstring& what) const;

 private:
    Run& m_run;
    DWORD m_count;
    SIZE_T m_kilobytes;
    std::vector<Usage> m_stages;
};

// " 0x5 3 times" for each code and its count.
std::wstring Counts(const std::map<DWORD, int>& codes);
// "done" for 0, otherwise the error.
std::wstring Outcome(DWORD status);

using ItemCheck = void(Run& run);
ItemCheck CheckRequests, CheckSyntaxes, CheckRaisingClients, CheckContexts, CheckPackets,
    CheckDyingClients, CheckStopping, CheckContainers, CheckRights, CheckTracing, CheckRecovery,
    CheckLoad, CheckBench;

// Undo what an item that was killed has left.
void DeleteContainer();
void StopTracing();

// The value of the control device's switch, or kNoSwitch if it is neither on nor off.
inline constexpr long kNoSwitch = -1;
long SwitchValue();
// Sets a value that SwitchValue gave.
void SetSwitch(long value);

// Children. `words` are those of the command line after the child's name; the last one is null.
using ChildWords = const wchar_t* const*;
using ChildRun = DWORD(ChildWords words);
ChildRun AskInSyntax, RaiseInAnswer, HoldContext, HoldAnswer, DieAsClient;
