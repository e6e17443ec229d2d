// Requests, their callbacks and contexts, one at a time and many at once.
#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <iterator>
#include <thread>

#include "acceptance/items.h"
#include "bledevice/controldevice.h"
#include "client/requests/requesttimes.h"
#include "usbpath/usbfnvalues.h"

namespace {

// The call must have failed, and the service must answer the next request.
void AddRefusal(Run& run, const wchar_t* item, const wchar_t* what, DWORD status) {
    const DWORD next = Session().Ask();
    run.Add(status != 0 && next == 0, item, L"%ls: %ls; the next request: %ls", what,
            Outcome(status), Outcome(next));
}

void CheckForeignContexts(Run& run) {
    Exchange echo = Echo(0);
    Session session;
    const ContextBytes closed = session.Bytes();
    ContextBytes bytes = closed;
    const DWORD status = session.CloseBytes(bytes);
    run.Add(status == 0 && bytes.id == GUID(), L"contexts.closed", L"the first close: %ls",
            Outcome(status));
    AddRefusal(run, L"contexts.closed", L"a request on it", session.Send(echo));
    bytes = closed;
    AddRefusal(run, L"contexts.closed", L"a second close", session.CloseBytes(bytes));

    session.Close();
    AddRefusal(run, L"contexts.null", L"a request on null", session.Send(echo));
    AddRefusal(run, L"contexts.null", L"a close of null", session.Close());

    Child other(L"context");
    bytes = {};
    CLSIDFromString(other.ReadLine().c_str(), &bytes.id);
    AddRefusal(run, L"contexts.foreign", L"the close of another process's",
               session.CloseBytes(bytes));
    other.GoOn();
    const DWORD code = other.Wait();
    run.Add(code == 0, L"contexts.foreign", L"its own request after that: %ls", Outcome(code));
}

// Each round, two threads close one context at the same time. The service may refuse one of them.
void CheckRacingCloses(Run& run) {
    const int rounds = run.Rounds(5000, 300);
    int refusals[3] = {};
    Session session;
    for (int round = 0; round < rounds; ++round) {
        const Session raced;
        ContextBytes bytes[] = {raced.Bytes(), raced.Bytes()};
        std::atomic<int> missing = 2;
        std::atomic<int> refused = 0;
        InParallel(2, [&](int thread) {
            // Threads that spin close at nearer moments than threads that are woken.
            for (--missing; missing != 0;) {
                SwitchToThread();
            }
            refused += session.CloseBytes(bytes[thread]) != 0 ? 1 : 0;
        });
        ++refusals[refused];
    }
    const DWORD next = Session().Ask();
    run.Add(refusals[2] == 0 && next == 0, L"contexts.race",
            L"%d times closed twice at once; refused: both %d times, one %d times, none %d times; "
            L"the next request: %ls",
            rounds, refusals[2], refusals[1], refusals[0], Outcome(next));
}

// A context is closed while a request on it is in its callback. The callback does not wait for the
// end of the close, which may wait for the request.
void CheckCloseInProgress(Run& run) {
    const int rounds = run.Rounds(200, 20);
    Tally tally;
    int closed = 0;
    for (int i = 0; i < rounds; ++i) {
        Session session;
        ContextBytes bytes = session.Bytes();
        std::thread closer;
        Exchange echo = Echo(0);
        echo.in_callback = [&] {
            closer = std::thread([&] { closed += session.CloseBytes(bytes) == 0 ? 1 : 0; });
            Sleep(2);
        };
        session.Send(echo);
        if (closer.joinable()) {
            closer.join();
        }
        tally.Add(echo);
    }
    run.Add(tally.Right() == rounds && closed == rounds, L"contexts.in_progress",
            L"%ls while their context was closed, %d closed", tally.Text(rounds), closed);
}

// Each callback sends the next request over the same context. Under Wine, which locks a context
// during a request, over its own.
void CheckNesting(Run& run) {
    constexpr int kDepth = 8;
    Session sessions[kDepth];
    Exchange echoes[kDepth];
    for (int i = 0; i < kDepth; ++i) {
        echoes[i] = Echo(i, i);
    }
    for (int i = 1; i < kDepth; ++i) {
        echoes[i - 1].in_callback = [&, i] { sessions[IsWine() ? i : 0].Send(echoes[i]); };
    }
    sessions[0].Send(echoes[0]);
    Tally tally;
    for (const Exchange& echo : echoes) {
        tally.Add(echo);
    }
    run.Add(tally.Right() == kDepth, L"contexts.nested",
            L"%ls, each sent in the callback of the one before", tally.Text(kDepth));
}

constexpr long kOn = kControlDeviceOn;
constexpr long kOff = kControlDeviceOff;

// Sends one request and adds the finding whether it was answered.
void AskFor(Run& run, const SampleCommand& command) {
    Exchange exchange = RequestOf(0, command);
    Session().Send(exchange);
    run.Add(exchange.answers == 1, L"bench", L"%ls: %ls", command.name, exchange.Text());
}

bool IsStored(const UsbfnStep& step) {
    std::vector<BYTE> data(step.size);
    DWORD type = REG_NONE;
    DWORD size = step.size;
    return RegGetValueW(HKEY_LOCAL_MACHINE, step.key_path, step.value_name, RRF_RT_ANY, &type,
                        data.data(), &size) == ERROR_SUCCESS &&
           type == step.type && size == step.size && std::memcmp(data.data(), step.data, size) == 0;
}

// Every answer of the USB commands is an echo, so only the registry shows whether they wrote.
void CheckUsbValues(Run& run) {
    const auto stores = [](const UsbfnStep& step) { return step.type != REG_NONE; };
    const auto all = std::ranges::count_if(kCpSequence, stores);
    const auto stored = std::ranges::count_if(
        kCpSequence, [&](const UsbfnStep& step) { return stores(step) && IsStored(step); });
    run.Check(stored == all, Status::kFault, L"bench.usb",
              Format(L"%lld of %lld values stored", stored, all), kGrantAdvice);
}

}  // namespace

