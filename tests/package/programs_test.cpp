// What the shipped programs need and promise, read from their files.
#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace {

// A program's file, addressed as the loader would place it.
class Image {
 public:
    explicit Image(const std::string& path) {
        std::ifstream file("Z:" + path, std::ios::binary);
        m_bytes.assign(std::istreambuf_iterator<char>(file), {});
    }

    [[nodiscard]] bool Exists() const { return !m_bytes.empty(); }

    [[nodiscard]] const IMAGE_NT_HEADERS64& Headers() const {
        return At<IMAGE_NT_HEADERS64>(static_cast<std::size_t>(At<IMAGE_DOS_HEADER>(0).e_lfanew));
    }

    template <typename T>
    [[nodiscard]] const T& At(std::size_t offset) const {
        return *reinterpret_cast<const T*>(&m_bytes.at(offset + sizeof(T) - 1) - (sizeof(T) - 1));
    }

    // The place in the file of an address relative to the image's base.
    [[nodiscard]] std::size_t Offset(DWORD address) const {
        const auto* section = IMAGE_FIRST_SECTION(&Headers());
        for (int i = 0; i < Headers().FileHeader.NumberOfSections; ++i, ++section) {
            if (address >= section->VirtualAddress &&
                address < section->VirtualAddress + section->SizeOfRawData) {
                return address - section->VirtualAddress + section->PointerToRawData;
            }
        }
        throw std::out_of_range("no section holds the address");
    }

    [[nodiscard]] DWORD Directory(int index) const {
        return Headers().OptionalHeader.DataDirectory[index].VirtualAddress;
    }

    [[nodiscard]] std::set<std::string> ImportedDlls() const {
        std::set<std::string> names;
        std::size_t offset = Offset(Directory(IMAGE_DIRECTORY_ENTRY_IMPORT));
        for (; At<IMAGE_IMPORT_DESCRIPTOR>(offset).Name != 0;
             offset += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
            std::string name = &At<char>(Offset(At<IMAGE_IMPORT_DESCRIPTOR>(offset).Name));
            CharLowerA(name.data());
            names.insert(name);
        }
        return names;
    }

    // The types of the resources.
    [[nodiscard]] std::set<WORD> ResourceTypes() const {
        const std::size_t root = Offset(Directory(IMAGE_DIRECTORY_ENTRY_RESOURCE));
        const auto& directory = At<IMAGE_RESOURCE_DIRECTORY>(root);
        std::set<WORD> types;
        for (int i = 0; i < directory.NumberOfIdEntries; ++i) {
            types.insert(At<IMAGE_RESOURCE_DIRECTORY_ENTRY>(
                             root + sizeof(directory) + i * sizeof(IMAGE_RESOURCE_DIRECTORY_ENTRY))
                             .Id);
        }
        return types;
    }

 private:
    std::vector<char> m_bytes;
};

// Windows' own, and nothing that would have to be brought along.
const std::set<std::string> kWindowsDlls = {"advapi32.dll", "api-ms-win-security-base-l1-2-2.dll",
                                            "cfgmgr32.dll", "kernel32.dll",
                                            "msvcrt.dll",   "ole32.dll",
                                            "oleaut32.dll", "rpcrt4.dll",
                                            "ucrtbase.dll"};

void Check(const char* path, WORD machine) {
    SCOPED_TRACE(path);
    const Image image(path);
    ASSERT_TRUE(image.Exists());
    EXPECT_EQ(image.Headers().FileHeader.Machine, machine);
    for (const std::string& dll : image.ImportedDlls()) {
        EXPECT_TRUE(kWindowsDlls.contains(dll)) << dll;
    }
    EXPECT_TRUE(image.ImportedDlls().contains("rpcrt4.dll"));
    constexpr WORD kProtections = IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA |
                                  IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE |
                                  IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
    EXPECT_EQ(image.Headers().OptionalHeader.DllCharacteristics & kProtections, kProtections);
    // Without relocations the base could not be random, whatever the flags say.
    EXPECT_NE(image.Directory(IMAGE_DIRECTORY_ENTRY_BASERELOC), 0U);
    EXPECT_TRUE(image.ResourceTypes().contains(16)) << "no version resource";
}

TEST(ProgramsTest, X64ProgramsNeedOnlyWindowsAndAreProtected) {
    Check(X64_SERVICE, IMAGE_FILE_MACHINE_AMD64);
    Check(X64_CLIENT, IMAGE_FILE_MACHINE_AMD64);
}

TEST(ProgramsTest, Arm64ProgramsNeedOnlyWindowsAndAreProtected) {
    if (!Image(ARM64_SERVICE).Exists()) {
        GTEST_SKIP() << "not built: cmake --preset arm64 && cmake --build --preset arm64";
    }
    Check(ARM64_SERVICE, IMAGE_FILE_MACHINE_ARM64);
    Check(ARM64_CLIENT, IMAGE_FILE_MACHINE_ARM64);
}

}  // namespace
