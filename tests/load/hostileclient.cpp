// A client that does not keep to the rules. `hostileclient packets N` speaks raw DCE/RPC to the
// service's endpoint, as Wine's local RPC carries it: the packets of the table and N random ones.
// `hostileclient texts N` sends N random commands and texts of up to some megabytes by the rules.
// After each, an ordinary request must be answered.
#include "tests/load/connection.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "rpc/stub/stubs.h"
#include "tests/load/cases.h"
#include "win32/handle.h"

namespace {

std::mt19937 g_random(20240607);
std::atomic<int> g_answers = 0;
std::atomic<bool> g_fits = true;
Request g_request;

unsigned Random(unsigned limit) {
    return std::uniform_int_distribution<unsigned>(0, limit - 1)(g_random);
}

// Little-endian bytes of a packet.
struct Bytes : std::vector<unsigned char> {
    Bytes& Put(unsigned long value, int size) {
        for (int i = 0; i < size; ++i) {
            push_back(static_cast<unsigned char>(value >> (8 * i)));
        }
        return *this;
    }
    Bytes& Put(const void* data, size_t size) {
        const auto* first = static_cast<const unsigned char*>(data);
        insert(end(), first, first + size);
        return *this;
    }
    Bytes& Align(size_t size) {
        resize((this->size() + size - 1) / size * size);
        return *this;
    }
    Bytes With(size_t place, unsigned long value, int size) const {
        Bytes changed(*this);
        for (int i = 0; i < size; ++i) {
            changed.at(place + i) = static_cast<unsigned char>(value >> (8 * i));
        }
        return changed;
    }
    Bytes Cut(size_t size) const {
        Bytes cut(*this);
        cut.resize(size);
        return cut;
    }
};

enum PacketType {
    kRequest = 0,
    kResponse = 2,
    kFault = 3,
    kBind = 11,
    kBindAck = 12,
    kBindNak = 13
};
enum Fragment { kMiddle = 0, kFirst = 1, kLast = 2, kWhole = 3 };
constexpr unsigned kOpen = 0, kClose = 1, kSend = 2;
constexpr size_t kHeaderSize = 16, kRequestHeaderSize = 24, kContextSize = 20;

Bytes Packet(unsigned type, const Bytes& body, unsigned flags = kWhole) {
    Bytes packet;
    packet.Put(5, 1).Put(0, 1).Put(type, 1).Put(flags, 1).Put(0x10, 4);
    packet.Put(static_cast<unsigned long>(kHeaderSize + body.size()), 2).Put(0, 2).Put(1, 4);
    packet.Put(body.data(), body.size());
    return packet;
}

Bytes Bind(const RPC_SYNTAX_IDENTIFIER& id = kServiceRpcInterfaceId,
           const RPC_SYNTAX_IDENTIFIER& transfer = kNdr20Syntax,
           unsigned contexts = 1) {
    Bytes body;
    body.Put(5840, 2).Put(5840, 2).Put(0, 4).Put(contexts, 4);
    body.Put(0, 2).Put(1, 2).Put(&id, sizeof(id)).Put(&transfer, sizeof(transfer));
    return Packet(kBind, body);
}

Bytes Call(unsigned opnum, const Bytes& data, unsigned flags = kWhole, unsigned context = 0) {
    Bytes body;
    body.Put(static_cast<unsigned long>(data.size()), 4).Put(context, 2).Put(opnum, 2);
    body.Put(data.data(), data.size());
    return Packet(kRequest, body, flags);
}

// A conformant string; the counts can be told apart from the truth.
struct WireString {
    std::u16string units;
    unsigned long maximum, offset, actual;

    explicit WireString(std::u16string text)
        : units(std::move(text) + u'\0'), maximum(Count()), offset(0), actual(Count()) {}
    unsigned long Count() const { return static_cast<unsigned long>(units.size()); }
    void PutIn(Bytes& bytes) const {
        bytes.Align(4).Put(maximum, 4).Put(offset, 4).Put(actual, 4);
        bytes.Put(units.data(), units.size() * 2);
    }
};

// The arguments of RemoteRequest for the command that echoes.
struct Arguments {
    Bytes context;
    WireString command{u"REGISTRYHELPER_ISVZWQ"};
    WireString text{u"a hostile text"};
    bool aligned = true;

