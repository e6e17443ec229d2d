// tessel-acceptance: tries the installed service on the machine where it is to run.
#include <windows.h>

#include <cwchar>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "acceptance/child.h"
#include "acceptance/exchange.h"
#include "acceptance/guardedcall.h"
#include "acceptance/installedservice.h"
#include "acceptance/items.h"
#include "client/finding.h"
#include "client/output.h"

namespace {

enum ExitCode { kNothingWrong = 0, kFaults = 1, kUsage = 2, kUnreachable = 3 };

struct Item {
    const wchar_t* name;
    const wchar_t* help;
    void (*check)(Run& run);
    // How long it may take.
    DWORD seconds;
};

constexpr Item kItems[] = {
    {L"requests", L"echoes, texts of up to a million units, 1234 connections at once",
     CheckRequests, 300},
    {L"syntaxes", L"NDR 2.0 and NDR64, each alone", CheckSyntaxes, 120},
    {L"raising", L"clients whose callbacks raise", CheckRaisingClients, 600},
    {L"contexts", L"null, closed, another process's; closed twice at once, and in a request",
     CheckContexts, 300},
    {L"dying", L"clients that are killed, and what the service keeps of them", CheckDyingClients,
     900},
};

struct ChildKind {
    const wchar_t* name;
    DWORD (*run)(ChildWords words, int count);
};

constexpr ChildKind kChildren[] = {
    {L"context", HoldContext},
    {L"die", DieAsClient},
    {L"raise", RaiseInAnswers},
    {L"syntax", AskInSyntax},
};

constexpr wchar_t kHelpBegin[] =
    LR"(tessel-acceptance tries the installed Tessel Service on this machine and prints a line per item.

Usage:
  tessel-acceptance [options]

Options:
  --json                  one JSON object per line: item, status, found, advice
  --report FILE           where the same lines are kept (tessel-acceptance.txt if not given)
  --only ITEM             this item alone; may be given more than once
  --quick                 few rounds of everything
  --help, --version

It changes no setting. As an administrator it can do everything, otherwise it says what it could not.

Exit codes:
  0  nothing is wrong     1  a fault
  2  wrong usage          3  the service cannot be reached

Items:)";

struct Options {
    bool json = false;
    bool quick = false;
    bool selected[std::size(kItems)] = {};
    bool all = true;
    std::wstring report = L"tessel-acceptance.txt";
};

bool Select(std::wstring_view name, Options& options) {
    options.all = false;
    for (std::size_t i = 0; i < std::size(kItems); ++i) {
        if (kItems[i].name == name) {
            options.selected[i] = true;
            return true;
        }
    }
    return false;
}

// Nothing and what is wrong, or the options.
std::optional<Options> ParseOptions(int argc, wchar_t** argv, std::wstring& wrong) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::wstring_view option = argv[i];
        const wchar_t* value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (option == L"--json") {
            options.json = true;
        } else if (option == L"--quick") {
            options.quick = true;
        } else if (option == L"--report" && value != nullptr) {
            options.report = argv[++i];
        } else if (option != L"--only" || value == nullptr || !Select(argv[++i], options)) {
            wrong = L"unknown option or item: " + std::wstring(argv[i]);
            return std::nullopt;
        }
    }
    return options;
}

void PrintHelp() {
    PrintLine(kHelpBegin);
    for (const Item& item : kItems) {
        std::wstring name = std::wstring(L"  ") + item.name;
        name.resize(26, L' ');
        PrintLine(name + item.help);
    }
}

struct ItemRun {
    const Item* item;
    Run* run;
};

DWORD WINAPI RunItem(void* argument) {
    const auto* item_run = static_cast<ItemRun*>(argument);
    return StatusOf([=] { item_run->item->check(*item_run->run); });
}

// One that does not end in its time is left as it is, and the next ones follow.
void RunInTime(const Item& item, Run& run) {
    // Not freed: the thread may go on.
    auto* item_run = new ItemRun{&item, &run};
    const Handle thread(CreateThread(nullptr, 0, RunItem, item_run, 0, nullptr));
    DWORD code = 0;
    if (WaitForSingleObject(thread.get(), item.seconds * 1000) != WAIT_OBJECT_0) {
        run.Add(false, item.name,
                L"did not end within " + std::to_wstring(item.seconds) + L" seconds");
    } else if (GetExitCodeThread(thread.get(), &code) && code != 0) {
        run.Add(false, item.name, L"ended with the exception " + ErrorText(code));
    }
}

DWORD RunAll(const Options& options) {
    const FileHandle file(CreateFileW(options.report.c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                      nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        PrintErrorLine(L"tessel-acceptance: " + options.report + L": " + ErrorText(GetLastError()));
        return kUsage;
    }
    KeepLinesIn(file.get());
    Findings findings(options.json);
    Run run = {findings, options.quick};
    const DWORD reached = AskOnce();
    run.Add(reached == 0, L"service", reached == 0 ? L"answers" : ErrorText(reached),
            L"tesselctl --check says more");
    if (reached != 0) {
        return kUnreachable;
    }
    for (std::size_t i = 0; i < std::size(kItems); ++i) {
        if (options.all || options.selected[i]) {
            RunInTime(kItems[i], run);
        }
    }
    if (!options.json) {
        PrintLine(std::to_wstring(findings.Count(Status::kOk)) + L" ok, " +
                  std::to_wstring(findings.Count(Status::kFault)) + L" faults, " +
                  std::to_wstring(findings.Count(Status::kNotHere)) + L" not here; kept in " +
                  options.report);
    }
    return findings.Count(Status::kFault) == 0 ? kNothingWrong : kFaults;
}

DWORD RunChild(int argc, wchar_t** argv) {
    for (const ChildKind& kind : kChildren) {
        if (argc > 2 && std::wcscmp(kind.name, argv[2]) == 0) {
            return kind.run(argv + 3, argc - 3);
        }
    }
    return kUsage;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const std::wstring_view first = argc > 1 ? argv[1] : L"";
    TakeAnswers();
    if (first == L"--child") {
        EndProcess(RunChild(argc, argv));
    }
    if (first == L"--help") {
        PrintHelp();
        return kNothingWrong;
    }
    if (first == L"--version") {
        PrintLine(L"tessel-acceptance " TESSEL_VERSION);
        return kNothingWrong;
    }
    std::wstring wrong;
    const std::optional<Options> options = ParseOptions(argc, argv, wrong);
    if (!options) {
        PrintErrorLine(L"tessel-acceptance: " + wrong + L"\nTry: tessel-acceptance --help");
        return kUsage;
    }
    EnableDebugPrivilege();
    // Threads of items that did not end may still be at work.
    EndProcess(RunAll(*options));
}
