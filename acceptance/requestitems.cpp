// Requests, their callbacks and contexts.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "acceptance/child.h"
#include "acceptance/exchange.h"
#include "acceptance/forcedsyntax.h"
#include "acceptance/installedservice.h"
#include "acceptance/items.h"
#include "client/output.h"

namespace {

constexpr DWORD kMinute = 60000;

// Counts exchanges that came back as sent and keeps the first that did not.
class Tally {
 public:
    void Add(const Exchange& exchange) {
        if (exchange.IsEchoed()) {
            ++m_same;
            return;
        }
        const std::lock_guard lock(m_lock);
        if (m_first.empty()) {
            m_first = L"; first other: " + exchange.Text();
        }
    }
    void AddFailure(DWORD status) {
        Exchange failed;
        failed.status = status;
        Add(failed);
    }
    [[nodiscard]] long Same() const { return m_same; }
    [[nodiscard]] std::wstring Text(long of) const {
        return std::to_wstring(m_same) + L" of " + std::to_wstring(of) + L" answered as sent" +
               m_first;
    }

 private:
    std::atomic<long> m_same = 0;
    std::mutex m_lock;
    std::wstring m_first;
};

void CheckEchoes(Run& run) {
    constexpr int kThreads = 8;
    const int each = run.Rounds(2500, 250);
    Tally tally;
    const ULONGLONG start = GetTickCount64();
    {
        const Crew crew(kThreads, [&](int thread) {
            Session session;
            const DWORD status = session.Open();
            for (int i = 0; i < each; ++i) {
                // Numbers of both signs up to the ends, and texts of all lengths to 300.
                const auto number =
                    static_cast<long>(0x80000000U + static_cast<unsigned>(i) * 0x9E3779B9U);
                Exchange echo =
                    Echo(thread, number, std::wstring(i % 300, static_cast<wchar_t>(0x20 + i)));
                session.Send(echo);
                tally.Add(echo);
            }
            if (status != 0) {
                tally.AddFailure(status);
            }
        });
    }
    const long all = kThreads * each;
    run.Add(tally.Same() == all, L"requests.echo",
            tally.Text(all) + L", " + std::to_wstring(kThreads) + L" threads, " +
                std::to_wstring(GetTickCount64() - start) + L" ms");
}

void CheckTexts(Run& run) {
    Session session;
    session.Open();
    for (const std::size_t units : {0, 1, 65535, 1000000}) {
        Exchange echo = Echo(0, -1);
        echo.sent.text.assign(units, 0x65E5);
        session.Send(echo);
        run.Add(echo.IsEchoed(), L"requests.text",
                std::to_wstring(units) + L" units" +
                    (echo.IsEchoed() ? L" came back" : L": " + echo.Text()));
    }
}

// All at once: every session is open before the first request.
void CheckConnections(Run& run) {
    const int count = run.Rounds(1234, 64);
    std::vector<std::unique_ptr<Session>> sessions;
    DWORD status = 0;
    while (static_cast<int>(sessions.size()) < count && status == 0) {
        sessions.push_back(std::make_unique<Session>());
        status = sessions.back()->Open();
    }
    const auto opened = static_cast<int>(sessions.size()) - (status == 0 ? 0 : 1);
    Tally tally;
    {
        const Handle begin(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        const Crew crew(opened, [&](int i) {
            WaitForSingleObject(begin.get(), INFINITE);
            Exchange echo = Echo(i, i);
            sessions[static_cast<std::size_t>(i)]->Send(echo);
            tally.Add(echo);
        });
        SetEvent(begin.get());
    }
    run.Add(status == 0 && tally.Same() == count, L"requests.connections",
            std::to_wstring(opened) + L" open at once" +
                (status == 0 ? L"" : L", the next: " + ErrorText(status)) + L"; " +
                tally.Text(count));
}

std::wstring Hex(const ContextBytes& bytes) {
    constexpr wchar_t kDigits[] = L"0123456789abcdef";
    std::wstring text;
    for (const BYTE byte : bytes) {
        text += kDigits[byte / 16];
        text += kDigits[byte % 16];
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

// A refusal is a failed call after which the service still serves.
void AddRefusal(Run& run, const wchar_t* item, const wchar_t* what, DWORD status) {
    const DWORD next = AskOnce();
    run.Add(status != 0 && next == 0, item,
            std::wstring(what) + (status == 0 ? L" was accepted" : L": " + ErrorText(status)) +
                (next == 0 ? L"" : L"; the next request: " + ErrorText(next)));
}

void CheckForeignContexts(Run& run) {
    Session none;
    Exchange echo = Echo(0);
    none.Send(echo);
    AddRefusal(run, L"contexts.null", L"a request on null", echo.status);
    AddRefusal(run, L"contexts.null", L"a close of null", none.Close());

    Session session;
    session.Open();
    ContextBytes own = session.Bytes();
    const ContextBytes closed = own;
    const DWORD status = session.CloseBytes(own);
    run.Add(status == 0 && own == ContextBytes(), L"contexts.closed",
            status == 0 ? L"the first close gives null" : ErrorText(status));
    session.Send(echo);
    AddRefusal(run, L"contexts.closed", L"a request on it", echo.status);
    own = closed;
    AddRefusal(run, L"contexts.closed", L"a second close", session.CloseBytes(own));

    Child other(L"context");
    ContextBytes foreign = FromHex(other.ReadLine());
    AddRefusal(run, L"contexts.foreign", L"the close of another process's",
               session.CloseBytes(foreign));
    other.GoOn();
    const DWORD code = other.Wait(kMinute);
    run.Add(code == 0, L"contexts.foreign",
            code == 0 ? L"which goes on with it" : L"its own request: " + ErrorText(code));
}

// Each round, two threads close one context at the same time. The service may refuse one of them.
void CheckRacingCloses(Run& run) {
    const int rounds = run.Rounds(5000, 300);
    int refusals[3] = {};
    DWORD refused_with = 0;
    Session session;
    ContextBytes bytes = {};
    DWORD statuses[2] = {};
    std::atomic<int> turn = 0;
    std::atomic<int> done = 0;
    // Threads that spin towards the same moment meet more often than those that are woken.
    const auto await = [](std::atomic<int>& value, int wanted) {
        while (value < wanted) {
            SwitchToThread();
        }
    };
    session.Open();
    const Crew crew(2, [&](int thread) {
        for (int round = 1; round <= rounds; ++round) {
            await(turn, round);
            ContextBytes own = bytes;
            statuses[thread] = session.CloseBytes(own);
            ++done;
        }
    });
    for (int round = 1; round <= rounds; ++round) {
        Session raced;
        raced.Open();
        bytes = raced.Bytes();
        turn = round;
        await(done, 2 * round);
        ++refusals[(statuses[0] != 0 ? 1 : 0) + (statuses[1] != 0 ? 1 : 0)];
        refused_with = std::max({refused_with, statuses[0], statuses[1]});
    }
    const DWORD next = AskOnce();
    run.Add(refusals[2] == 0 && next == 0, L"contexts.race",
            std::to_wstring(rounds) + L" times closed twice at once: " +
                std::to_wstring(refusals[1]) + L" times one was refused (" +
                ErrorText(refused_with) + L"), " + std::to_wstring(refusals[0]) + L" times none, " +
                std::to_wstring(refusals[2]) + L" times both; the next request: " +
                (next == 0 ? L"answered" : ErrorText(next)));
}

// A context is closed while a request on it is in its callback. The callback does not wait for the
// close, which may itself wait for the request.
void CheckCloseInProgress(Run& run) {
    const int rounds = run.Rounds(200, 20);
    Tally tally;
    int closed = 0;
    for (int i = 0; i < rounds; ++i) {
        Session session;
        session.Open();
        ContextBytes bytes = session.Bytes();
        DWORD close = 0;
        std::unique_ptr<Crew> closer;
        Exchange echo = Echo(0);
        echo.in_callback = [&] {
            closer = std::make_unique<Crew>(1, [&](int) { close = session.CloseBytes(bytes); });
            closer->Wait(5);
        };
        session.Send(echo);
        closer.reset();
        tally.Add(echo);
        closed += close == 0 ? 1 : 0;
    }
    run.Add(tally.Same() == rounds && closed == rounds && AskOnce() == 0, L"contexts.in_progress",
            tally.Text(rounds) + L" while their context was closed, " + std::to_wstring(closed) +
                L" closed");
}

// Each callback sends the next request, on one context for all or on one each.
void CheckNesting(Run& run, bool one_context) {
    constexpr int kDepth = 8;
    Session sessions[kDepth];
    std::vector<Exchange> echoes;
    for (int i = 0; i < kDepth; ++i) {
        sessions[i].Open();
        echoes.push_back(Echo(i, i));
    }
    for (std::size_t i = 0; i + 1 < kDepth; ++i) {
        echoes[i].in_callback = [&session = sessions[one_context ? 0 : i + 1],
                                 &next = echoes[i + 1]] { session.Send(next); };
    }
    sessions[0].Send(echoes[0]);
    Tally tally;
    for (const Exchange& echo : echoes) {
        tally.Add(echo);
    }
    run.Add(tally.Same() == kDepth && AskOnce() == 0, L"contexts.nested",
            tally.Text(kDepth) + L", each sent in the callback of the one before, over " +
                (one_context ? L"one context" : L"a context each"));
}

// What a child that speaks one syntax prints: a line per call.
std::vector<std::wstring> LinesInSyntax(const wchar_t* syntax, DWORD& ended) {
    Child child(std::wstring(L"syntax ") + syntax);
    std::vector<std::wstring> lines;
    for (std::wstring line = child.ReadLine(); !line.empty(); line = child.ReadLine()) {
        lines.push_back(line);
    }
    ended = child.Wait(kMinute);
    return lines;
}

}  // namespace

void CheckSyntaxes(Run& run) {
    DWORD ended = 0;
    const std::vector<std::wstring> shipped = LinesInSyntax(L"both", ended);
    run.Add(ended == 0, L"syntaxes.both",
            std::to_wstring(shipped.size()) +
                L" calls of a client that offers both; it ended with " + std::to_wstring(ended));
    for (const wchar_t* syntax : {L"ndr20", L"ndr64"}) {
        const std::wstring item = std::wstring(L"syntaxes.") + syntax;
        if (IsWine() && syntax == std::wstring_view(L"ndr64")) {
            run.NotHere(item, L"Wine's RPC runtime speaks NDR 2.0 only");
            continue;
        }
        const std::vector<std::wstring> lines = LinesInSyntax(syntax, ended);
        const auto [at, same] = std::ranges::mismatch(shipped, lines);
        const bool ok = ended == 0 && lines == shipped;
        run.Add(ok, item,
                std::to_wstring(lines.size()) + L" calls over it alone" +
                    (ok ? L", with the same answers"
                        : L"; it ended with " + std::to_wstring(ended) + L"; first other: " +
                              (same != lines.end() ? *same : L"none")),
                L"the tables of this syntax do not fit the runtime, see rpc/stub/ndrtables.h");
    }
}

DWORD AskInSyntax(ChildWords words, int count) {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    const std::wstring_view syntax = count > 0 ? words[0] : L"";
    Session session(syntax == L"ndr20"   ? kNdr20Half
                    : syntax == L"ndr64" ? kNdr64Half
                                         : kShippedHalf);
    DWORD status = session.Open();
    PrintLine(L"open " + std::to_wstring(status));
    for (unsigned i = 0; i < 200 && status == 0; ++i) {
        Exchange echo = Echo(0, static_cast<long>(i * 0x12345678U), std::wstring(i * i, 0x65E5));
        session.Send(echo);
        status = echo.IsEchoed() ? 0 : ERROR_INVALID_DATA;
        PrintLine(L"echo " + std::to_wstring(i) + L" " + std::to_wstring(echo.status));
    }
    for (const wchar_t* command : kHarmlessCommands) {
        Exchange exchange = {{command, true, -1, OwnPath()}};
        session.Send(exchange);
        PrintLine(command + std::to_wstring(std::hash<std::wstring>()(exchange.Text())) + L" " +
                  std::to_wstring(std::hash<std::wstring>()(exchange.answer.text)));
    }
    const DWORD close = session.Close();
    PrintLine(L"close " + std::to_wstring(close));
    return status != 0 ? status : close;
}

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

DWORD HoldContext(ChildWords /*words*/, int /*count*/) {
    Session session;
    const DWORD status = session.Open();
    PrintLine(Hex(session.Bytes()));
    Exchange echo = Echo(0);
    if (status != 0 || !WaitForParent()) {
        return status;
    }
    session.Send(echo);
    return echo.IsEchoed() ? 0 : echo.status != 0 ? echo.status : ERROR_INVALID_DATA;
}