    Bytes Data() const {
        Bytes data(context);
        command.PutIn(data);
        data.Put(1, 1);
        if (aligned) {
            data.Align(4);
        }
        data.Put(7, 4);
        text.PutIn(data);
        return data;
    }
};

// A raw connection to the endpoint.
class Wire {
 public:
    Wire()
        : m_pipe(CreateFileW(L"\\\\.\\pipe\\lrpc\\TesselRpcEndpoint",
                             GENERIC_READ | GENERIC_WRITE,
                             0,
                             nullptr,
                             OPEN_EXISTING,
                             0,
                             nullptr)) {
        DWORD mode = PIPE_READMODE_MESSAGE;
        SetNamedPipeHandleState(m_pipe.Get(), &mode, nullptr, nullptr);
    }
    void Write(const Bytes& packet) const {
        DWORD written = 0;
        WriteFile(m_pipe.Get(), packet.data(), static_cast<DWORD>(packet.size()), &written,
                  nullptr);
    }
    // One packet, or nothing when the service closes the connection or is silent for so long.
    Bytes Read(DWORD milliseconds) {
        Bytes packet;
        DWORD size = 0;
        const DWORD start = GetTickCount();
        while (!(closed = !PeekNamedPipe(m_pipe.Get(), nullptr, 0, nullptr, &size, nullptr)) &&
               size == 0 && GetTickCount() - start < milliseconds) {
            Sleep(1);
        }
        if (size != 0) {
            packet.resize(0x10000);
            ReadFile(m_pipe.Get(), packet.data(), static_cast<DWORD>(packet.size()), &size,
                     nullptr);
            packet.resize(size);
        }
        return packet;
    }
    // The reply's data, behind its header.
    Bytes Ask(const Bytes& packet) {
        Write(packet);
        Bytes reply = Read(kPatience);
        reply.erase(reply.begin(), reply.begin() + std::min(reply.size(), kRequestHeaderSize));
        return reply;
    }
    Bytes OpenContext() {
        Ask(Bind());
        return Ask(Call(kOpen, {})).Cut(kContextSize);
    }

    static constexpr DWORD kPatience = 5000;
    bool closed = false;

