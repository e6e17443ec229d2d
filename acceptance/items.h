// The items of a run, and what its children do. All of them are in the tables of main.cpp.
#pragma once

#include <windows.h>

#include <map>
#include <string>

#include "client/finding.h"

// What an item gets.
struct Run {
    Findings& findings;
    // The letters of the options in main.cpp.
    std::wstring options;

    [[nodiscard]] bool Has(wchar_t option) const { return options.find(option) != options.npos; }
    // How often something is done; less with --quick.
    [[nodiscard]] int Rounds(int full, int few) const { return Has(L'q') ? few : full; }

    void Add(bool ok, const std::wstring& item, std::wstring found, std::wstring advice = {}) const;
    // Something that this machine does not have or let be done.
    void NotHere(const std::wstring& item, std::wstring why, std::wstring advice = {}) const;
};

// As std::swprintf formats it, up to 1023 units.
std::wstring Format(const wchar_t* format, ...);
// " 0x5 3 times" and so on, for codes and how often there were.
std::wstring Counts(const std::map<DWORD, int>& codes);
// "done" for 0, otherwise the error.
std::wstring Outcome(DWORD status);

void CheckRequests(Run& run);
void CheckSyntaxes(Run& run);
void CheckRaisingClients(Run& run);
void CheckContexts(Run& run);
void CheckDyingClients(Run& run);
void CheckStopping(Run& run);
void CheckContainers(Run& run);
void CheckRights(Run& run);
void CheckTracing(Run& run);
void CheckRecovery(Run& run);
void CheckLoad(Run& run);
void CheckBench(Run& run);

// Take back what an item that was ended half-way has left.
void DeleteContainer();
void StopTracing();

// Children. `words` are those of the command line after the child's name; the last one is null.
using ChildWords = const wchar_t* const*;
DWORD AskInSyntax(ChildWords words);
DWORD RaiseInAnswers(ChildWords words);
DWORD HoldContext(ChildWords words);
DWORD HoldAnswer(ChildWords words);
DWORD DieAsClient(ChildWords words);
