// Many requests at once, and what a device on the bench allows besides.
#include <algorithm>
#include <iterator>
#include <mutex>
#include <span>
#include <string_view>
#include <vector>

#include "acceptance/exchange.h"
#include "acceptance/installedservice.h"
#include "acceptance/items.h"
#include "client/requests/requesttimes.h"
#include "usbpath/usbfnvalues.h"

namespace {

// Sends one request and adds a finding whether it was answered.
Exchange AskFor(Run& run, const wchar_t* item, const wchar_t* command, bool flag = false) {
    Session session;
    session.Open();
    Exchange exchange = RequestOf(0, command);
    exchange.sent.flag = flag;
    session.Send(exchange);
    run.Add(exchange.answers == 1, item, command + (L": " + exchange.Text()));
    return exchange;
}

// Whether the registry is as the route's last step for each value says. Of texts and bytes it looks
// whether they are there.
bool Stands(std::span<const UsbfnStep> steps) {
    for (auto step = steps.begin(); step != steps.end(); ++step) {
        const auto same_value = [&](const UsbfnStep& other) {
            return other.key_path == step->key_path &&
                   std::wstring_view(other.value_name) == step->value_name;
        };
        DWORD number = 0;
        DWORD size = sizeof(number);
        const LSTATUS status = RegGetValueW(HKEY_LOCAL_MACHINE, step->key_path, step->value_name,
                                            RRF_RT_ANY, nullptr, &number, &size);
        const bool right = step->action == UsbfnAction::kDelete ? status == ERROR_FILE_NOT_FOUND
                           : step->action == UsbfnAction::kSetDword
                               ? status == ERROR_SUCCESS && number == step->number
                               : status == ERROR_SUCCESS || status == ERROR_MORE_DATA;
        if (!right && std::none_of(step + 1, steps.end(), same_value)) {
            return false;
        }
    }
    return true;
}

// The harmless commands and what is allowed besides.
std::vector<const wchar_t*> LoadCommands(const Run& run) {
    std::vector<const wchar_t*> commands(std::begin(kHarmlessCommands),
                                         std::end(kHarmlessCommands));
    if (run.Has(L'm')) {
        commands.insert(commands.end(), {L"MBNHELPER_CHECKINTERFACE", L"MBNHELPER_GETSIMICCID",
                                         L"MBNHELPER_CREATEPROFILE", L"MBNHELPER_CONNECT"});
    }
    if (run.Has(L'u')) {
        commands.insert(commands.end(),
                        {L"USBPATHCHANGER_CHANGEUSBPATHTOCP", L"USBPATHCHANGER_CHANGEUSBPATHTOAP"});
    }
    if (run.Has(L'd')) {
        commands.insert(commands.end(), {L"BLEHELPER_SETBLE", L"BLEHELPER_ISBLESUPPORT"});
    }
    return commands;
}

// But for the places, which are not the same.
bool IsAnsweredAs(const Exchange& exchange, const Exchange& other) {
    const bool marked = other.sent.text != exchange.sent.text;
    return exchange.status == 0 && exchange.answers == 1 &&
           exchange.answer.flag == other.answer.flag &&
           (marked ? exchange.answer.number == other.answer.number
                   : exchange.answer.text == other.answer.text);
}

}  // namespace

void CheckLoad(Run& run) {
    constexpr int kStages = 3;
    constexpr int kClients = 32;
    const int each = run.Rounds(100000, 960) / kClients;
    std::vector<Session> sessions(kClients);
    OpenAll(sessions);
    // Asked for twice: the first time some of them change what others answer.
    std::vector<Exchange> known;
    for (int pass = 0; pass < 2; ++pass) {
        known.clear();
        for (const wchar_t* command : LoadCommands(run)) {
            known.push_back(RequestOf(0, command));
            sessions[0].Send(known.back());
        }
    }
    Usage first;
    const bool readable = ReadUsage(first);
    for (int stage = 0; stage < kStages; ++stage) {
        std::mutex lock;
        RequestTimes times;
        Tally tally;
        InParallel(kClients, [&](int client) {
            RequestTimes own;
            for (int i = 0; i < each; ++i) {
                // One in eight is none that is echoed.
                const Exchange& other = known[static_cast<std::size_t>(i / 8) % known.size()];
                Exchange exchange =
                    i % 8 != 0 ? Echo(client, i) : RequestOf(client, other.sent.command.c_str());
                const std::uint64_t start = MicrosecondsNow();
                sessions[static_cast<std::size_t>(client)].Send(exchange);
                AddTimeSince(start, own);
                tally.Add(exchange,
                          i % 8 != 0 ? exchange.IsEchoed() : IsAnsweredAs(exchange, other));
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
        AskFor(run, L"bench.modem", L"MBNHELPER_CREATEPROFILE");
        for (const wchar_t* command :
             {L"MBNHELPER_CONNECT", L"MBNHELPER_CHECKINTERFACE", L"MBNHELPER_DISCONNECT"}) {
            AskFor(run, L"bench.modem", command);
        }
    }
    if (run.Has(L'u')) {
        AskFor(run, L"bench.usb", L"USBPATHCHANGER_CHANGEUSBPATHTOCP");
        const bool to_modem = Stands(kCpSequence);
        AskFor(run, L"bench.usb", L"USBPATHCHANGER_CHANGEUSBPATHTOAP");
        const bool back = Stands(kApSequence);
        run.Add(to_modem && back, L"bench.usb",
                Format(L"values of the route to the modem: %ls, back: %ls",
                       to_modem ? L"all" : L"not all", back ? L"all" : L"not all"),
                kGrantAdvice);
    }
    if (run.Has(L'd')) {
        const bool was_on = AskFor(run, L"bench.device", L"BLEHELPER_GETBLE").answer.flag;
        AskFor(run, L"bench.device", L"BLEHELPER_SETBLE", !was_on);
        const bool turned = AskFor(run, L"bench.device", L"BLEHELPER_GETBLE").answer.flag != was_on;
        AskFor(run, L"bench.device", L"BLEHELPER_SETBLE", was_on);
        run.Add(turned, L"bench.device",
                turned ? L"the switch was turned, and back" : L"the switch did not turn");
    }
}