 private:
    FileHandle m_pipe;
};

std::string Outcome(Wire& wire) {
    // Long enough for a reply that is due at once; silence is an outcome too.
    constexpr DWORD kReplyMilliseconds = 150;
    const Bytes reply = wire.Read(kReplyMilliseconds);
    if (reply.size() < kHeaderSize) {
        return wire.closed ? "closed" : "silence";
    }
    char text[40];
    switch (reply[2]) {
        case kResponse:
            return "response";
        case kFault:
            std::snprintf(text, sizeof(text), "fault 0x%lx",
                          *reinterpret_cast<const unsigned long*>(&reply.at(kRequestHeaderSize)));
            return text;
        case kBindAck:
            return "bound";
        case kBindNak:
            return "not bound";
        default:
            return "packet " + std::to_string(reply[2]);
    }
}

// Sends one request by the rules and tells whether exactly the due answers came.
bool Served(const Connection& connection, const Request& request) {
    g_request = request;
    g_answers = 0;
    g_fits = true;
    RemoteRequest(connection.context, request.sent->command,
                  static_cast<boolean>(request.flag ? 1 : 0), request.number, const_cast<wchar_t*>(request.text.c_str()));
    return g_fits && g_answers == request.sent->answers;
}

// An ordinary client of its own, after each attack.
bool ServiceServes() {
    static const Case* const echo = &*std::ranges::find_if(AllCases(), [](const Case& row) {
        return std::wcscmp(row.command, L"REGISTRYHELPER_ISVZWQ") == 0;
    });
    Connection connection;
    connection.Open();
    const bool served = Served(connection, {echo, true, 42, L"still there?"});
    connection.Close();
    return served;
}

struct Attack {
    const char* name;
    // On a connection that is bound and has the context open, unless it says not.
    std::function<void(Wire&, const Arguments&)> send;
    bool answered = false;
    bool bound = true;
};

constexpr RPC_SYNTAX_IDENTIFIER kNoInterface = {{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}, {1, 0}};

// Changes the command string's counts before the call.
std::function<void(Wire&, const Arguments&)> Counts(unsigned long maximum,
                                                    unsigned long offset,
                                                    unsigned long actual) {
    return [=](Wire& wire, Arguments arguments) {
        arguments.command.maximum = maximum;
        arguments.command.offset = offset;
        arguments.command.actual = actual;
        wire.Write(Call(kSend, arguments.Data()));
    };
}

// Lets a packet of the right form but for one field follow.
std::function<void(Wire&, const Arguments&)> Header(size_t place, unsigned long value, int size) {
    return [=](Wire& wire, const Arguments& arguments) {
        wire.Write(Call(kSend, arguments.Data()).With(place, value, size));
    };
}

std::function<void(Wire&, const Arguments&)> Context(Bytes (*make)(const Bytes&)) {
    return [=](Wire& wire, Arguments arguments) {
        arguments.context = make(arguments.context);
        wire.Write(Call(kSend, arguments.Data()));
    };
}

const Attack kAttacks[] = {
    {"by the rules", [](Wire& w, const Arguments& a) { w.Write(Call(kSend, a.Data())); }, true},
    {"by the rules, in three fragments",
     [](Wire& w, const Arguments& a) {
         const Bytes data = a.Data();
         w.Write(Call(kSend, Bytes().Put(data.data(), 30).Cut(30), kFirst));
         w.Write(Call(kSend, Bytes().Put(data.data() + 30, 40).Cut(40), kMiddle));
         w.Write(Call(kSend, Bytes().Put(data.data() + 70, data.size() - 70), kLast));
     },
     true},
    {"more data than asked for",
     [](Wire& w, const Arguments& a) {
         w.Write(Call(kSend, Bytes(a.Data()).Put(0, 4).Put(~0UL, 4)));
     },
     true},
    {"a flag that is neither 0 nor 1",
     [](Wire& w, const Arguments& a) {
         Bytes data = a.Data();
         w.Write(Call(kSend, data.With(kContextSize + 12 + a.command.Count() * 2, 0x80, 1)));
     },
     true},
    {"no allocation hint", Header(16, 0, 4), true},
    {"not bound", [](Wire& w, const Arguments& a) { w.Write(Call(kSend, a.Data())); }, false,
     false},
    {"empty", [](Wire& w, const Arguments&) { w.Write(Bytes()); }, false, false},
    {"one byte", [](Wire& w, const Arguments&) { w.Write(Bytes().Put(5, 1)); }, false, false},
    {"version 4", Header(0, 4, 1)},
    {"version 5.9", Header(1, 9, 1)},
    {"no known type", Header(2, 99, 1)},
    {"a response", Header(2, kResponse, 1)},
    {"a fault", Header(2, kFault, 1)},
    {"cancel", Header(2, 18, 1)},
    {"orphaned", Header(2, 19, 1)},
    {"length 0", Header(8, 0, 2)},
    {"length below the header's", Header(8, 20, 2)},
    {"length above the data's", Header(8, 5000, 2)},
    {"length at its most", Header(8, 0xFFFF, 2)},
    {"verifier longer than the data", Header(10, 0xFFFF, 2)},
    {"verifier", Header(10, 8, 2)},
    // Wine's runtime uses neither of the next two, and lets a null context pass.
    {"hint of 4 GB", Header(16, 0xFFFFFFFF, 4), true},
    {"presentation context", Header(20, 7, 2), true},
    {"procedure 3", Header(22, 3, 2)},
    {"procedure 4", Header(22, 4, 2)},
    {"procedure 65535", Header(22, 0xFFFF, 2)},
    {"first fragment twice",
     [](Wire& w, const Arguments& a) {
         w.Write(Call(kSend, a.Data(), kFirst));
         w.Write(Call(kSend, a.Data(), kFirst));
     }},
    {"last fragment first",
     [](Wire& w, const Arguments& a) { w.Write(Call(kSend, a.Data(), kLast)); }},
    {"no last fragment",
     [](Wire& w, const Arguments& a) { w.Write(Call(kSend, a.Data(), kFirst)); }},
    {"no arguments", [](Wire& w, const Arguments&) { w.Write(Call(kSend, {})); }},
    {"a context with nothing behind it",
     [](Wire& w, const Arguments& a) { w.Write(Call(kSend, a.context)); }},
    {"no alignment",
     [](Wire& w, Arguments a) {
         a.command = WireString(u"REGISTRYHELPER_ISVZW");
         a.aligned = false;
         w.Write(Call(kSend, a.Data()));
     }},
    {"maximum 0", Counts(0, 0, 22)},
    {"maximum below actual", Counts(10, 0, 22)},
    {"offset", Counts(23, 1, 22)},
    {"offset at its most", Counts(22, 0xFFFFFFFF, 22)},
    {"actual 0", Counts(22, 0, 0)},
    {"actual above the data", Counts(5000, 0, 5000)},
    {"actual at its most", Counts(0xFFFFFFFF, 0, 0xFFFFFFFF)},
    {"actual half the address space", Counts(0x80000000, 0, 0x80000000)},
    {"terminator cut by the counts", Counts(21, 0, 21)},
    {"no terminator in the command",
     [](Wire& w, Arguments a) {
         a.command.units.back() = u'X';
         w.Write(Call(kSend, a.Data()));
     }},
    {"no terminator in the text",
     [](Wire& w, Arguments a) {
         a.text.units.back() = u'X';
         w.Write(Call(kSend, a.Data()));
     }},
    {"null context", Context([](const Bytes&) { return Bytes().Cut(kContextSize); }), true},
    {"unknown context", Context([](const Bytes& own) { return own.With(8, 0x12345678, 4); })},
    {"attributes in the context", Context([](const Bytes& own) { return own.With(0, 1, 4); })},
    {"the context of another client",
     [](Wire& w, Arguments a) {
         Wire other;
         a.context = other.OpenContext();
         w.Write(Call(kSend, a.Data()));
         Sleep(20);
     }},
    {"the context of a dead client",
     [](Wire& w, Arguments a) {
         a.context = Wire().OpenContext();
         w.Write(Call(kSend, a.Data()));
     }},
    {"closed context",
     [](Wire& w, const Arguments& a) {
         w.Ask(Call(kClose, a.context));
         w.Write(Call(kSend, a.Data()));
     }},
    {"closed twice",
     [](Wire& w, const Arguments& a) {
         w.Ask(Call(kClose, a.context));
         w.Write(Call(kClose, a.context));
     }},
    {"close of a null context",
     [](Wire& w, const Arguments&) { w.Write(Call(kClose, Bytes().Cut(kContextSize))); }},
    {"another interface", [](Wire& w, const Arguments&) { w.Write(Bind(kNoInterface)); }, false,
     false},
    {"another interface's call",
     [](Wire& w, const Arguments& a) {
         w.Ask(Bind(kNoInterface));
         w.Write(Call(kSend, a.Data()));
     },
     false, false},
    {"another syntax",
     [](Wire& w, const Arguments&) { w.Write(Bind(kServiceRpcInterfaceId, kNoInterface)); }, false,
     false},
    {"bind to nothing",
     [](Wire& w, const Arguments&) { w.Write(Bind(kServiceRpcInterfaceId, kNdr20Syntax, 0)); },
     false, false},
    {"bind to more than there is",
     [](Wire& w, const Arguments&) { w.Write(Bind(kServiceRpcInterfaceId, kNdr20Syntax, 255)); },
     false, false},
    {"bind cut short", [](Wire& w, const Arguments&) { w.Write(Bind().Cut(40)); }, false, false},
    {"bind twice", [](Wire& w, const Arguments&) { w.Write(Bind()); }},
};

bool g_passed = true;

// What the service said to an attack, and whether it goes on. The right answers are to be seen from
// whether the attack reached a handler.
void Check(const char* name, bool answered, const std::function<std::string()>& attack) {
    std::printf("%-36s ", name);
    std::fflush(stdout);
    g_request = {};
    g_answers = 0;
    const std::string outcome = attack();
    const bool as_due = (g_answers != 0) == answered;
    const bool serves = ServiceServes();
    std::printf("%s%s%s\n", outcome.c_str(), as_due ? "" : " WRONGLY ANSWERED OR NOT",
                serves ? "" : " SERVICE DOES NOT SERVE");
    g_passed = g_passed && as_due && serves;
}

void SendTable() {
    for (const Attack& attack : kAttacks) {
        Check(attack.name, attack.answered, [&] {
            Wire wire;
            Arguments arguments;
            arguments.context = attack.bound ? wire.OpenContext() : Bytes().Cut(kContextSize);
            attack.send(wire, arguments);
            return Outcome(wire);
        });
    }
}

void SendCutRequests() {
    Check("every shorter request", false, [] {
        std::map<std::string, int> outcomes;
        Arguments arguments;
        const size_t whole = kContextSize + Arguments{Bytes().Cut(kContextSize)}.Data().size();
        for (size_t size = 0; size < whole - kContextSize; ++size) {
            Wire wire;
            arguments.context = wire.OpenContext();
            wire.Write(Call(kSend, arguments.Data().Cut(size)));
            ++outcomes[Outcome(wire)];
        }
        std::string all;
        for (const auto& [outcome, count] : outcomes) {
            all += std::to_string(count) + " x " + outcome + "; ";
        }
        return all;
    });
}

// Requests with some bytes changed, or nothing but random bytes. Whatever they do: the service goes
// on.
void SendRandomPackets(int count) {
    std::map<std::string, int> outcomes;
    for (int i = 0; i < count; ++i) {
        {
            Wire wire;
            Arguments arguments;
            arguments.context = wire.OpenContext();
            Bytes packet = Call(kSend, arguments.Data());
            if (i % 4 == 0) {
                packet = packet.Cut(1 + Random(300));
                std::ranges::generate(packet,
                                      [] { return static_cast<unsigned char>(Random(256)); });
            } else {
                for (unsigned changes = 1 + Random(4); changes > 0; --changes) {
                    packet[Random(static_cast<unsigned>(packet.size()))] ^= 1U << Random(8);
                }
            }
            wire.Write(packet);
            ++outcomes[Outcome(wire)];
        }
        g_passed = g_passed && ServiceServes();
    }
    for (const auto& [outcome, times] : outcomes) {
        std::printf("random packets: %d x %s\n", times, outcome.c_str());
    }
}

void SendTexts(int count) {
    Connection connection;
    connection.Open();
    unsigned long long units = 0;
    for (int i = 0; i < count; ++i) {
        const Case& row = AllCases()[Random(static_cast<unsigned>(AllCases().size()))];
        // One in eight is long.
        std::wstring text(32 + Random(i % 8 == 0 ? 2000000 : 2000), L'\0');
        std::ranges::generate(text, [] { return static_cast<wchar_t>(1 + Random(0xFFFF)); });
        text = row.send != nullptr ? row.send : text;
        units += text.size();
        Request request = {&row, i % 2 == 0, kTagsPerProcess + i, text};
        if (!Served(connection, request)) {
            std::printf("%ls with %zu units: %d answers\n", row.command, text.size(),
                        g_answers.load());
            g_passed = false;
        }
        // No command begins like this.
        const Case unknown = {text.c_str(), 0};
        request.sent = &unknown;
        g_passed = g_passed && Served(connection, request);
    }
    connection.Close();
    std::printf("%d random texts, %llu units\n", count, units);
    g_passed = g_passed && ServiceServes();
}

}  // namespace

void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    ++g_answers;
    if (g_request.sent != nullptr && !AnswerFits(g_request, command, flag != 0, number, text)) {
        g_fits = false;
    }
}

int wmain(int argc, wchar_t** argv) {
    SetUnhandledExceptionFilter(ReportFailure);
    if (argc < 3) {
        return kFailed;
    }
    const int count = static_cast<int>(std::wcstol(argv[2], nullptr, 10));
    if (std::wcscmp(argv[1], L"texts") == 0) {
        SendTexts(count);
    } else {
        SendTable();
        SendCutRequests();
        SendRandomPackets(count);
    }
    std::printf(g_passed ? "passed\n" : "failed\n");
    return g_passed ? kPassed : kFailed;
}
