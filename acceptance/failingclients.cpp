// Clients that raise in their callbacks, and clients that die.
#include <iterator>
#include <random>

#include "acceptance/items.h"

namespace {

// What a callback raises: exceptions of two C++ compilers and of .NET, faults, statuses of RPC and
// Windows, and a code that nothing else uses. For most of the faults, the RPC runtime of Windows
// ends the client's process.
constexpr DWORD kCodes[] = {0xC0000005, 0x20474343, 0xE06D7363, 0x80000003, 1726,
                            0xC00000FD, 0x21474343, 0x22474343, 0xE0434352, 5,
                            0xC0000006, 0xC000001D, 0xC0000096, 0xC00000AA, 0xC0000194,
                            0xC0000235, 0x80000001, 0x80000002, 0xE1234567};

constexpr unsigned long kCommandCount = kHarmlessCommands.size();

// When a client dies.
enum Moment { kBefore, kIn, kAfter, kAmid, kMoments };

constexpr int kContexts = 500;

void LetDie(int rounds) {
    std::mt19937 random(1);
    for (int i = 0; i < rounds * kMoments; ++i) {
        Child child(Format(L"die %d %d", i % kMoments, kContexts));
        // It is connected now.
        child.ReadLine();
        if (i % kMoments == kAmid) {
            Sleep(random() % 30);
            child.Kill();
        }
        child.Wait();
    }
}

}  // namespace

// A child for each request: some codes end its process.
void CheckRaisingClients(Run& run) {
    const DWORD before = ServiceProcessId();
    for (std::size_t i = 0; i < std::size(kCodes);
         i += static_cast<std::size_t>(run.Rounds(1, 5))) {
        std::map<DWORD, int> told;
        std::map<DWORD, int> deaths;
        unsigned long served = 0;
        for (unsigned long command = 0; command < kCommandCount; ++command) {
            Child child(Format(L"raise %lu %lu", kCodes[i], command));
            const std::wstring status = child.ReadLine();
            const DWORD death = child.Wait();
            status.empty() ? ++deaths[death] : ++told[std::wcstoul(status.c_str(), nullptr, 10)];
            served += Session().Ask() == 0 ? 1 : 0;
        }
        const DWORD after = ServiceProcessId();
        run.Add(before == after && served == kCommandCount && !told.contains(0),
                Format(L"raising.0x%lx", kCodes[i]),
                L"told%ls; its processes ended with%ls; served next: %lu of %lu; service %lu, %lu",
                Counts(told), Counts(deaths), served, kCommandCount, before, after);
    }
}

DWORD RaiseInAnswer(ChildWords words) {
    const DWORD code = std::wcstoul(words[0], nullptr, 10);
    Exchange exchange = RequestOf(0, kHarmlessCommands[std::wcstoul(words[1], nullptr, 10)]);
    exchange.in_callback = [=] { RaiseException(code, 0, 0, nullptr); };
    PrintLine(std::to_wstring(Session().Send(exchange)));
    return 0;
}

void CheckDyingClients(Run& run) {
    const int rounds = run.Rounds(12, 1);
    const int clients = rounds * kMoments;
    // Idle threads of the service end after some seconds.
    const auto idle = static_cast<DWORD>(run.Rounds(20000, 3000));
    const DWORD process_before = ServiceProcessId();
    // The first clients make the service allocate what it then keeps.
    LetDie(1);
    // A context that is not freed costs more than 32 bytes. Wine's runtime for ARM64 keeps half a
    // kilobyte of each, also of a service that does nothing wrong: seen.
    const int kilobytes = clients * kContexts / (IsWine() ? 1 : 32);
    Growth growth(run, static_cast<DWORD>(clients), 256 + kilobytes);
    for (int stage = 0; stage < 3; ++stage) {
        LetDie(stage > 0 ? rounds : 0);
        Sleep(idle);
        growth.Measure();
    }
    const DWORD next = Session().Ask();
    const DWORD process_after = ServiceProcessId();
    run.Add(next == 0 && process_before == process_after, L"dying.served",
            L"twice %d clients dead before, in and after the callback and amid requests; the next "
            L"request: %ls; service %lu, %lu",
            clients, Outcome(next), process_before, process_after);
    growth.Report(L"dying.usage", Format(L"before and after twice %d contexts of dead clients",
                                         clients * kContexts));
}

DWORD DieAsClient(ChildWords words) {
    const unsigned long moment = std::wcstoul(words[0], nullptr, 10);
    std::vector<Session> sessions(std::wcstoul(words[1], nullptr, 10));
    PrintLine(L"open");
    Exchange echo = Echo(0);
    if (moment == kIn) {
        echo.in_callback = [] { EndProcess(ERROR_PROCESS_ABORTED); };
    }
    for (;;) {
        if (moment != kBefore) {
            sessions[0].Send(echo);
        }
        if (moment != kAmid) {
            EndProcess(ERROR_PROCESS_ABORTED);
        }
    }
}
