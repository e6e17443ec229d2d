// tessel-acceptance: tries the installed service on the machine where it is to run.
#include <windows.h>

#include <algorithm>
#include <cstdarg>
#include <cwchar>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "acceptance/child.h"
#include "acceptance/exchange.h"
#include "acceptance/installedservice.h"
#include "acceptance/items.h"
#include "client/output.h"

namespace {

enum ExitCode { kNothingWrong = 0, kFaults = 1, kUsage = 2, kUnreachable = 3 };

struct Item {
    const wchar_t* name;
    void (*check)(Run& run);
    // How long it may take.
    DWORD seconds;
    const wchar_t* help;
};

constexpr Item kItems[] = {
    {L"requests", CheckRequests, 300, L"echoes, long texts, 1234 connections at once"},
    {L"syntaxes", CheckSyntaxes, 120, L"NDR 2.0 and NDR64, each alone"},
    {L"raising", CheckRaisingClients, 900, L"clients whose callbacks raise"},
    {L"contexts", CheckContexts, 300, L"null, closed, foreign, closed twice at once"},
    {L"dying", CheckDyingClients, 900, L"clients that are killed, and what they leave"},
    {L"stopping", CheckStopping, 900, L"stops among clients at work, and at once"},
    {L"container", CheckContainers, 120, L"app containers with and without the capability"},
    {L"rights", CheckRights, 30, L"settings, stored again as they are"},
    {L"tracing", CheckTracing, 180, L"the events of a restart"},
    {L"recovery", CheckRecovery, 180, L"the start after a crash"},
    {L"load", CheckLoad, 1800, L"300,000 requests of 32 clients"},
    {L"bench", CheckBench, 300, L"what --modem, --usb and --device allow"},
};

struct ChildKind {
    const wchar_t* name;
    DWORD (*run)(ChildWords words);
};

// The faults of one item, which is the first word; the second has the options.
DWORD RunItem(ChildWords words) {
    constexpr int kMost = 200;
    const std::wstring options = words[1];
    Findings findings(options.find(L'j') != std::wstring::npos);
    Run run = {findings, options};
    for (const Item& item : kItems) {
        if (std::wcscmp(item.name, words[0]) == 0) {
            item.check(run);
        }
    }
    return static_cast<DWORD>(std::min(findings.Count(Status::kFault), kMost));
}

// Waits for this program to end, then takes back what an item that was ended half-way has left.
DWORD Guard(ChildWords /*words*/) {
    if (!WaitForParent()) {
        StopTracing();
        DeleteContainer();
        StartAndAnswer(OpenInstalledService(SERVICE_START | SERVICE_QUERY_STATUS).get());
    }
    return 0;
}

constexpr ChildKind kChildren[] = {
    {L"ask", [](ChildWords) { return AskOnce(); }},
    {L"context", HoldContext},
    {L"die", DieAsClient},
    {L"guard", Guard},
    {L"hold", HoldAnswer},
    {L"item", RunItem},
    {L"raise", RaiseInAnswers},
    {L"syntax", AskInSyntax},
};

DWORD RunChild(ChildWords words) {
    // A crash that is wanted shows no window.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    for (const ChildKind& kind : kChildren) {
        if (std::wcscmp(kind.name, words[0]) == 0) {
            return kind.run(words + 1);
        }
    }
    return kUsage;
}

constexpr wchar_t kHelp[] =
    LR"(tessel-acceptance tries the installed Tessel Service on this machine and prints a line per finding.

Options:
  --json          one JSON object per line: item, status (ok, fault, not here), found, advice
  --report FILE   where the same lines are kept (tessel-acceptance.txt if not given)
  --only ITEM     this item alone; may be given more than once
  --quick         few rounds of everything
  --modem         may make a profile, which deletes all others, connect and disconnect
  --usb           may route the USB port to the modem, and back
  --device        may turn the control device's switch, and back
  --help, --version

Without the last three it changes no setting. It stops and starts the service, for which it must be
started as an administrator; otherwise it says what it could not do.

Exit codes: 0 nothing is wrong, 1 a fault, 2 wrong usage, 3 the service cannot be reached.

Items:)";

struct Switch {
    const wchar_t* name;
    wchar_t letter;
};

constexpr Switch kSwitches[] = {
    {L"--json", L'j'}, {L"--quick", L'q'},  {L"--modem", L'm'},
    {L"--usb", L'u'},  {L"--device", L'd'},
};

struct Options {
    // The letters of the switches.
    std::wstring letters = L"-";
    // The names of the items between blanks; none for all.
    std::wstring items = L" ";
    std::wstring report = L"tessel-acceptance.txt";
};

// False for a command line that is not understood.
bool ParseOptions(wchar_t** words, Options& options) {
    for (; *words != nullptr; ++words) {
        const std::wstring_view word = *words;
        const auto* option = std::ranges::find_if(
            kSwitches, [=](const Switch& known) { return known.name == word; });
        if (option != std::end(kSwitches)) {
            options.letters += option->letter;
        } else if (word == L"--report" && words[1] != nullptr) {
            options.report = *++words;
        } else if (word == L"--only" && words[1] != nullptr &&
                   std::ranges::any_of(kItems, [=](const Item& item) {
                       return std::wstring_view(item.name) == words[1];
                   })) {
            options.items += *++words + std::wstring(L" ");
        } else {
            return false;
        }
    }
    return true;
}

