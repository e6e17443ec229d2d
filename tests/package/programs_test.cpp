// What the linked programs promise, read from their files.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/package/image.h"

namespace {

// Windows' own, and nothing that would have to be brought along.
const std::set<std::string> kWindowsDlls = {"advapi32.dll", "api-ms-win-security-base-l1-2-2.dll",
                                            "bcrypt.dll",   "cfgmgr32.dll",
                                            "kernel32.dll", "msvcrt.dll",
                                            "ole32.dll",    "oleaut32.dll",
                                            "rpcrt4.dll",   "ucrtbase.dll",
                                            "version.dll",  "wevtapi.dll"};

// The addresses of the import slots, by function.
std::map<std::string, std::uint64_t> Imports(const Image& image, std::set<std::string>* dlls) {
    std::map<std::string, std::uint64_t> slots;
    auto [at, size] = image.Directory(IMAGE_DIRECTORY_ENTRY_IMPORT);
    for (;; at += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
        const auto dll = image.Read<IMAGE_IMPORT_DESCRIPTOR>(at);
        if (dll.Name == 0) {
            return slots;
        }
        std::string name = image.Text(image.Base() + dll.Name);
        CharLowerA(name.data());
        dlls->insert(name);
        for (std::uint64_t i = 0;; i += sizeof(std::uint64_t)) {
            const auto hint = image.Read<std::uint64_t>(image.Base() + dll.FirstThunk + i);
            if (hint == 0) {
                break;
            }
            slots[image.Text(image.Base() + hint + 2)] = image.Base() + dll.FirstThunk + i;
        }
    }
}

TEST(ProgramsTest, NeedOnlyWindowsAndAreProtected) {
    for (const char* path : {kServices[0], kServices[1], kClients[0], kClients[1]}) {
        SCOPED_TRACE(path);
        const Image image(path);
        std::set<std::string> dlls;
        Imports(image, &dlls);
        for (const std::string& dll : dlls) {
            EXPECT_TRUE(kWindowsDlls.contains(dll)) << dll;
        }
        constexpr WORD kProtections = IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA |
                                      IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE |
                                      IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
        EXPECT_EQ(image.Headers().OptionalHeader.DllCharacteristics & kProtections, kProtections);
        // Without relocations the base could not be random, whatever the flags say.
        EXPECT_NE(image.Directory(IMAGE_DIRECTORY_ENTRY_BASERELOC).second, 0U);
    }
}

TEST(ProgramsTest, TheServiceHasItsAssertion) {
    for (const char* path : kServices) {
        const std::wstring text = L"s_service != NULL";
        const std::string wide(reinterpret_cast<const char*>(text.data()), text.size() * 2);
        EXPECT_NE(Image(path).Memory().find(wide), std::string::npos) << path;
    }
}

// A function as the unwinder knows it, and whether an exception that passes it runs code of ours.
struct Function {
    std::uint64_t begin;
    std::uint64_t end;
    bool has_handler;
};

bool HasHandlerX64(const Image& image, std::uint64_t unwind_info) {
    const auto head = image.Read<std::uint32_t>(unwind_info);
    const unsigned flags = (head & 0xFF) >> 3;
    if ((flags & UNW_FLAG_CHAININFO) != 0) {
        const unsigned codes = (head >> 16) & 0xFF;
        const auto parent = image.Read<RUNTIME_FUNCTION>(unwind_info + 4 + 2 * ((codes + 1) & ~1U));
        return HasHandlerX64(image, image.Base() + parent.UnwindData);
    }
    return (flags & (UNW_FLAG_EHANDLER | UNW_FLAG_UHANDLER)) != 0;
}

std::vector<Function> Functions(const Image& image) {
    std::vector<Function> functions;
    const auto [table, size] = image.Directory(IMAGE_DIRECTORY_ENTRY_EXCEPTION);
    const std::size_t row = image.IsArm64() ? 8 : 12;
    for (std::uint64_t at = table; at + row <= table + size; at += row) {
        const std::uint64_t begin = image.Base() + image.Read<std::uint32_t>(at);
        const auto second = image.Read<std::uint32_t>(at + 4);
        if (!image.IsArm64()) {
            const auto unwind_info = image.Read<std::uint32_t>(at + 8);
            functions.push_back(
                {begin, image.Base() + second, HasHandlerX64(image, image.Base() + unwind_info)});
        } else if ((second & 3) != 0) {
            // Packed: its length in instructions, and no room for a handler.
            functions.push_back({begin, begin + ((second >> 2) & 0x7FF) * 4, false});
        } else {
            const auto head = image.Read<std::uint32_t>(image.Base() + second);
            functions.push_back({begin, begin + (head & 0x3FFFF) * 4, ((head >> 20) & 1) != 0});
        }
    }
    return functions;
}

std::int64_t SignExtended(std::uint64_t value, int bits) {
    return static_cast<std::int64_t>(value << (64 - bits)) >> (64 - bits);
}

// Where each direct call or jump goes, from where: to a function, or to what an import's slot
// holds.
std::multimap<std::uint64_t, std::uint64_t> SitesByTarget(const Image& image) {
    std::multimap<std::uint64_t, std::uint64_t> sites;
    for (const IMAGE_SECTION_HEADER& section : image.Sections()) {
        if ((section.Characteristics & IMAGE_SCN_MEM_EXECUTE) == 0) {
            continue;
        }
        const std::uint64_t start = image.Base() + section.VirtualAddress;
        const std::string code = image.Bytes(start, section.Misc.VirtualSize + 8);
        for (std::size_t at = 0; at + 8 <= code.size(); at += image.IsArm64() ? 4 : 1) {
            const std::uint64_t site = start + at;
            std::uint32_t words[2];
            std::memcpy(words, &code[at], sizeof(words));
            std::int32_t distance = 0;
            if (image.IsArm64()) {
                if ((words[0] & 0x7C000000) == 0x14000000) {
                    sites.emplace(site + SignExtended(words[0] & 0x3FFFFFF, 26) * 4, site);
                } else if ((words[0] & 0x9F000000) == 0x90000000 &&
                           (words[1] & 0xFFC00000) == 0xF9400000) {
                    // adrp and ldr.
                    const std::int64_t page =
                        SignExtended((words[0] >> 5 & 0x7FFFF) << 2 | (words[0] >> 29 & 3), 21);
                    sites.emplace((site & ~0xFFFULL) + page * 4096 + (words[1] >> 10 & 0xFFF) * 8,
                                  site);
                }
            } else if ((words[0] & 0xFE) == 0xE8) {
                std::memcpy(&distance, &code[at + 1], sizeof(distance));
                sites.emplace(site + 5 + distance, site);
            } else if ((words[0] & 0xFFFF) == 0x15FF || (words[0] & 0xFFFF) == 0x25FF) {
                std::memcpy(&distance, &code[at + 2], sizeof(distance));
                sites.emplace(site + 6 + distance, site);
            }
        }
    }
    return sites;
}

// Whoever is on the stack while an answer is sent: every function from which a chain of direct
// calls leads to the runtime's NdrClientCall3, and `request`, which calls the families through a
// table.
std::vector<Function> OnTheStackOfAnAnswer(const Image& image, std::uint64_t request) {
    std::set<std::string> dlls;
    std::map<std::uint64_t, Function> functions;
    for (const Function& function : Functions(image)) {
        functions[function.begin] = function;
    }
    const auto sites = SitesByTarget(image);
    // A function that keeps nothing on the stack is unknown to the unwinder: it begins at the last
    // place before `address` that is called, or behind the last known function.
    const auto begin_of = [&](std::uint64_t address) {
        auto known = functions.upper_bound(address);
        const std::uint64_t known_end = known == functions.begin() ? 0 : (--known)->second.end;
        return address < known_end ? known->first
                                   : std::max(known_end, (--sites.upper_bound(address))->first);
    };
    std::vector<std::uint64_t> open = {Imports(image, &dlls).at("NdrClientCall3"), request};
    std::set<std::uint64_t> seen;
    std::vector<Function> found;
    while (!open.empty()) {
        const std::uint64_t target = open.back();
        open.pop_back();
        if (!seen.insert(target).second) {
            continue;
        }
        if (functions.contains(target)) {
            found.push_back(functions[target]);
        }
        const auto [first, last] = sites.equal_range(target);
        for (auto site = first; site != last; ++site) {
            open.push_back(begin_of(site->second));
        }
    }
    return found;
}

// A fault with a code of the client's choice passes these frames, and the handlers of both
// compilers' C++ take some codes for exceptions of their own.
TEST(ProgramsTest, NothingOnTheStackOfAnAnswerHandlesExceptions) {
    for (const char* path : kServices) {
        SCOPED_TRACE(path);
        const Image image(path);
        const auto tables = CheckStubTables(image, true);
        const std::vector<Function> functions =
            OnTheStackOfAnAnswer(image, tables.at("RemoteRequest"));
        // RemoteRequest and the engine at least; some compilers make the others without a frame.
        EXPECT_GE(functions.size(), 2U);
        for (const Function& function : functions) {
            EXPECT_FALSE(function.has_handler) << std::hex << function.begin;
        }
        // It would be seen: some of the others do.
        EXPECT_TRUE(std::ranges::any_of(Functions(image), &Function::has_handler));
    }
}

}  // namespace
