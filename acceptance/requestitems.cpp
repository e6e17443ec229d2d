// Requests, their callbacks and contexts.
#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "acceptance/child.h"
#include "acceptance/exchange.h"
#include "acceptance/forcedsyntax.h"
#include "acceptance/installedservice.h"
#include "acceptance/items.h"
#include "client/output.h"

namespace {

void CheckEchoes(Run& run) {
    constexpr int kThreads = 8;
    const int each = run.Rounds(2500, 250);
    Tally tally;
    const ULONGLONG start = GetTickCount64();
    std::vector<Session> sessions(kThreads);
    OpenAll(sessions);
    InParallel(kThreads, [&](int thread) {
        for (int i = 0; i < each; ++i) {
            // Numbers of both signs, the lowest first, and texts of many lengths.
            const auto number =
                static_cast<long>(0x80000000U + static_cast<unsigned>(i) * 0x9E3779B9U);
            Exchange echo =
                Echo(thread, number, std::wstring(i % 300, static_cast<wchar_t>(32 + i)));
            sessions[static_cast<std::size_t>(thread)].Send(echo);
            tally.Add(echo);
        }
    });
    run.Add(tally.Right() == kThreads * each, L"requests.echo",
            Format(L"%ls, %d threads, %llu ms", tally.Text(kThreads * each).c_str(), kThreads,
                   GetTickCount64() - start));
}

void CheckTexts(Run& run) {
    Session session;
    session.Open();
    for (const std::size_t units : {0, 1, 65535, 1000000}) {
        Exchange echo = Unmarked(0, L"REGISTRYHELPER_ISVZWQ", std::wstring(units, 0x65E5));
        session.Send(echo);
        run.Add(
            echo.IsEchoed(), L"requests.text",
            Format(L"%zu units: %ls", units, echo.IsEchoed() ? L"came back" : echo.Text().c_str()));
    }
}

// Every session is open before the first request.
void CheckConnections(Run& run) {
    const int count = run.Rounds(1234, 64);
    std::vector<Session> sessions(static_cast<std::size_t>(count));
    const DWORD status = OpenAll(sessions);
    Tally tally;
    InParallel(count, [&](int i) {
        Exchange echo = Echo(i, i);
        sessions[static_cast<std::size_t>(i)].Send(echo);
        tally.Add(echo);
    });
    run.Add(tally.Right() == count, L"requests.connections",
            Format(L"%ls at once; the last connection: %ls", tally.Text(count).c_str(),
                   Outcome(status).c_str()));
}

std::wstring Hex(const ContextBytes& bytes) {
    std::wstring text;
    for (const BYTE byte : bytes) {
        text += Format(L"%02x", byte);
    }
    return text;
}

ContextBytes FromHex(const std::wstring& text) {
    ContextBytes bytes = {};
    for (std::size_t i = 0; i < bytes.size() && text.size() == 2 * bytes.size(); ++i) {
        bytes[i] = static_cast<BYTE>(std::stoul(text.substr(2 * i, 2), nullptr, 16));
    }
    return bytes;
}

// The call must have failed, and the service must still serve.
void AddRefusal(Run& run, const wchar_t* item, const wchar_t* what, DWORD status) {
    const DWORD next = AskOnce();
    run.Add(status != 0 && next == 0, item,
            Format(L"%ls: %ls; the next request: %ls", what, Outcome(status).c_str(),
                   Outcome(next).c_str()));
}

void CheckForeignContexts(Run& run) {
    Session none;
    Exchange echo = Echo(0);
    AddRefusal(run, L"contexts.null", L"a request on null", none.Send(echo));
    AddRefusal(run, L"contexts.null", L"a close of null", none.Close());

    Session session;
    session.Open();
    const ContextBytes closed = session.Bytes();
    ContextBytes bytes = closed;
    const DWORD status = session.CloseBytes(bytes);
    run.Add(status == 0 && bytes == ContextBytes(), L"contexts.closed",
            L"the first close: " + Outcome(status));
    AddRefusal(run, L"contexts.closed", L"a request on it", session.Send(echo));
    bytes = closed;
    AddRefusal(run, L"contexts.closed", L"a second close", session.CloseBytes(bytes));

    Child other(L"context");
    bytes = FromHex(other.ReadLine());
    AddRefusal(run, L"contexts.foreign", L"the close of another process's",
               session.CloseBytes(bytes));
    other.GoOn();
    const DWORD code = other.Wait(kChildMilliseconds);
    run.Add(code == 0, L"contexts.foreign", L"its own request after that: " + Outcome(code));
}

// Each round, two threads close one context at the same time. The service may refuse one of them.
void CheckRacingCloses(Run& run) {
    const int rounds = run.Rounds(5000, 300);
    int refusals[3] = {};
    Session session;
    session.Open();
    ContextBytes bytes = {};
    std::atomic<int> turn = 0;
    std::atomic<int> done = 0;
    std::atomic<int> refused = 0;
    // Threads that spin towards the same moment meet more often than those that are woken.
    const auto await = [](const std::atomic<int>& value, int wanted) {
        while (value < wanted) {
            SwitchToThread();
        }
    };
    InParallel(3, [&](int thread) {
        for (int round = 1; round <= rounds; ++round) {
            if (thread != 0) {
                await(turn, round);
                ContextBytes own = bytes;
                refused += session.CloseBytes(own) != 0 ? 1 : 0;
                ++done;
                continue;
            }
            Session raced;
            raced.Open();
            bytes = raced.Bytes();
            refused = 0;
            turn = round;
            await(done, 2 * round);
            ++refusals[refused];
        }
    });
    const DWORD next = AskOnce();
    run.Add(refusals[2] == 0 && next == 0, L"contexts.race",
            Format(L"%d times closed twice at once; refused: both %d times, one %d times, none %d "
                   L"times; the next request: %ls",
                   rounds, refusals[2], refusals[1], refusals[0], Outcome(next).c_str()));
}

// A context is closed while a request on it is in its callback, which does not wait for the end of
// the close: that may itself wait for the request.
void CheckCloseInProgress(Run& run) {
    const int rounds = run.Rounds(200, 20);
    Tally tally;
    int closed = 0;
    for (int i = 0; i < rounds; ++i) {
        Session session;
        session.Open();
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
            Format(L"%ls while their context was closed, %d closed", tally.Text(rounds).c_str(),
                   closed));
}

// Each callback sends the next request, all on one context or each on its own.
void CheckNesting(Run& run, bool one_context) {
    constexpr int kDepth = 8;
    Session sessions[kDepth];
    std::vector<Exchange> echoes;
    for (int i = 0; i < kDepth; ++i) {
        sessions[i].Open();
        echoes.push_back(Echo(i, i));
    }
    for (std::size_t i = 1; i < kDepth; ++i) {
        echoes[i - 1].in_callback = [&, i] { sessions[one_context ? 0 : i].Send(echoes[i]); };
    }
    sessions[0].Send(echoes[0]);
    Tally tally;
    for (const Exchange& echo : echoes) {
        tally.Add(echo);
    }
    run.Add(
        tally.Right() == kDepth, L"contexts.nested",
        Format(L"%ls, each sent in the callback before it, over %ls", tally.Text(kDepth).c_str(),
               one_context ? L"one context" : L"contexts of their own"));
}

// What a child prints that speaks the syntax: a line per call.
std::vector<std::wstring> LinesInSyntax(const std::wstring& syntax, DWORD& ended) {
    Child child(L"syntax " + syntax);
    std::vector<std::wstring> lines;
    for (std::wstring line = child.ReadLine(); !line.empty(); line = child.ReadLine()) {
        lines.push_back(line);
    }
    ended = child.Wait(kChildMilliseconds);
    return lines;
}

}  // namespace