void CheckRequests(Run& run) {
    constexpr int kThreads = 8;
    const int each = run.Rounds(2500, 250);
    Tally echoes;
    const ULONGLONG start = GetTickCount64();
    std::vector<Session> clients(kThreads);
    InParallel(kThreads, [&](int thread) {
        for (int i = 0; i < each; ++i) {
            // Numbers of both signs, the lowest first, and texts of many lengths.
            const auto number =
                std::bit_cast<long>(0x80000000U + static_cast<unsigned>(i) * 0x9E3779B9U);
            Exchange echo =
                Echo(thread, number, std::wstring(i % 300, static_cast<wchar_t>(32 + i)));
            clients[static_cast<std::size_t>(thread)].Send(echo);
            echoes.Add(echo);
        }
    });
    run.Add(echoes.Right() == kThreads * each, L"requests.echo", L"%ls, %d threads, %llu ms",
            echoes.Text(kThreads * each), kThreads, GetTickCount64() - start);

    for (const std::size_t units : {0, 1, 65535, 1000000}) {
        Exchange echo = {0, {L"REGISTRYHELPER_ISVZWQ", true, 0, std::wstring(units, 0x65E5)}};
        clients[0].Send(echo);
        run.Add(echo.Result() == 0, L"requests.text", L"%ls", echo.Text());
    }

    // Every session is open before the first request.
    const int count = run.Rounds(1234, 64);
    std::vector<Session> sessions(static_cast<std::size_t>(count));
    Tally tally;
    InParallel(count, [&](int i) {
        Exchange echo = Echo(i, i);
        sessions[static_cast<std::size_t>(i)].Send(echo);
        tally.Add(echo);
    });
    run.Add(tally.Right() == count, L"requests.connections", L"%ls at once", tally.Text(count));
}

void CheckContexts(Run& run) {
    CheckForeignContexts(run);
    CheckRacingCloses(run);
    CheckCloseInProgress(run);
    CheckNesting(run);
}

// A child for each: a process may keep the syntax of its first call.
void CheckSyntaxes(Run& run) {
    std::vector<std::wstring> shipped;
    for (const std::wstring syntax : {L"both", L"ndr20", L"ndr64"}) {
        if (IsWine() && syntax == L"ndr64") {
            run.Add(Status::kNotHere, L"syntaxes.ndr64", L"Wine's RPC runtime speaks NDR 2.0 only");
            continue;
        }
        Child child(L"syntax " + syntax);
        std::vector<std::wstring> lines;
        for (std::wstring line; !(line = child.ReadLine()).empty();) {
            lines.push_back(line);
        }
        const DWORD ended = child.Wait();
        if (syntax == L"both") {
            shipped = lines;
        }
        const auto other = std::ranges::mismatch(lines, shipped).in1;
        run.Check(ended == 0 && lines == shipped, Status::kFault, L"syntaxes." + syntax,
                  Format(L"%zu calls, ended with %lu; the first other than over both: %ls",
                         lines.size(), ended, other == lines.end() ? L"none" : other->c_str()),
                  L"its tables do not fit the RPC runtime: interface/ndrtables.h");
    }
}

