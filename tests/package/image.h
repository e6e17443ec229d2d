// A linked program as it is loaded into memory, addressed by virtual addresses, for both machines.
#pragma once

#include <windows.h>

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
    // `path` is a path of the build machine.
    explicit Image(const std::string& path) {
        std::ifstream stream("Z:" + path, std::ios::binary);
        const std::string file(std::istreambuf_iterator<char>(stream), {});
        if (file.size() < sizeof(IMAGE_DOS_HEADER)) {
            throw std::runtime_error("cannot be read: " + path);
        }
        // The headers are as in the file; zeros follow each section's part of the file.
        m_memory = file.substr(0, 4096);
        m_memory.resize(Headers().OptionalHeader.SizeOfImage);
        for (const IMAGE_SECTION_HEADER& section : Sections()) {
            m_memory.replace(section.VirtualAddress, section.SizeOfRawData,
                             file.substr(section.PointerToRawData, section.SizeOfRawData));
        }
    }

    [[nodiscard]] const std::string& Memory() const { return m_memory; }
    [[nodiscard]] const IMAGE_NT_HEADERS64& Headers() const {
        const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(m_memory.data());
        return *reinterpret_cast<const IMAGE_NT_HEADERS64*>(m_memory.data() + dos->e_lfanew);
    }
    [[nodiscard]] bool IsArm64() const {
        return Headers().FileHeader.Machine == IMAGE_FILE_MACHINE_ARM64;
    }
    [[nodiscard]] std::uint64_t Base() const { return Headers().OptionalHeader.ImageBase; }

    [[nodiscard]] std::span<const IMAGE_SECTION_HEADER> Sections() const {
        const IMAGE_NT_HEADERS64& headers = Headers();
        return {IMAGE_FIRST_SECTION(&headers), headers.FileHeader.NumberOfSections};
    }

    // The characteristics of the section that contains the address; 0 if none does.
    [[nodiscard]] DWORD Characteristics(std::uint64_t address) const {
        DWORD characteristics = 0;
        for (const IMAGE_SECTION_HEADER& section : Sections()) {
            const std::uint64_t start = Base() + section.VirtualAddress;
            if (address >= start && address < start + section.Misc.VirtualSize) {
                characteristics = section.Characteristics;
            }
        }
        return characteristics;
    }

    // Throws std::out_of_range outside the image.
    [[nodiscard]] std::string Bytes(std::uint64_t address, std::size_t size) const {
        return m_memory.substr(address - Base(), size);
    }

    template <typename T>
    [[nodiscard]] T Read(std::uint64_t address) const {
        T value;
        std::memcpy(&value, Bytes(address, sizeof(T)).data(), sizeof(T));
        return value;
    }

    // The address and size of one of the header's directories.
    [[nodiscard]] std::pair<std::uint64_t, DWORD> Directory(int index) const {
        const IMAGE_DATA_DIRECTORY& entry = Headers().OptionalHeader.DataDirectory[index];
        return {Base() + entry.VirtualAddress, entry.Size};
    }

    [[nodiscard]] std::string Text(std::uint64_t address) const {
        return m_memory.c_str() + (address - Base());
    }

 private:
    std::string m_memory;
};

// The four programs that ship. ../../test builds them for both machines before it tests.
inline const char* const kServices[] = {X64_SERVICE, ARM64_SERVICE};
inline const char* const kClients[] = {X64_CLIENT, ARM64_CLIENT};
