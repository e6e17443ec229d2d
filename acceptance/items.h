// The items of a run and what its children do. Every item is in the table in main.cpp.
#pragma once

#include <string>

#include "client/finding.h"

// What an item gets.
struct Run {
    Findings& findings;
    // Few rounds of everything.
    bool quick = false;
    // What it may change: the modem's profiles, the route of the USB port, the switch.
    bool modem = false;
    bool usb = false;
    bool device = false;

    [[nodiscard]] int Rounds(int full, int few) const { return quick ? few : full; }

    // Adds a finding that is ok or a fault.
    void Add(bool ok, std::wstring item, std::wstring found, std::wstring advice = {}) const {
        findings.Add(ok ? Status::kOk : Status::kFault, std::move(item), std::move(found),
                     ok ? std::wstring() : std::move(advice));
    }
    void NotHere(std::wstring item, std::wstring why, std::wstring advice = {}) const {
        findings.Add(Status::kNotHere, std::move(item), std::move(why), std::move(advice));
    }
};

// One command of every family, two of the family that makes texts; none changes anything.
inline constexpr const wchar_t* kHarmlessCommands[] = {
    L"REGISTRYHELPER_ISVZWQ",      L"MBNHELPER_GETNETWORKMODE",
    L"BLEHELPER_GETBLE",           L"USBPATHCHANGER_SMGETMUICSTATUS",
    L"COMMONHELPER_ISFILE_EXISTS", L"COMMONHELPER_READEULADOCUMENT"};

void CheckRequests(Run& run);
void CheckSyntaxes(Run& run);
void CheckRaisingClients(Run& run);
void CheckContexts(Run& run);
void CheckDyingClients(Run& run);

// Children: the words of the command line after "--child" and the child's name, and how many. Their
// results are exit codes.
using ChildWords = const wchar_t* const*;
DWORD AskInSyntax(ChildWords words, int count);
DWORD RaiseInAnswers(ChildWords words, int count);
DWORD HoldContext(ChildWords words, int count);
DWORD DieAsClient(ChildWords words, int count);
