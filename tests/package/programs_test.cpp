// What the linked programs promise, read from their files.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/package/image.h"

namespace {

// Windows' own, and nothing that would have to be brought along.
const std::set<std::string> kWindowsDlls = {"advapi32.dll", "api-ms-win-security-base-l1-2-2.dll",
                                            "bcrypt.dll",   "cfgmgr32.dll",
                                            "kernel32.dll", "msvcrt.dll",
                                            "ole32.dll",    "oleaut32.dll",
                                            "rpcrt4.dll",   "ucrtbase.dll",
                                            "version.dll",  "wevtapi.dll"};

std::set<std::string> ImportedDlls(const Image& image) {
    std::set<std::string> dlls;
    for (std::uint64_t at = image.Directory(IMAGE_DIRECTORY_ENTRY_IMPORT).first;;
         at += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
        const auto dll = image.Read<IMAGE_IMPORT_DESCRIPTOR>(at);
        if (dll.Name == 0) {
            return dlls;
        }
        std::string name = image.Text(image.Base() + dll.Name);
        CharLowerA(name.data());
        dlls.insert(name);
    }
}

TEST(ProgramsTest, NeedOnlyWindowsAndAreProtected) {
    for (const char* path : {kServices[0], kServices[1], kClients[0], kClients[1]}) {
        SCOPED_TRACE(path);
        const Image image(path);
        for (const std::string& dll : ImportedDlls(image)) {
            // The universal C runtime is a part of Windows, in DLLs by subject.
            EXPECT_TRUE(dll.starts_with("api-ms-win-crt-") || kWindowsDlls.contains(dll)) << dll;
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

// Every pointer in the image that the loader relocates.
std::set<std::uint64_t> Pointers(const Image& image) {
    std::set<std::uint64_t> pointers;
    const auto [table, size] = image.Directory(IMAGE_DIRECTORY_ENTRY_BASERELOC);
    for (std::uint64_t block = table; block < table + size;) {
        const auto head = image.Read<IMAGE_BASE_RELOCATION>(block);
        for (std::uint64_t at = block + sizeof(head); at < block + head.SizeOfBlock; at += 2) {
            const auto entry = image.Read<WORD>(at);
            if (entry >> 12 == IMAGE_REL_BASED_DIR64) {
                pointers.insert(image.Read<std::uint64_t>(image.Base() + head.VirtualAddress +
                                                          (entry & 0xFFF)));
            }
        }
        block += head.SizeOfBlock;
    }
    return pointers;
}

// The compiler of x64 has no Control Flow Guard.
TEST(ProgramsTest, Arm64ProgramsGuardTheirCalls) {
    for (const char* path : {kServices[1], kClients[1]}) {
        SCOPED_TRACE(path);
        const Image image(path);
        EXPECT_TRUE(image.Headers().OptionalHeader.DllCharacteristics &
                    IMAGE_DLLCHARACTERISTICS_GUARD_CF);
        const auto config = image.Read<IMAGE_LOAD_CONFIG_DIRECTORY64>(
            image.Directory(IMAGE_DIRECTORY_ENTRY_LOAD_CONFIG).first);
        constexpr DWORD kGuarded =
            IMAGE_GUARD_CF_INSTRUMENTED | IMAGE_GUARD_CF_FUNCTION_TABLE_PRESENT;
        EXPECT_EQ(config.GuardFlags & kGuarded, kGuarded);
        EXPECT_NE(config.GuardCFCheckFunctionPointer, 0U);
        std::set<std::uint64_t> targets;
        const std::size_t stride = 4 + (config.GuardFlags >> 28);
        for (std::size_t i = 0; i < config.GuardCFFunctionCount; ++i) {
            targets.insert(image.Base() +
                           image.Read<DWORD>(config.GuardCFFunctionTable + i * stride));
        }
        // The functions of all tables: what a client's request, the runtime or a command calls.
        for (const std::uint64_t pointer : Pointers(image)) {
            if ((image.Characteristics(pointer) & IMAGE_SCN_MEM_EXECUTE) != 0) {
                EXPECT_TRUE(targets.contains(pointer)) << std::hex << pointer;
            }
        }
    }
}

}  // namespace