DWORD AskInSyntax(ChildWords words) {
    const std::wstring syntax = words[0];
    const ClientStub& forced = syntax == L"ndr20" ? kNdr20Stub : kNdr64Stub;
    Session session(syntax == L"both" ? kShippedStub : forced);
    const auto send = [&](Exchange exchange) {
        session.Send(exchange);
        PrintLine(Format(L"%ls: %ls, %zx", exchange.sent.command, exchange.Text(),
                         std::hash<std::wstring>()(exchange.answer.text)));
        return exchange.Result();
    };
    DWORD status = 0;
    for (unsigned i = 0; i < 100 && status == 0; ++i) {
        status = send(Echo(0, std::bit_cast<long>(i * 0x12345678U),
                           std::wstring(std::size_t{i} * i, 0x65E5)));
    }
    for (const SampleCommand& command : kHarmlessCommands) {
        send(RequestOf(0, command));
    }
    const DWORD close = session.Close();
    PrintLine(L"close: " + Outcome(close));
    return status != 0 ? status : close;
}

DWORD HoldContext(ChildWords /*words*/) {
    const Session session;
    PrintLine(GuidText(session.Bytes().id));
    WaitForParent();
    return session.Ask();
}

void CheckLoad(Run& run) {
    constexpr int kStages = 3;
    constexpr int kClients = 32;
    const int each = run.Rounds(100000, 960) / kClients;
    std::vector<Session> sessions(kClients);
    Growth growth(run, kClients, 2048);
    for (int stage = 0; stage < kStages; ++stage) {
        std::mutex lock;
        RequestTimes times;
        Tally tally;
        InParallel(kClients, [&](int client) {
            RequestTimes own;
            for (int i = 0; i < each; ++i) {
                // One in eight is another command.
                const bool is_echo = i % 8 != 0;
                const std::size_t kind = static_cast<std::size_t>(i / 8) % kHarmlessCommands.size();
                Exchange exchange =
                    is_echo ? Echo(client, i) : RequestOf(client, kHarmlessCommands[kind]);
                const std::uint64_t start = MicrosecondsNow();
                sessions[static_cast<std::size_t>(client)].Send(exchange);
                AddTimeSince(start, own);
                tally.Add(exchange, is_echo ? exchange.Result() == 0
                                            : exchange.status == 0 && exchange.answers == 1);
            }
            const std::lock_guard guard(lock);
            times.insert(times.end(), own.begin(), own.end());
        });
        run.Add(tally.Right() == each * kClients, L"load",
                L"%ls, %d clients; median %ls, 99th percentile %ls, longest %ls",
                tally.Text(each * kClients), kClients, Milliseconds(Percentile(times, 50)),
                Milliseconds(Percentile(times, 99)), Milliseconds(Percentile(times, 100)));
        growth.Measure();
    }
    growth.Report(L"load.usage", L"after each stage");
}

void CheckBench(Run& run) {
    for (const SampleCommand& command : kSampleCommands) {
        if (command.option == nullptr || !(run.options.*command.option)) {
            continue;
        }
        AskFor(run, command);
        if (command.name == std::wstring_view(L"USBPATHCHANGER_CHANGEUSBPATHTOCP")) {
            CheckUsbValues(run);
        }
    }
    if (!run.options.device) {
        return;
    }
    const long value = SwitchValue();
    if (value == kNoSwitch) {
        run.Add(Status::kNotHere, L"bench.switch", L"neither on nor off");
        return;
    }
    const long other = value == kOn ? kOff : kOn;
    SetSwitch(other);
    const long changed = SwitchValue();
    SetSwitch(value);
    const long restored = SwitchValue();
    run.Add(changed == other && restored == value, L"bench.switch", L"%ld, %ld, %ld", value,
            changed, restored);
}

long SwitchValue() {
    Exchange read = RequestOf(0, {L"BLEHELPER_GETBLE"});
    Session().Send(read);
    const long value = read.answer.number;
    return read.answers == 1 && (value == kOn || value == kOff) ? value : kNoSwitch;
}

void SetSwitch(long value) {
    Exchange write = RequestOf(0, {L"BLEHELPER_SETBLE"});
    write.sent.flag = value == kOn;
    if (value != kNoSwitch) {
        Session().Send(write);
    }
}
