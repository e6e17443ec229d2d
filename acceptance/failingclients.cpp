// Clients that raise in their callbacks, and clients that die.
#include <cwchar>
#include <cwctype>
#include <iterator>
#include <map>
#include <random>
#include <vector>

#include "acceptance/child.h"
#include "acceptance/exchange.h"
#include "acceptance/installedservice.h"
#include "acceptance/items.h"
#include "client/output.h"

namespace {

constexpr DWORD kMinute = 60000;

// What two compilers' C++ and .NET throw with; faults, most of them fatal to the filters of
// Windows' RPC runtime; statuses of RPC and Windows; one of nobody.
constexpr DWORD kCodes[] = {0x20474343, 0x21474343, 0x22474343, 0xE06D7363, 0xE0434352,
                            0xC0000005, 0xC0000006, 0xC000001D, 0xC0000096, 0xC00000AA,
                            0xC00000FD, 0xC0000194, 0xC0000235, 0x80000001, 0x80000002,
                            0x80000003, 1726,       5,          0xE1234567};

constexpr int kCommandCount = static_cast<int>(std::size(kHarmlessCommands));

std::wstring HexText(DWORD code) {
    wchar_t text[16] = {};
    std::swprintf(text, std::size(text), L"0x%lx", code);
    return text;
}

// What became of one code.
struct Raised {
    // How often the request ended with which code.
    std::map<DWORD, int> ends;
    int served = 0;
    // How often the client's process ended, and with what.
    int deaths = 0;
    DWORD death = 0;
};

// The child prints the place of each command before it sends it, then how that ended and whether
// the next request was served. One that dies is followed by another for the commands after it.
Raised RaiseEverywhere(DWORD code) {
    Raised raised;
    for (int next = 0; next < kCommandCount;) {
        Child child(L"raise " + std::to_wstring(code) + L" " + std::to_wstring(next));
        for (std::wstring line = child.ReadLine(); !line.empty(); line = child.ReadLine()) {
            wchar_t* rest = nullptr;
            next = static_cast<int>(std::wcstoul(line.c_str(), &rest, 10)) + 1;
            if (std::iswspace(static_cast<wint_t>(*rest))) {
                ++raised.ends[std::wcstoul(rest, &rest, 10)];
                raised.served += std::wcstoul(rest, nullptr, 10) != 0 ? 1 : 0;
            }
        }
        const DWORD ended = child.Wait(kMinute);
        if (ended != 0) {
            ++raised.deaths;
            raised.death = ended;
            raised.served += AskOnce() == 0 ? 1 : 0;
            ++next;
        }
    }
    return raised;
}

// How a client dies.
enum Moment { kBefore, kIn, kAfter, kAmid, kMoments };

void LetDie(int moment, int contexts, unsigned delay) {
    Child child(L"die " + std::to_wstring(moment) + L" " + std::to_wstring(contexts));
    // It is connected from here on.
    child.ReadLine();
    if (moment == kAmid) {
        Sleep(delay);
        child.Kill();
    }
    child.Wait(kMinute);
}

}  // namespace

void CheckRaisingClients(Run& run) {
    const DWORD before = ServiceProcessId();
    for (const DWORD code : kCodes) {
        const Raised raised = RaiseEverywhere(code);
        std::wstring told;
        for (const auto& [status, times] : raised.ends) {
            told += (told.empty() ? L"told " : L", ") + HexText(status) + L" " +
                    std::to_wstring(times) + L" times";
        }
        if (raised.deaths != 0) {
            told += (told.empty() ? L"" : L"; ") + std::wstring(L"its process ended ") +
                    std::to_wstring(raised.deaths) + L" times, with " + HexText(raised.death);
        }
        const DWORD after = ServiceProcessId();
        const bool ok =
            before == after && raised.served == kCommandCount && !raised.ends.contains(0);
        run.Add(ok, L"raising." + HexText(code),
                told + L"; next request served " + std::to_wstring(raised.served) + L" of " +
                    std::to_wstring(kCommandCount) + L" times; service " + std::to_wstring(before) +
                    (before == after ? L"" : L", then " + std::to_wstring(after)));
    }
}

DWORD RaiseInAnswers(ChildWords words, int count) {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    const DWORD code = count > 0 ? std::wcstoul(words[0], nullptr, 10) : 0;
    const DWORD first = count > 1 ? std::wcstoul(words[1], nullptr, 10) : 0;
    for (DWORD i = first; i < kCommandCount; ++i) {
        // One session each: some codes end a connection.
        Session session;
        Exchange exchange = {{kHarmlessCommands[i], true, 7, OwnPath()}};
        exchange.in_callback = [=] { RaiseException(code, 0, 0, nullptr); };
        PrintLine(std::to_wstring(i));
        session.Open();
        session.Send(exchange);
        PrintLine(std::to_wstring(i) + L" " + std::to_wstring(exchange.status) + L" " +
                  (AskOnce() == 0 ? L"1" : L"0"));
    }
    return 0;
}

void CheckDyingClients(Run& run) {
    const int rounds = run.Rounds(25, 3);
    const int settled = run.Rounds(6, 1);
    constexpr int kContexts = 500;
    const auto let_die = [&](int times) {
        std::mt19937 random(1);
        for (int i = 0; i < times * kMoments; ++i) {
            LetDie(i % kMoments, kContexts, random() % 30);
        }
    };
    const DWORD process_before = ServiceProcessId();
    // What the service takes once it keeps.
    let_die(1);
    Usage before;
    const bool readable = ReadSettledUsage(before, settled);
    let_die(rounds);
    const DWORD next = AskOnce();
    const DWORD process_after = ServiceProcessId();
    run.Add(
        next == 0 && process_before == process_after, L"dying.served",
        std::to_wstring(rounds * kMoments) +
            L" clients killed before, in and after their callback and amid requests; the next "
            L"request: " +
            (next == 0 ? L"answered" : ErrorText(next)) + L"; service " +
            std::to_wstring(process_before) +
            (process_before == process_after ? L"" : L", then " + std::to_wstring(process_after)));
    if (!readable) {
        run.NotHere(L"dying.usage",
                    L"the service's process cannot be opened: " + ErrorText(GetLastError()),
                    kAdministratorAdvice);
        return;
    }
    Usage after;
    ReadSettledUsage(after, settled);
    const bool ok = after.handles <= before.handles + static_cast<DWORD>(rounds) &&
                    after.threads <= before.threads + static_cast<DWORD>(rounds) &&
                    after.private_kilobytes <= before.private_kilobytes + 2048;
    run.Add(ok, L"dying.usage",
            L"before: " + before.Text() + L"; after " +
                std::to_wstring(rounds * kMoments * kContexts) + L" contexts of dead clients: " +
                after.Text());
}

DWORD DieAsClient(ChildWords words, int count) {
    const DWORD moment = count > 0 ? std::wcstoul(words[0], nullptr, 10) : 0;
    const DWORD contexts = count > 1 ? std::wcstoul(words[1], nullptr, 10) : 1;
    std::vector<Session> sessions(contexts);
    for (Session& session : sessions) {
        session.Open();
    }
    PrintLine(L"open");
    Exchange echo = Echo(0);
    if (moment == kIn) {
        echo.in_callback = [] { EndProcess(ERROR_PROCESS_ABORTED); };
    }
    do {
        if (moment != kBefore) {
            sessions[0].Send(echo);
        }
    } while (moment == kAmid);
    EndProcess(ERROR_PROCESS_ABORTED);
}
