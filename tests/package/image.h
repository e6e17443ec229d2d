// A linked program as its file holds it, addressed by virtual addresses, for both machines.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

class Image {
 public:
    // `path` is one of the build machine.
    explicit Image(const std::string& path) : m_path(path) {
        std::ifstream file("Z:" + path, std::ios::binary);
        m_file.assign(std::istreambuf_iterator<char>(file), {});
        if (m_file.size() < sizeof(IMAGE_DOS_HEADER)) {
            throw std::runtime_error("cannot be read: " + path);
        }
        const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(m_file.data());
        m_headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(m_file.data() + dos->e_lfanew);
    }

    [[nodiscard]] const std::string& Path() const { return m_path; }
    [[nodiscard]] const std::string& File() const { return m_file; }
    [[nodiscard]] const IMAGE_NT_HEADERS64& Headers() const { return *m_headers; }
    [[nodiscard]] bool IsArm64() const {
        return m_headers->FileHeader.Machine == IMAGE_FILE_MACHINE_ARM64;
    }

    [[nodiscard]] std::span<const IMAGE_SECTION_HEADER> Sections() const {
        return {IMAGE_FIRST_SECTION(m_headers), m_headers->FileHeader.NumberOfSections};
    }

    // The characteristics of the section that holds the address; throws std::out_of_range.
    [[nodiscard]] DWORD Characteristics(std::uint64_t address) const {
        return SectionOf(address).Characteristics;
    }

    // Throws std::out_of_range where no section holds all of it.
    [[nodiscard]] std::string Bytes(std::uint64_t address, std::size_t size) const {
        const IMAGE_SECTION_HEADER& section = SectionOf(address);
        const std::uint64_t offset = address - Base() - section.VirtualAddress;
        std::string bytes;
        if (offset < section.SizeOfRawData) {
            bytes = m_file.substr(section.PointerToRawData + offset,
                                  std::min<std::size_t>(size, section.SizeOfRawData - offset));
        }
        // What the file does not hold is zero.
        bytes.resize(size);
        return bytes;
    }

    template <typename T>
    [[nodiscard]] T Read(std::uint64_t address) const {
        T value;
        std::memcpy(&value, Bytes(address, sizeof(T)).data(), sizeof(T));
        return value;
    }

    // The address and size of one of the header's directories.
    [[nodiscard]] std::pair<std::uint64_t, DWORD> Directory(int index) const {
        const IMAGE_DATA_DIRECTORY& entry = m_headers->OptionalHeader.DataDirectory[index];
        return {Base() + entry.VirtualAddress, entry.Size};
    }

    [[nodiscard]] std::string Text(std::uint64_t address) const {
        std::string text;
        while (const char c = Read<char>(address++)) {
            text += c;
        }
        return text;
    }

    [[nodiscard]] std::uint64_t Base() const { return m_headers->OptionalHeader.ImageBase; }

 private:
    [[nodiscard]] const IMAGE_SECTION_HEADER& SectionOf(std::uint64_t address) const {
        for (const IMAGE_SECTION_HEADER& section : Sections()) {
            const std::uint64_t start = Base() + section.VirtualAddress;
            if (address >= start &&
                address < start + std::max(section.Misc.VirtualSize, section.SizeOfRawData)) {
                return section;
            }
        }
        throw std::out_of_range("no section holds the address");
    }

    std::string m_path;
    std::string m_file;
    const IMAGE_NT_HEADERS64* m_headers = nullptr;
};

// The four programs that ship, those of ARM64 too: ../../test builds both machines before it tests.
inline const char* const kServices[] = {X64_SERVICE, ARM64_SERVICE};
inline const char* const kClients[] = {X64_CLIENT, ARM64_CLIENT};

// Holds the stub tables of a program against what is written down for them, and gives the addresses
// of all that they name.
std::map<std::string, std::uint64_t> CheckStubTables(const Image& image, bool is_service);
