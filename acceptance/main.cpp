// tessel-acceptance: tests the installed service on the machine that it is to run on.

#include <algorithm>
#include <iterator>
#include <thread>

#include "acceptance/items.h"
#include "acceptance/savedkeys.h"

namespace {

enum ExitCode { kNothingWrong = 0, kFaults = 1, kUsage = 2, kUnreachable = 3 };

struct Item {
    const wchar_t* name;
    ItemCheck* check;
    // How long it may take.
    DWORD seconds;
    const wchar_t* help;
    bool needs_administrator = false;
};

constexpr Item kItems[] = {
    {L"requests", CheckRequests, 300, L"echoes, long texts, 1234 connections at once"},
    {L"syntaxes", CheckSyntaxes, 120, L"NDR 2.0 and NDR64, each alone"},
    {L"raising", CheckRaisingClients, 900, L"clients whose callbacks raise"},
    {L"contexts", CheckContexts, 300, L"null, closed, foreign, closed twice at once"},
    {L"packets", CheckPackets, 120, L"broken calls: changed bytes, lengths, numbers"},
    {L"dying", CheckDyingClients, 900, L"clients that are killed, and what they leave"},
    {L"stopping", CheckStopping, 900, L"stops among clients at work, and at once", true},
    {L"container", CheckContainers, 120, L"app containers with and without the capability"},
    {L"rights", CheckRights, 30, L"settings, stored and restored", true},
    {L"tracing", CheckTracing, 180, L"the events of a restart", true},
    {L"recovery", CheckRecovery, 180, L"the start after a crash", true},
    {L"load", CheckLoad, 1800, L"300,000 requests of 32 clients"},
    {L"bench", CheckBench, 300, L"each command that --modem, --usb or --device allows"},
};

struct ChildKind {
    const wchar_t* name;
    ChildRun* run;
};

// The row of the name; null if there is none.
template <typename Row, std::size_t count>
const Row* Named(const Row (&rows)[count], std::wstring_view name) {
    const Row* row =
        std::ranges::find_if(rows, [=](const Row& known) { return known.name == name; });
    return row != std::end(rows) ? row : nullptr;
}

RunOptions OptionsOf(ChildWords words) {
    RunOptions options;
    for (; *words != nullptr; ++words) {
        SetOption(options, *words);
    }
    return options;
}

// The options as a child gets them.
std::wstring Words(const RunOptions& options) {
    std::wstring words;
    for (const Switch& known : kSwitches) {
        if (options.*known.option) {
            words.append(L" ").append(known.word);
        }
    }
    return words;
}

// The first word is the item's name, the others are the options. Gives the number of faults.
DWORD RunItem(ChildWords words) {
    Run run(OptionsOf(words + 1));
    const Item& item = *Named(kItems, words[0]);
    run.service = OpenRegistration(SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG | SERVICE_START |
                                   SERVICE_STOP);
    if (item.needs_administrator && !run.service) {
        run.AddNotHere(item.name, GetLastError());
    } else {
        item.check(run);
    }
    return static_cast<DWORD>(run.Count(Status::kFault));
}

// Waits for the end of this program. If it was killed, undoes what an item has left. Restores the
// registry in both cases, and gives the error of that.
DWORD Guard(ChildWords words) {
    const SavedKeys saved;
    const long value = OptionsOf(words).device ? SwitchValue() : kNoSwitch;
    PrintLine(L"ready");
    if (!WaitForParent()) {
        StopTracing();
        DeleteContainer();
        StartAndAnswer(OpenRegistration(SERVICE_START | SERVICE_QUERY_STATUS).get());
        SetSwitch(value);
    }
    return saved.Restore();
}

constexpr ChildKind kChildren[] = {
    {L"ask", [](ChildWords) { return Session().Ask(); }},
    {L"context", HoldContext},
    {L"die", DieAsClient},
    {L"guard", Guard},
    {L"hold", HoldAnswer},
    {L"item", RunItem},
    {L"raise", RaiseInAnswer},
    {L"syntax", AskInSyntax},
};

// Lets this process open processes of other accounts, if an administrator started it.
void EnableDebugPrivilege() {
    Handle token;
    TOKEN_PRIVILEGES wanted = {1, {{{}, SE_PRIVILEGE_ENABLED}}};
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, token.put()) &&
        LookupPrivilegeValueW(nullptr, SE_DEBUG_NAME, &wanted.Privileges[0].Luid)) {
        AdjustTokenPrivileges(token.get(), FALSE, &wanted, 0, nullptr, nullptr);
    }
}

constexpr wchar_t kHelp[] =
    LR"(tessel-acceptance tests the installed Tessel Service on this machine and prints a line per finding.

Options:
  --json          one JSON object per line: item, status (ok, fault, not here), found, advice
  --report FILE   where the same lines are kept (tessel-acceptance.txt if not given)
  --only ITEM     this item alone; may be given more than once
  --quick         few rounds of everything
  --modem         may make a profile, which deletes the SIM's others, connect and disconnect
  --usb           may route the USB port to the modem, and back
  --device        may turn the control device's switch, and back
  --help

Without the last three it changes no setting. It stops and starts the service, for which it must be
started as an administrator; otherwise it says what it could not do.

Exit codes: 0 nothing is wrong, 1 a fault, 2 wrong usage, 3 the service cannot be reached.

Items:)";

