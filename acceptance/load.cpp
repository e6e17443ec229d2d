// Many requests at once, and what a device on the bench allows besides.
#include <algorithm>
#include <iterator>
#include <mutex>
#include <span>
#include <vector>

#include "acceptance/exchange.h"
#include "acceptance/installedservice.h"
#include "acceptance/items.h"
#include "client/requests/requesttimes.h"
#include "usbpath/usbfnvalues.h"

namespace {

constexpr wchar_t kProfile[] = L"Acceptance|internet.example|NONE|-|-|IPv4";

// Sends the command and tells whether it was answered; adds the finding.
Exchange AskFor(Run& run,
                const wchar_t* item,
                const wchar_t* command,
                long number = 0,
                bool flag = false,
                const wchar_t* text = nullptr) {
    Session session;
    session.Open();
    Exchange exchange = text != nullptr ? Unmarked(0, command, text) : Marked(0, command, number);
    exchange.sent.flag = flag;
    session.Send(exchange);
    run.Add(exchange.answers == 1, item, std::wstring(command) + L": " + exchange.Text());
    return exchange;
}

// How many values of a route are as its table says.
int StandingValues(std::span<const UsbfnStep> steps) {
    return static_cast<int>(std::ranges::count_if(steps, [](const UsbfnStep& step) {
        DWORD number = 0;
        DWORD size = sizeof(number);
        const LSTATUS status = RegGetValueW(HKEY_LOCAL_MACHINE, step.key_path, step.value_name,
                                            RRF_RT_ANY, nullptr, &number, &size);
        return step.action == UsbfnAction::kDelete ? status == ERROR_FILE_NOT_FOUND
               : step.action == UsbfnAction::kSetDword
                   ? status == ERROR_SUCCESS && number == step.number
                   : status == ERROR_SUCCESS || status == ERROR_MORE_DATA;
    }));
}

}  // namespace

void CheckLoad(Run& run) {
    constexpr int kStages = 3;
    constexpr int kClients = 32;
    const int each = run.Rounds(100000, 960) / kClients;
    Usage first;
    bool readable = ReadUsage(first);
    std::vector<Session> sessions(kClients);
    OpenAll(sessions);
    for (int stage = 0; stage < kStages; ++stage) {
        std::mutex lock;
        RequestTimes times;
        Tally tally;
        InParallel(kClients, [&](int client) {
            RequestTimes own;
            for (int i = 0; i < each; ++i) {
                // One in eight is of another family.
                Exchange exchange =
                    i % 8 != 0
                        ? Echo(client, i)
                        : Harmless(client, kHarmlessCommands[i / 8 % std::size(kHarmlessCommands)]);
                const std::uint64_t start = MicrosecondsNow();
                sessions[static_cast<std::size_t>(client)].Send(exchange);
                AddTimeSince(start, own);
                tally.Add(exchange, i % 8 != 0 ? exchange.IsEchoed()
                                               : exchange.answers == 1 && exchange.status == 0);
            }
            const std::lock_guard guard(lock);
            times.insert(times.end(), own.begin(), own.end());
        });
        Usage usage;
        ReadUsage(usage);
        if (stage == 0) {
            // With what the service takes once and keeps.
            first = usage;
        }
        const bool small = !readable || usage.IsNear(first, 16, 4096);
        run.Add(tally.Right() == each * kClients && small, L"load",
                Format(L"%ls, %d clients; median %ls, 99th percentile %ls, longest %ls; %ls",
                       tally.Text(each * kClients).c_str(), kClients,
                       Milliseconds(Percentile(times, 50)).c_str(),
                       Milliseconds(Percentile(times, 99)).c_str(),
                       Milliseconds(Percentile(times, 100)).c_str(), usage.Text().c_str()));
    }
}

void CheckBench(Run& run) {
    if (run.Has(L'm')) {
        AskFor(run, L"bench.modem", L"MBNHELPER_CREATEPROFILE", 0, false, kProfile);
        for (const wchar_t* command :
             {L"MBNHELPER_CONNECT", L"MBNHELPER_CHECKINTERFACE", L"MBNHELPER_DISCONNECT"}) {
            AskFor(run, L"bench.modem", command);
        }
    }
    if (run.Has(L'u')) {
        AskFor(run, L"bench.usb", L"USBPATHCHANGER_CHANGEUSBPATHTOCP");
        const int modem = StandingValues(kCpSequence);
        AskFor(run, L"bench.usb", L"USBPATHCHANGER_CHANGEUSBPATHTOAP");
        const int windows = StandingValues(kApSequence);
        run.Add(modem == 42 && windows == 42, L"bench.usb",
                Format(L"%d of 42 values to the modem, %d of 42 back", modem, windows),
                kGrantAdvice);
    }
    if (run.Has(L'd')) {
        const bool was_on = AskFor(run, L"bench.device", L"BLEHELPER_GETBLE").answer.flag;
        AskFor(run, L"bench.device", L"BLEHELPER_SETBLE", 0, !was_on);
        const bool turned = AskFor(run, L"bench.device", L"BLEHELPER_GETBLE").answer.flag != was_on;
        AskFor(run, L"bench.device", L"BLEHELPER_SETBLE", 0, was_on);
        run.Add(turned, L"bench.device",
                turned ? L"the switch was turned, and back" : L"the switch did not turn");
    }
}
