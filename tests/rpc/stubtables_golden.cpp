#include <map>
#include <sstream>

#include "tests/rpc/stubtables.h"

namespace {

// Written down apart from the structures that make them. An NDR64 procedure of ARM64 is padded to 8
// bytes behind its registers.
const std::map<std::string, std::string> kGolden = {
    {"type_string",
     "0000 | 11 04 0200 | 30 a4 00 00 | 11 04 0200 | 30 e5 00 00 | 30 45 00 00 | 11 08 25 5c | 00"},
    {"proc_string",
     "00 48 00000000 0000 1000 | 32 00 0000 | 0000 3800 40 01"
     " | {0a 01 0000 0000 0000 0000/0e 01 0000 0000 0000 0200 02 80 81 00} | 1001 0800 0600"
     " | 00 48 00000000 0100 0800 | 30 e4 0000 00 00 | 3800 3800 40 01"
     " | {0a 01 0000 0000 0000 0000/0c 01 0000 0000 0000 0100 01 80} | 1801 0000 0e00"
     " | 00 48 00000000 0200 2800 | 30 44 0000 00 00 | 3100 0000 42 05"
     " | {0a 01 0000 0000 0000 0000/10 01 0000 0000 0000 0500 05 80 81 82 83 84}"
     " | 0800 0000 1200 | 0b01 0800 1800 | 4800 1000 03 00 | 4800 1800 08 00 | 0b01 2000 1800"
     " | 34 48 00000000 0000 2000 | 0d00 0000 42 04"
     " | {0a 01 0000 0000 0000 0000/10 01 0000 0000 0000 0400 04 80 81 82 83 00}"
     " | 0b01 0000 1800 | 4800 0800 03 00 | 4800 1000 08 00 | 0b01 1800 1800 | 00"},
    {"offsets", "0000 {2400 4a00/2800 5000}"},
    {"callback_offsets", "{8800/9400}"},
    {"procedures", "@open @close @request"},
    {"callback_procedures", "@report"},
    {"open",
     "400000{01/05} 10000000 00000000 3c000000 0000 0000 0100 0800 | 72 00 0000 00 00 0000"
     " | @context_out 1001 0000 08000000 {/0200 02 80 81 *3}"},
    {"close",
     "400000{01/05} 08000000 3c000000 3c000000 0000 0000 0100 0800 | 70 e4 0000 00 00 0000"
     " | @context_in_out 1801 0000 00000000 {/0100 01 80 *4}"},
    {"request",
     "400004{01/05} 28000000 31000000 00000000 0000 0000 0500 0800 | 70 44 0000 00 00 0000"
     " | @context_in 0800 0000 00000000 | @string 0b01 0000 08000000"
     " | @boolean c800 0000 10000000 | @number c800 0000 18000000"
     " | @string 0b01 0000 20000000 {/0500 05 80 81 82 83 84}"},
    {"report",
     "440004{00/04} 20000000 0d000000 00000000 0000 0000 0400 0000"
     " | @string 0b01 0000 00000000 | @boolean c800 0000 08000000"
     " | @number c800 0000 10000000 | @string 0b01 0000 18000000 {/0400 04 80 81 82 83 *1}"},
    {"context_out", "70 a4 00 00"},
    {"context_in_out", "70 e5 00 00"},
    {"context_in", "70 45 00 00"},
    {"string", "64 00 0200"},
    {"boolean", "02"},
    {"number", "05"},

    {"ndr20_id", "045d888a eb1c c911 9fe808002b104860 0200 0000"},
    {"ndr64_id", "33057171 babe 3749 8319b5dbef9ccc36 0100 0000"},
    {"interface",
     "60000000 | b35f217f 7b58 3e42 9f10ab483bc4d24d 0100 0000"
     " | 045d888a eb1c c911 9fe808002b104860 0200 0000 *4"
     " | @dispatch20 *24 @server_info 00000006 *4"},
    {"server_info",
     "@stub @routines @proc_string [@offsets/@callback_offsets] *8 @ndr64_id 02*7 @served"},
    {"routines", "[@RemoteOpen @RemoteClose @RemoteRequest/@ReportResult]"},
    {"served",
     "045d888a eb1c c911 9fe808002b104860 0200 0000 *4"
     " | @dispatch20 @proc_string [@offsets/@callback_offsets] @type_string *24"
     " | 33057171 babe 3749 8319b5dbef9ccc36 0100 0000 *4"
     " | @dispatch64 *8 [@procedures/@callback_procedures] *32"},
    {"dispatch20", "[03/01]*7 @functions20 *8"},
    {"dispatch64", "[03/01]*7 @functions64 *8"},
    {"functions20", "@NdrServerCall2 [@NdrServerCall2 @NdrServerCall2 /]*8"},
    {"functions64", "@NdrServerCallAll [@NdrServerCallAll @NdrServerCallAll /]*8"},
    {"proxy", "@stub @proc_string [@callback_offsets/@offsets] @ndr20_id 02*7 @called"},
    {"called",
     "045d888a eb1c c911 9fe808002b104860 0200 0000 *4"
     " | *8 @proc_string [@callback_offsets/@offsets] @type_string *24"
     " | 33057171 babe 3749 8319b5dbef9ccc36 0100 0000 *4"
     " | *16 [@callback_procedures/@procedures] *32"},
    {"stub",
     "@interface @MIDL_user_allocate @MIDL_user_free [*8 @rundowns/@unused_binding *8] *24"
     " | @type_string 01000000 01000600 *8 74020108 *28 01000002 *12 [@server_info/@proxy] *8"},
    {"rundowns", "@REQUEST_CONTEXT_HANDLE_rundown"},
    {"unused_binding", "*8"},
};

// The dispatch functions as a table's constant initialiser gives them: some compilers put the
// program's own jump to the imported function there, and code would take the function itself.
RPC_DISPATCH_FUNCTION volatile g_dispatch_functions[] = {NdrServerCall2, NdrServerCallAll};

// Leaves of each choice between `marks` its first or second alternative.
void Choose(std::string* text, const char (&marks)[3], bool second) {
    for (std::size_t open = 0; (open = text->find(marks[0], open)) != std::string::npos;) {
        const std::size_t middle = text->find('/', open);
        const std::size_t close = text->find(marks[1], open);
        const std::size_t start = (second ? middle : open) + 1;
        const std::string chosen = text->substr(start, (second ? close : middle) - start);
        text->replace(open, close + 1 - open, " " + chosen + " ");
    }
}

}  // namespace

