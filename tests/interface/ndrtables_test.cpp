// The stub tables of the service, with SERVICE, or of a client, byte by byte.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <iomanip>
#include <map>
#include <sstream>
#include <string>
#include <string_view>

#include "interface/tesselservice.h"

namespace {

#ifdef SERVICE
constexpr bool kIsService = true;
const RPC_IF_HANDLE& g_interface = ServiceRpcInterface_v1_0_s_ifspec;
#else
constexpr bool kIsService = false;
const RPC_IF_HANDLE& g_interface = ServiceRpcInterface_v1_0_c_ifspec;
#endif

// This program as it is loaded.
std::string_view Image() {
    const auto* base = reinterpret_cast<const char*>(GetModuleHandleW(nullptr));
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    return {base, headers->OptionalHeader.SizeOfImage};
}

// PAGE_READONLY for example; 0 or PAGE_NOACCESS where nothing is.
DWORD Protection(std::uint64_t address) {
    MEMORY_BASIC_INFORMATION pages = {};
    VirtualQuery(reinterpret_cast<const void*>(address), &pages, sizeof(pages));
    return pages.Protect;
}

// Written independently of the structures in interface. `@name` is the address of an object below
// or of a function; `{x64/ARM64}` and `[service/client]` are alternatives by program. An NDR64
// procedure of ARM64 is padded to 8 bytes after its registers.
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
    {"context_out", "70 a4 00 [01/00]"},
    {"context_in_out", "70 e5 00 [01/00]"},
    {"context_in", "70 45 00 [01/00]"},
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
    {"functions20", "@DispatchNdr20 [@DispatchNdr20 @DispatchNdr20 /]*8"},
    {"functions64", "@DispatchNdr64 [@DispatchNdr64 @DispatchNdr64 /]*8"},
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

// Converts pairs of hexadecimal digits to bytes. `*n` means n zero bytes. Blanks and `|` are
// ignored. For a word `@name`, calls `named` with the name and the offset, and takes the bytes it
// returns.
template <typename Named>
std::string HexBytes(const std::string& text, Named named) {
    std::string bytes;
    for (std::istringstream stream(text); stream >> std::ws;) {
        const int next = stream.get();
        if (next == '@') {
            std::string name;
            stream >> name;
            bytes += named(name, bytes.size());
        } else if (next == '*') {
            std::size_t count = 0;
            stream >> count;
            bytes.resize(bytes.size() + count);
        } else if (next != '|' && next != EOF) {
            const std::string digits = {static_cast<char>(next), static_cast<char>(stream.get())};
            bytes += static_cast<char>(std::stoul(digits, nullptr, 16));
        }
    }
    return bytes;
}

// The bytes as hexadecimal digits, in lines of 16 that begin with their offset, so that a failed
// comparison shows where they differ.
std::string HexLines(const std::string& bytes) {
    std::ostringstream lines;
    lines << std::hex << std::setfill('0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i % 16 == 0) {
            lines << "\n" << std::setw(4) << i << ":";
        }
        lines << " " << std::setw(2) << int{static_cast<unsigned char>(bytes[i])};
    }
    return lines.str();
}

// Replaces each pair of alternatives between `marks` by the first or the second.
std::string Chosen(std::string text, const char (&marks)[3], bool second) {
    for (std::size_t open = 0; (open = text.find(marks[0], open)) != std::string::npos;) {
        const std::size_t middle = text.find('/', open);
        const std::size_t close = text.find(marks[1], open);
        const std::size_t start = (second ? middle : open) + 1;
        const std::string chosen = text.substr(start, (second ? close : middle) - start);
        text.replace(open, close + 1 - open, " " + chosen + " ");
    }
    return text;
}

// The addresses of the objects and functions that were found.
std::map<std::string, std::uint64_t> g_addresses;

std::string Pointer(const std::string& name) {
    const std::uint64_t address = g_addresses.at(name);
    return {reinterpret_cast<const char*>(&address), sizeof(address)};
}

void CheckObject(const std::string& name, std::uint64_t address);

// The bytes of `name`, with the addresses that are read at `address`.
std::string Expected(const std::string& name, std::uint64_t address) {
#ifdef __aarch64__
    constexpr bool kIsArm64 = true;
#else
    constexpr bool kIsArm64 = false;
#endif
    const std::string text = Chosen(Chosen(kGolden.at(name), "{}", kIsArm64), "[]", !kIsService);
    return HexBytes(text, [&](const std::string& pointee, std::size_t offset) {
        if (!g_addresses.contains(pointee)) {
            CheckObject(pointee, *reinterpret_cast<const std::uint64_t*>(address + offset));
        }
        return Pointer(pointee);
    });
}

void CheckObject(const std::string& name, std::uint64_t address) {
    g_addresses[name] = address;
    const bool is_function = !kGolden.contains(name);
    const DWORD protection = Protection(address);
    if (is_function || name != "unused_binding") {
        EXPECT_EQ(protection, is_function ? PAGE_EXECUTE_READ : PAGE_READONLY) << name;
    }
    if (!is_function && protection != 0 && protection != PAGE_NOACCESS) {
        const std::string expected = Expected(name, address);
        EXPECT_EQ(HexLines({reinterpret_cast<const char*>(address), expected.size()}),
                  HexLines(expected))
            << name;
    }
}

TEST(NdrTablesTest, EveryTableIsAsWrittenDownInReadOnlyMemory) {
    CheckObject("interface", reinterpret_cast<std::uint64_t>(g_interface));
    EXPECT_EQ(g_addresses.at("type_string") % 2, 0U);
    EXPECT_EQ(g_addresses.at("proc_string") % 2, 0U);
    if (kIsService) {
        // Only code refers to the proxy of the callbacks.
        const std::size_t place = Image().find(Pointer("stub") + Pointer("proc_string"));
        ASSERT_NE(place, std::string_view::npos);
        CheckObject("proxy", reinterpret_cast<std::uint64_t>(Image().data() + place));
    }
}

}  // namespace

#ifndef SERVICE
// The client stub needs it.
void ReportResult(wchar_t* /*command*/, boolean /*flag*/, long /*number*/, wchar_t* /*text*/) {}
#endif