// Runs the item in its own process, so that it cannot disturb the others, and prints its lines.
// Gives the number of faults.
DWORD RunInTime(const Item& item, Run& run) {
    Child child(Format(L"item %ls%ls", item.name, Words(run.options)));
    std::thread reader([&] {
        for (std::wstring line; !(line = child.ReadLine()).empty();) {
            PrintLine(line);
        }
    });
    const DWORD code = child.Wait(item.seconds * 1000);
    child.Kill();
    reader.join();
    // Codes of crashes and STILL_ACTIVE are greater than any number of findings.
    if (code < STILL_ACTIVE) {
        return code;
    }
    run.Add(false, item.name, L"ended with 0x%lx, or 0x103 for not within %lu s", code,
            item.seconds);
    return 1;
}

// `items` are names between blanks, none for all.
ExitCode RunAll(const RunOptions& options, const std::wstring& items, const std::wstring& report) {
    const FileHandle file(CreateFileW(report.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        PrintErrorLine(L"tessel-acceptance: " + report + L": " + ErrorText(GetLastError()));
        return kUsage;
    }
    KeepLinesIn(file.get());
    Run run(options);
    // Notebooks with Modern Standby sleep when the display turns off.
    SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED | ES_DISPLAY_REQUIRED);
    SYSTEM_INFO system = {};
    GetNativeSystemInfo(&system);
    // By ACLineStatus.
    constexpr const wchar_t* kPower[] = {L"battery", L"mains"};
    SYSTEM_POWER_STATUS power = {};
    GetSystemPowerStatus(&power);
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    const bool arm64 = system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_ARM64;
    run.Add(
        true, L"system",
        L"tessel-acceptance " TESSEL_VERSION L"; %ls; %ls%ls; %ls, %lu processors; %ls power; %ls",
        TimeText(now), IsWine() ? L"Wine, " : L"", SystemText(), arm64 ? L"ARM64" : L"x64",
        system.dwNumberOfProcessors,
        power.ACLineStatus <= AC_LINE_ONLINE ? kPower[power.ACLineStatus] : L"unknown",
        IsElevated() ? L"as an administrator" : L"not as an administrator");
    const DWORD reached = Session().Ask();
    run.Check(reached == 0, Status::kFault, L"service", L"a request: " + Outcome(reached),
              L"tesselctl --check says more");
    if (reached != 0) {
        return kUnreachable;
    }
    Child guard(L"guard" + Words(options), DETACHED_PROCESS);
    guard.ReadLine();
    DWORD faults = 0;
    for (const Item& item : kItems) {
        if (items == L" " || items.find(Format(L" %ls ", item.name)) != std::wstring::npos) {
            faults += RunInTime(item, run);
        }
    }
    guard.GoOn();
    const DWORD error = guard.Wait();
    run.Add(error == 0, L"restored", L"the service's registry values: %ls", Outcome(error));
    faults += error == 0 ? 0 : 1;
    if (!options.json) {
        PrintLine(Format(L"%lu faults; kept in %ls", faults, report));
    }
    return faults == 0 ? kNothingWrong : kFaults;
}

}  // namespace

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

void Growth::Report(const wchar_t* item, const std::wstring& what) const {
    const auto grows = [&](const Usage& from, const Usage& to) {
        // Each further thread may have a committed stack of 1 MB: seen under Wine.
        const SIZE_T stacks = SIZE_T{1024} * (std::max(from.threads, to.threads) - from.threads);
        return to.handles > from.handles + m_count || to.threads > from.threads + m_count ||
               to.private_kilobytes > from.private_kilobytes + m_kilobytes + stacks;
    };
    std::wstring text = what + L":";
    bool always = true;
    for (std::size_t i = 0; i < m_stages.size(); ++i) {
        const Usage& usage = m_stages[i];
        text += Format(L" %lu handles, %lu threads, %zu kB;", usage.handles, usage.threads,
                       usage.private_kilobytes);
        always = always && (i == 0 || grows(m_stages[i - 1], m_stages[i]));
    }
    if (m_stages.front().error != 0) {
        m_run.AddNotHere(item, m_stages.front().error);
    } else {
        m_run.Check(!always, Status::kFault, item, text);
    }
}

int wmain(int argc, wchar_t** argv) {
    EnableDebugPrivilege();
    const bool is_child = argc > 2 && std::wstring_view(argv[1]) == L"--child";
    const ChildKind* child = is_child ? Named(kChildren, argv[2]) : nullptr;
    if (child != nullptr) {
        // An intended crash shows no window.
        SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
        EndProcess(child->run(argv + 3));
    }
    RunOptions options;
    std::wstring items = L" ";
    std::wstring report = L"tessel-acceptance.txt";
    for (wchar_t** words = argv + 1; *words != nullptr; ++words) {
        const std::wstring_view word = *words;
        if (SetOption(options, word)) {
            continue;
        }
        if (word == L"--report" && words[1] != nullptr) {
            report = *++words;
        } else if (word == L"--only" && words[1] != nullptr && Named(kItems, words[1]) != nullptr) {
            items += *++words + std::wstring(L" ");
        } else if (word == L"--help") {
            PrintLine(kHelp);
            for (const Item& item : kItems) {
                PrintLine(Format(L"  %-16ls%ls", item.name, item.help));
            }
            return kNothingWrong;
        } else {
            PrintErrorLine(L"tessel-acceptance: wrong usage\nTry: tessel-acceptance --help");
            return kUsage;
        }
    }
    return RunAll(options, items, report);
}