// What and where this is; `tesselctl --report` says more of the machine.
std::wstring SystemText() {
    SYSTEM_INFO system = {};
    GetNativeSystemInfo(&system);
    const bool arm64 = system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_ARM64;
    return Format(L"tessel-acceptance " TESSEL_VERSION L", %ls on %ls, %lu processors%ls",
                  IsWine() ? L"Wine" : L"Windows", arm64 ? L"ARM64" : L"x64",
                  system.dwNumberOfProcessors,
                  OpenInstalledService(SERVICE_STOP) ? L", as an administrator" : L"");
}

// Runs the item in a process of its own, which it cannot keep or break for the others, and hands
// its lines on. Gives the number of its faults.
DWORD RunInTime(const Item& item, const Run& run, int& not_here) {
    Child child(Format(L"item %ls %ls", item.name, run.options.c_str()));
    std::thread reader([&] {
        for (std::wstring line = child.ReadLine(); !line.empty(); line = child.ReadLine()) {
            PrintLine(line);
            not_here +=
                line.starts_with(L"NOT HERE") || line.find(L"\"status\":\"not here\"") != line.npos
                    ? 1
                    : 0;
        }
    });
    const DWORD code = child.Wait(item.seconds * 1000);
    child.Kill();
    reader.join();
    if (code < STILL_ACTIVE) {
        return code;
    }
    run.Add(false, item.name,
            code == STILL_ACTIVE ? Format(L"did not end within %lu s", item.seconds)
                                 : Format(L"ended with 0x%lx", code));
    return 1;
}

DWORD RunAll(const Options& options) {
    const FileHandle file(CreateFileW(options.report.c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                      nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        PrintErrorLine(L"tessel-acceptance: " + options.report + L": " + ErrorText(GetLastError()));
        return kUsage;
    }
    KeepLinesIn(file.get());
    const bool json = options.letters.find(L'j') != std::wstring::npos;
    Findings findings(json);
    const Run run = {findings, options.letters};
    run.Add(true, L"system", SystemText());
    const DWORD reached = AskOnce();
    run.Add(reached == 0, L"service", L"a request: " + Outcome(reached),
            L"tesselctl --check says more");
    if (reached != 0) {
        return kUnreachable;
    }
    Child guard(L"guard", DETACHED_PROCESS);
    DWORD faults = 0;
    int not_here = 0;
    for (const Item& item : kItems) {
        if (options.items == L" " ||
            options.items.find(L" " + std::wstring(item.name) + L" ") != std::wstring::npos) {
            faults += RunInTime(item, run, not_here);
        }
    }
    guard.GoOn();
    guard.Wait(kChildMilliseconds);
    if (!json) {
        PrintLine(Format(L"%lu faults, %d not here; kept in %ls", faults, not_here,
                         options.report.c_str()));
    }
    return faults == 0 ? kNothingWrong : kFaults;
}

}  // namespace

void Run::Add(bool ok, const std::wstring& item, std::wstring found, std::wstring advice) const {
    findings.Add(ok ? Status::kOk : Status::kFault, item, std::move(found),
                 ok ? std::wstring() : std::move(advice));
}

void Run::NotHere(const std::wstring& item, std::wstring why, std::wstring advice) const {
    findings.Add(Status::kNotHere, item, std::move(why), std::move(advice));
}

std::wstring Format(const wchar_t* format, ...) {
    wchar_t text[1024] = {};
    va_list arguments;
    va_start(arguments, format);
    std::vswprintf(text, std::size(text), format, arguments);
    va_end(arguments);
    return text;
}

std::wstring Counts(const std::map<DWORD, int>& codes) {
    std::wstring text;
    for (const auto& [code, times] : codes) {
        text += Format(L" 0x%lx %d times", code, times);
    }
    return text.empty() ? L" nothing" : text;
}

std::wstring Outcome(DWORD status) {
    return status == 0 ? L"done" : ErrorText(status);
}

int wmain(int argc, wchar_t** argv) {
    const std::wstring_view first = argc > 1 ? argv[1] : L"";
    TakeAnswers();
    EnableDebugPrivilege();
    if (first == L"--child" && argc > 2) {
        EndProcess(RunChild(argv + 2));
    }
    Options options;
    if (first == L"--help") {
        PrintLine(kHelp);
        for (const Item& item : kItems) {
            PrintLine(Format(L"  %-16ls%ls", item.name, item.help));
        }
        return kNothingWrong;
    }
    if (first == L"--version") {
        PrintLine(L"tessel-acceptance " TESSEL_VERSION);
        return kNothingWrong;
    }
    if (!ParseOptions(argv + 1, options)) {
        PrintErrorLine(L"tessel-acceptance: wrong usage\nTry: tessel-acceptance --help");
        return kUsage;
    }
    return static_cast<int>(RunAll(options));
}