StubImage HalfImage(bool is_server,
                    const RPC_SERVER_INTERFACE* served,
                    const MIDL_STUBLESS_PROXY_INFO* proxy) {
    StubImage image = FormatImage<kNdrTarget>(is_server ? "server half" : "client half");
    image.is_server = is_server;
    const auto* server = static_cast<const MIDL_SERVER_INFO*>(served->InterpreterInfo);
    const MIDL_STUB_DESC* stub = proxy->pStubDesc;
    const std::size_t count = is_server ? 3 : 1;
    image.Add("interface", served);
    image.Add("server_info", server);
    image.Add("routines", server->DispatchTable, count);
    image.Add("served", server->pSyntaxInfo, 2);
    image.Add("dispatch20", server->pSyntaxInfo[0].DispatchTable);
    image.Add("dispatch64", server->pSyntaxInfo[1].DispatchTable);
    image.Add("functions20", server->pSyntaxInfo[0].DispatchTable->DispatchTable, count + 1);
    image.Add("functions64", server->pSyntaxInfo[1].DispatchTable->DispatchTable, count + 1);
    image.Add("proxy", proxy);
    image.Add("called", proxy->pSyntaxInfo, 2);
    image.Add("stub", stub);
    if (is_server) {
        image.Add("rundowns", stub->apfnNdrRundownRoutines);
    } else {
        image.Add("unused_binding", stub->IMPLICIT_HANDLE_INFO.pAutoHandle);
    }
    image.Add("ndr20_id", &kNdr20Syntax);
    image.Add("ndr64_id", &kNdr64Syntax);
    image.AddFunction("NdrServerCall2", g_dispatch_functions[0]);
    image.AddFunction("NdrServerCallAll", g_dispatch_functions[1]);
    image.AddFunction("MIDL_user_allocate", MIDL_user_allocate);
    image.AddFunction("MIDL_user_free", MIDL_user_free);
    return image;
}

std::vector<std::uint8_t> Bytes(std::string text, const StubImage& image) {
    Choose(&text, "{}", image.target == NdrTarget::kArm64);
    Choose(&text, "[]", !image.is_server);
    std::vector<std::uint8_t> bytes;
    for (std::istringstream stream(text); stream >> std::ws;) {
        const int next = stream.get();
        if (next == '@') {
            std::string name;
            stream >> name;
            const std::uint64_t address = image.Named(name).address;
            for (int i = 0; i < 8; ++i) {
                bytes.push_back(static_cast<std::uint8_t>(address >> 8 * i));
            }
        } else if (next == '*') {
            std::size_t count = 0;
            stream >> count;
            bytes.resize(bytes.size() + count);
        } else if (next != '|' && next != EOF) {
            const std::string digits = {static_cast<char>(next), static_cast<char>(stream.get())};
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits, nullptr, 16)));
        }
    }
    return bytes;
}

std::vector<std::string> CheckGolden(const StubImage& image) {
    std::vector<std::string> violations;
    for (const StubObject& object : image.objects) {
        if (object.bytes.empty()) {
            continue;
        }
        const std::vector<std::uint8_t> expected = Bytes(kGolden.at(object.name), image);
        if (expected.size() != object.bytes.size()) {
            violations.push_back(object.name + " has another size");
            continue;
        }
        for (std::size_t i = 0; i < expected.size(); ++i) {
            if (expected[i] != object.bytes[i]) {
                violations.push_back(object.name + "[" + std::to_string(i) + "]");
            }
        }
    }
    return violations;
}