void CheckRequests(Run& run) {
    CheckEchoes(run);
    CheckTexts(run);
    CheckConnections(run);
}

void CheckContexts(Run& run) {
    CheckForeignContexts(run);
    CheckRacingCloses(run);
    CheckCloseInProgress(run);
    CheckNesting(run, false);
    if (IsWine()) {
        run.NotHere(L"contexts.nested", L"over one context: Wine locks a context during a request");
    } else {
        CheckNesting(run, true);
    }
}

void CheckSyntaxes(Run& run) {
    DWORD ended = 0;
    const std::vector<std::wstring> shipped = LinesInSyntax(L"both", ended);
    run.Add(ended == 0, L"syntaxes.both",
            Format(L"%zu calls of a client that offers both, which ended with %lu", shipped.size(),
                   ended));
    for (const std::wstring syntax : {L"ndr20", L"ndr64"}) {
        if (IsWine() && syntax == L"ndr64") {
            run.NotHere(L"syntaxes.ndr64", L"Wine's RPC runtime speaks NDR 2.0 only");
            continue;
        }
        const std::vector<std::wstring> lines = LinesInSyntax(syntax, ended);
        const auto other = std::ranges::mismatch(lines, shipped).in1;
        run.Add(
            ended == 0 && lines == shipped, L"syntaxes." + syntax,
            Format(
                L"%zu calls over it alone, the client ended with %lu; the first other answer: %ls",
                lines.size(), ended, other == lines.end() ? L"none" : other->c_str()),
            L"its tables do not fit the RPC runtime: rpc/stub/ndrtables.h");
    }
}

DWORD AskInSyntax(ChildWords words) {
    const std::wstring syntax = words[0];
    Session session(syntax == L"ndr20"   ? kNdr20Half
                    : syntax == L"ndr64" ? kNdr64Half
                                         : kShippedHalf);
    DWORD status = session.Open();
    PrintLine(L"open: " + Outcome(status));
    for (unsigned i = 0; i < 100 && status == 0; ++i) {
        Exchange echo = Echo(0, static_cast<long>(i * 0x12345678U), std::wstring(i * i, 0x65E5));
        session.Send(echo);
        status = echo.IsEchoed() ? 0 : ERROR_INVALID_DATA;
        PrintLine(Format(L"echo %u: ", i) + (status == 0 ? L"as sent" : echo.Text()));
    }
    for (const wchar_t* command : kHarmlessCommands) {
        Exchange exchange = RequestOf(0, command);
        session.Send(exchange);
        PrintLine(Format(L"%ls: %ls, %zx", command, exchange.Text().c_str(),
                         std::hash<std::wstring>()(exchange.answer.text)));
    }
    const DWORD close = session.Close();
    PrintLine(L"close: " + Outcome(close));
    return status != 0 ? status : close;
}

DWORD HoldContext(ChildWords /*words*/) {
    Session session;
    session.Open();
    PrintLine(Hex(session.Bytes()));
    Exchange echo = Echo(0);
    WaitForParent();
    session.Send(echo);
    return echo.IsEchoed() || echo.status != 0 ? echo.status : ERROR_INVALID_DATA;
}
