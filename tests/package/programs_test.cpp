// Properties of the linked programs, read from their files.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/package/image.h"

namespace {

// DLLs of Windows.
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
        // Without relocations the base address is not random, even with the flags.
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

// Offsets in the load configuration, which these headers declare without its guard fields. The
// flags: instrumented, with a table of functions.
constexpr std::size_t kGuardCheckFunction = 0x70;
constexpr std::size_t kGuardTableCount = 0x88;
constexpr std::size_t kGuardFlags = 0x90;
constexpr DWORD kGuarded = 0x100 | 0x400;

// The compiler of x64 has no Control Flow Guard.
TEST(ProgramsTest, Arm64ProgramsGuardTheirCalls) {
    for (const char* path : {kServices[1], kClients[1]}) {
        SCOPED_TRACE(path);
        const Image image(path);
        EXPECT_TRUE(image.Headers().OptionalHeader.DllCharacteristics &
                    IMAGE_DLLCHARACTERISTICS_GUARD_CF);
        const std::uint64_t config = image.Directory(IMAGE_DIRECTORY_ENTRY_LOAD_CONFIG).first;
        EXPECT_NE(image.Read<std::uint64_t>(config + kGuardCheckFunction), 0U);
        EXPECT_NE(image.Read<std::uint64_t>(config + kGuardTableCount), 0U);
        EXPECT_EQ(image.Read<DWORD>(config + kGuardFlags) & kGuarded, kGuarded);
    }
}

}  // namespace
