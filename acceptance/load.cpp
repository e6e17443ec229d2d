// Many requests at once, and what a device on the bench allows besides.
#include <algorithm>
#include <iterator>

#include "acceptance/items.h"
#include "client/requests/requesttimes.h"
#include "usbpath/usbfnvalues.h"

namespace {

// Sends one request and adds a finding whether it was answered.
Exchange AskFor(Run& run, const wchar_t* item, const Command& command, bool flag = false) {
    Session session;
    Exchange exchange = RequestOf(0, command);
    exchange.sent.flag = flag;
    session.Send(exchange);
    run.Add(exchange.answers == 1, item, L"%ls: %ls", command.name, exchange.Text());
    return exchange;
}

// Whether the registry is as the route's last step for each value says. Of texts and bytes it looks
// whether they are there.
bool Stands(std::span<const UsbfnStep> steps) {
    std::map<std::wstring, bool> right;
    for (const UsbfnStep& step : steps) {
        DWORD number = 0;
        DWORD size = sizeof(number);
        const LSTATUS status = RegGetValueW(HKEY_LOCAL_MACHINE, step.key_path, step.value_name,
                                            RRF_RT_ANY, nullptr, &number, &size);
        right[step.key_path + std::wstring(L"\\") + step.value_name] =
            step.action == UsbfnAction::kDelete ? status == ERROR_FILE_NOT_FOUND
            : step.action == UsbfnAction::kSetDword
                ? status == ERROR_SUCCESS && number == step.number
                : status == ERROR_SUCCESS || status == ERROR_MORE_DATA;
    }
    return std::ranges::all_of(right, [](const auto& value) { return value.second; });
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
    std::vector<Command> commands;
    std::ranges::copy_if(kCommands, std::back_inserter(commands),
                         [&](const Command& command) { return run.Has(command.option); });
    // Asked for twice: the first time some of them change what others answer.
    std::vector<Exchange> known;
    for (int pass = 0; pass < 2; ++pass) {
        known.clear();
        for (const Command& command : commands) {
            known.push_back(RequestOf(0, command));
            sessions[0].Send(known.back());
        }
    }
    Usage first;
    for (int stage = 0; stage < kStages; ++stage) {
        std::mutex lock;
        RequestTimes times;
        Tally tally;
        InParallel(kClients, [&](int client) {
            RequestTimes own;
            for (int i = 0; i < each; ++i) {
                // One in eight is none that is echoed.
                const bool is_echo = i % 8 != 0;
                const std::size_t kind = static_cast<std::size_t>(i / 8) % known.size();
                Exchange exchange = is_echo ? Echo(client, i) : RequestOf(client, commands[kind]);
                const std::uint64_t start = MicrosecondsNow();
                sessions[static_cast<std::size_t>(client)].Send(exchange);
                AddTimeSince(start, own);
                tally.Add(exchange,
                          is_echo ? exchange.Result() == 0 : IsAnsweredAs(exchange, known[kind]));
            }
            const std::lock_guard guard(lock);
            times.insert(times.end(), own.begin(), own.end());
        });
        const Usage usage = ReadUsage();
        if (stage == 0) {
            // With what the service takes once and keeps.
            first = usage;
        }
        run.Add(tally.Right() == each * kClients && usage.IsNear(first, 16, 4096), L"load",
                L"%ls, %d clients; median %ls, 99th percentile %ls, longest %ls; %ls",
                tally.Text(each * kClients), kClients, Milliseconds(Percentile(times, 50)),
                Milliseconds(Percentile(times, 99)), Milliseconds(Percentile(times, 100)),
                usage.Text());
    }
}

void CheckBench(Run& run) {
    if (run.Has(L'm')) {
        for (const Command& command :
             {kCreateProfile, Command{L"MBNHELPER_CONNECT"}, Command{L"MBNHELPER_CHECKINTERFACE"},
              Command{L"MBNHELPER_DISCONNECT"}}) {
            AskFor(run, L"bench.modem", command);
        }
    }
    if (run.Has(L'u')) {
        AskFor(run, L"bench.usb", {L"USBPATHCHANGER_CHANGEUSBPATHTOCP"});
        const bool to_modem = Stands(kCpSequence);
        AskFor(run, L"bench.usb", {L"USBPATHCHANGER_CHANGEUSBPATHTOAP"});
        const bool back = Stands(kApSequence);
        run.Check(to_modem && back, Status::kFault, L"bench.usb",
                  Format(L"values of the route to the modem: %ls, back: %ls",
                         to_modem ? L"all" : L"not all", back ? L"all" : L"not all"),
                  kGrantAdvice);
    }
    if (run.Has(L'd')) {
        const bool was_on = AskFor(run, L"bench.device", {L"BLEHELPER_GETBLE"}).answer.flag;
        AskFor(run, L"bench.device", {L"BLEHELPER_SETBLE"}, !was_on);
        const bool is_on = AskFor(run, L"bench.device", {L"BLEHELPER_GETBLE"}).answer.flag;
        AskFor(run, L"bench.device", {L"BLEHELPER_SETBLE"}, was_on);
        run.Add(is_on != was_on, L"bench.device", L"the switch was %d, then %d", was_on, is_on);
    }
}
